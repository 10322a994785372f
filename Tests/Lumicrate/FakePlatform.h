// SPDX-License-Identifier: GPL-3.0-or-later
// A fake platform that tests control: preferences, files, screens, keys, log-in item, and capture.
#pragma once

#include "Platform/AVCaptureDevice.h"
#include "Platform/CarbonHotKeys.h"
#include "Platform/NSEvent.h"
#include "Platform/NSFileManager.h"
#include "Platform/NSProcessInfo.h"
#include "Platform/NSScreen.h"
#include "Platform/NSUserDefaults.h"
#include "Platform/NSWorkspace.h"
#include "Platform/SCContentSharingPicker.h"
#include "Platform/SMAppService.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/DispatchQueue.h"
#include "Tests/Support/VirtualExecutor.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::test {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

inline std::exception_ptr failure(const std::string& sentence) {
    return std::make_exception_ptr(PlatformError(sentence));
}

/// Counts the objects that are alive.
template <class Base>
struct Counted final : public Base {
    explicit Counted(int& objects) : count(objects) { ++count; }
    ~Counted() override { --count; }
    int& count;
};

/// Reads give values of their own type only.
class FakeDefaults final : public NSUserDefaults {
 public:
    void registerDefaults(const Registration& fallbacks) override {
        for (const auto& [key, value] : fallbacks)
            registered[key] = value;
    }
    bool boolForKey(std::string_view key) const override { return read<bool>(key).value_or(false); }
    std::int64_t integerForKey(std::string_view key) const override {
        return read<std::int64_t>(key).value_or(0);
    }
    double doubleForKey(std::string_view key) const override { return read<double>(key).value_or(0); }
    std::optional<std::string> stringForKey(std::string_view key) const override {
        return read<std::string>(key);
    }
    void set(std::string_view key, const DefaultsValue& value) override {
        if (readOnly) throw PlatformError("The preferences can't be written.");
        stored[std::string(key)] = value;
        changes.notify();
    }
    void removeObject(std::string_view key) override {
        stored.erase(std::string(key));
        changes.notify();
    }
    Subscription observe(std::function<void()> changed) const override { return changes.add(changed); }

    std::map<std::string, DefaultsValue, std::less<>> stored;
    std::map<std::string, DefaultsValue, std::less<>> registered;
    bool readOnly = false;
    mutable Observers<> changes;

 private:
    template <class T>
    std::optional<T> read(std::string_view key) const {
        for (const auto* values : {&stored, &registered}) {
            const auto found = values->find(key);
            if (found == values->end()) continue;
            const T* value = std::get_if<T>(&found->second);
            return value ? std::optional(*value) : std::nullopt;
        }
        return std::nullopt;
    }
};

class FakeFiles final : public NSFileManager {
 public:
    std::filesystem::path moviesDirectory() const override { return "/home/me/Movies"; }
    bool fileExists(const std::filesystem::path& url) const override { return existing.contains(url); }
    void createDirectory(const std::filesystem::path& url) override {
        if (folderRefused) throw PlatformError("The folder can't be made.");
        folders.insert(url);
    }
    bool isWritableDirectory(const std::filesystem::path&) const override { return !isReadOnly; }
    std::vector<NSFileEntry> contentsOfDirectory(const std::filesystem::path& url) const override {
        ++listings;
        if (!folders.contains(url)) throw PlatformError("There is no such folder.");
        return entries;
    }
    NSFileEntry attributes(const std::filesystem::path& url) const override {
        ++looks;
        const auto found = std::ranges::find(entries, url, &NSFileEntry::url);
        return found == entries.end() ? NSFileEntry{url, {}, {}} : *found;
    }
    void removeItem(const std::filesystem::path& url) override {
        if (existing.erase(url) == 0) throw PlatformError("There is no such file.");
        std::erase_if(entries, [&](const NSFileEntry& each) { return each.url == url; });
    }
    void moveItem(const std::filesystem::path& from, const std::filesystem::path& to) override {
        if (fileExists(to)) throw PlatformError("There is such a file.");
        replaceItem(to, from);
    }
    void replaceItem(const std::filesystem::path& url, const std::filesystem::path& replacement) override {
        if (locked) throw PlatformError("The folder is locked.");
        if (existing.erase(replacement) == 0) throw PlatformError("There is no such file.");
        existing.insert(url);
        for (NSFileEntry& each : entries)
            if (each.url == replacement) each.url = url;
    }
    void trashItem(const std::filesystem::path& url) override { removeItem(url); }
    std::optional<NSVolumeCapacity> volumeCapacity(const std::filesystem::path& url) const override {
        asked.insert(url);
        return capacity;
    }

    std::set<std::filesystem::path> existing;
    std::set<std::filesystem::path> folders;
    std::vector<NSFileEntry> entries;  ///< of any folder
    mutable int listings = 0;          ///< calls of contentsOfDirectory
    mutable int looks = 0;             ///< calls of attributes
    bool isReadOnly = false;
    bool folderRefused = false;
    bool locked = false;  ///< no file can be moved or replaced
    std::optional<NSVolumeCapacity> capacity;
    mutable std::set<std::filesystem::path> asked;  ///< URLs passed to volumeCapacity
};

class FakeWorkspace final : public NSWorkspace {
 public:
    void openURL(const std::filesystem::path& url) override { opened.push_back(url.filename()); }
    void openWebPage(const std::string& address) override { opened.emplace_back(address); }
    void activateFileViewerSelecting(const std::vector<std::filesystem::path>& urls) override {
        if (!hasFileViewer) throw PlatformError("There is no file viewer.");
        revealed = urls;
    }

    bool hasFileViewer = true;
    std::vector<std::filesystem::path> opened, revealed;
};

class FakeCalendar final : public NSCalendar {
 public:
    DateComponents now() const override { return date; }
    DateComponents date{2024, 5, 1, 14, 3, 22};
};

class FakeProcess final : public NSProcessInfo {
 public:
    std::int32_t processIdentifier() const override { return 42; }
    std::chrono::nanoseconds timeAsleep() const override { return asleep; }
    std::unique_ptr<NSActivity> beginActivity(std::uint64_t options, const std::string& reason) override {
        lastOptions = options;
        lastReason = reason;
        return std::make_unique<Counted<NSActivity>>(running);
    }

    std::unique_ptr<NSActivity> holdNotifications(const std::string&) override {
        return std::make_unique<Counted<NSActivity>>(holding);
    }

    std::chrono::nanoseconds asleep = std::chrono::hours(7);
    int running = 0;
    int holding = 0;
    std::uint64_t lastOptions = 0;
    std::string lastReason;
};

class FakeScreens final : public NSScreens {
 public:
    std::vector<NSScreen> screens() const override { return all; }
    Point mouseLocation() const override { return pointer; }
    Subscription observe(std::function<void()> changed) const override { return changes.add(changed); }

    mutable Observers<> changes;
    std::vector<NSScreen> all;
    Point pointer;
};

class FakeDevices final : public AVCaptureDevices {
 public:
    std::vector<CaptureDevice> microphones() const override { return heard; }
    std::vector<CaptureDevice> cameras() const override { return seen; }
    SoundDevices soundDevices() const override {
        if (!hasServer) return {};
        return {true, hasOutput,
                heard.empty() ? std::vector<CaptureDevice>{{"built-in", "Built-in"}} : heard};
    }
    void setOnChange(std::function<void()> handler) override { changed = std::move(handler); }
    AVAuthorizationStatus authorizationStatusForVideo() const override { return cameraAccess; }
    void requestAccessForVideo(std::function<void(bool)> completion) override {
        cameraRequests.push_back(std::move(completion));
    }

    AVAuthorizationStatus cameraAccess = AVAuthorizationStatus::authorized;
    std::vector<std::function<void(bool)>> cameraRequests;
    bool hasServer = true;
    bool hasOutput = true;
    std::vector<CaptureDevice> heard;
    std::vector<CaptureDevice> seen;
    std::function<void()> changed;
};

class FakeHotKeys final : public CarbonHotKeys {
 public:
    struct Grab {
        std::uint32_t keyCode;
        std::uint32_t modifiers;
        EventHotKeyID id;
    };

    void InstallEventHandler(std::function<void(EventHotKeyID)> pressed) override {
        ++installed;
        handler = std::move(pressed);
    }
    EventHotKeyRef RegisterEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                       const HotKeyPurpose&) override {
        if (refused.contains(keyCode) || missing.contains(keyCode)) return 0;
        grabs.emplace(++lastRef, Grab{keyCode, modifiers, id});
        return lastRef;
    }
    void UnregisterEventHotKey(EventHotKeyRef hotKey) override { grabs.erase(hotKey); }
    bool hasKey(std::uint32_t keyCode) override { return !missing.contains(keyCode); }
    void setOnLayoutChange(std::function<void()> changed) override { layoutChanged = std::move(changed); }
    const Published<HotKeyAssignment>* assignment() const override { return assigned; }

    /// No effect if the key is not grabbed.
    void press(std::uint32_t keyCode) {
        const auto found =
            std::ranges::find(grabs, keyCode, [](const auto& each) { return each.second.keyCode; });
        if (found != grabs.end()) handler(found->second.id);
    }

    std::set<std::uint32_t> refused;
    std::set<std::uint32_t> missing;
    std::function<void()> layoutChanged;
    const Published<HotKeyAssignment>* assigned = nullptr;
    std::map<EventHotKeyRef, Grab> grabs;
    EventHotKeyRef lastRef = 0;
    int installed = 0;
    std::function<void(EventHotKeyID)> handler;
};

class FakeKeyMonitoring final : public NSKeyMonitoring {
 public:
    using Handler = std::function<bool(const NSEvent&)>;

    std::unique_ptr<NSEventMonitor> addKeyDownMonitor(Handler onKeyDown) override {
        handler = std::move(onKeyDown);
        return std::make_unique<Counted<NSEventMonitor>>(monitors);
    }
    /// Whether the key was consumed. `typed` is ASCII.
    bool press(std::int64_t keyCode, std::uint64_t flags, std::string typed) {
        const Handler called = handler;
        std::string name = typed;
        for (char& each : name)
            each = static_cast<char>(std::toupper(each));
        return monitors > 0 && called(NSEvent{keyCode, flags, std::move(typed), std::move(name)});
    }

    Handler handler;
    int monitors = 0;
};

class FakeLoginService final : public SMAppService {
 public:
    bool isEnabled() const override { return enabled; }
    void registerLoginItem() override { set(true); }
    void unregisterLoginItem() override { set(false); }
    void set(bool wanted) {
        if (refuses) throw PlatformError("The autostart entry can't be written.");
        enabled = wanted;
    }

    bool enabled = false;
    bool refuses = false;
};

/// A serial queue whose work runs on the virtual executor, or in the destructor of the queue.
class VirtualQueue final : public DispatchQueue {
 public:
    explicit VirtualQueue(VirtualExecutor& executor) : executor_(executor) {}
    ~VirtualQueue() override {
        while (runNext(*work_)) {
        }
    }
    void async(Work work) override {
        work_->push_back(std::move(work));
        executor_.post([weak = std::weak_ptr(work_)] {
            if (const auto held = weak.lock()) runNext(*held);
        });
    }

 private:
    static bool runNext(std::deque<Work>& work) {
        if (work.empty()) return false;
        const Work next = std::move(work.front());
        work.pop_front();
        next();
        return true;
    }

    VirtualExecutor& executor_;
    std::shared_ptr<std::deque<Work>> work_ = std::make_shared<std::deque<Work>>();
};

/// A stream as tests see it, even after its destruction.
struct FakeStreamRecord {
    void deliver(const CMSampleBuffer& sample, SCStreamOutputType type) const {
        const auto& [output, queue] = outputs.at(type);
        queue->async([output, sample, type] { output->didOutputSampleBuffer(sample, type); });
    }

    SCContentFilter filter;
    SCStreamConfiguration configuration;
    SCStreamDelegate* delegate = nullptr;
    std::map<SCStreamOutputType, std::pair<SCStreamOutput*, DispatchQueue*>> outputs;
    SCStream::CompletionHandler started;
    SCStream::CompletionHandler stopped;
    std::vector<SCStreamConfiguration> updates;
    std::exception_ptr updateError;
    bool alive = true;
};

/// Starting and stopping complete at once, or when the test completes them.
class FakeStream final : public SCStream {
 public:
    FakeStream(std::shared_ptr<FakeStreamRecord> record, bool completesAtOnce)
        : record_(std::move(record)), completesAtOnce_(completesAtOnce) {}
    ~FakeStream() override { record_->alive = false; }

    void addStreamOutput(SCStreamOutput& output, SCStreamOutputType type, DispatchQueue& queue) override {
        record_->outputs[type] = {&output, &queue};
    }
    void startCapture(CompletionHandler completion) override {
        record_->started = std::move(completion);
        if (completesAtOnce_) record_->started(nullptr);
    }
    void stopCapture(CompletionHandler completion) override {
        record_->stopped = std::move(completion);
        if (completesAtOnce_) record_->stopped(nullptr);
    }
    void updateConfiguration(const SCStreamConfiguration& made, CompletionHandler completion) override {
        record_->updates.push_back(made);
        completion(record_->updateError);
    }
    void updateContentFilter(const SCContentFilter& filter, CompletionHandler completion) override {
        record_->filter = filter;
        completion(nullptr);
    }

 private:
    std::shared_ptr<FakeStreamRecord> record_;
    bool completesAtOnce_;
};

class FakeCapture final : public ScreenCaptureKit {
 public:
    bool CGPreflightScreenCaptureAccess() const override { return access; }
    bool canExcludeWindows() const override { return excludes; }
    std::uint32_t CGMainDisplayID() const override { return mainDisplayID; }
    Rect CGDisplayBounds(std::uint32_t displayID) const override {
        const auto found = std::ranges::find(content.displays, displayID, &SCDisplay::displayID);
        return found == content.displays.end() ? Rect() : found->frame;
    }
    std::optional<Rect> windowBounds(std::uint32_t windowID) const override {
        const auto found = std::ranges::find(content.windows, windowID, &SCWindow::windowID);
        return found == content.windows.end() ? std::nullopt : std::optional(found->frame);
    }
    bool windowExists(std::uint32_t windowID) const override { return !closed.contains(windowID); }
    void getShareableContent(ContentHandler handler) const override {
        if (contentWaits)
            waiting = std::move(handler);
        else
            handler(contentError ? SCShareableContent{} : content, contentError);
    }
    void setOnContentChange(std::function<void()> changed) override { contentChanged = std::move(changed); }
    std::unique_ptr<SCStream> makeStream(const SCContentFilter& filter,
                                         const SCStreamConfiguration& configuration,
                                         SCStreamDelegate& delegate) override {
        stream = std::make_shared<FakeStreamRecord>();
        stream->filter = filter;
        stream->configuration = configuration;
        stream->delegate = &delegate;
        ++streams;
        return std::make_unique<FakeStream>(stream, completesAtOnce);
    }

    bool access = true;
    bool excludes = true;
    std::uint32_t mainDisplayID = 1;
    SCShareableContent content;
    std::set<std::uint32_t> closed;  ///< windows
    std::exception_ptr contentError;
    bool contentWaits = false;
    mutable ContentHandler waiting;
    std::function<void()> contentChanged;
    bool completesAtOnce = true;
    std::shared_ptr<FakeStreamRecord> stream;  ///< the newest
    int streams = 0;
};

/// A desktop on which the user shares what a test says.
class FakePicker final : public SCContentSharingPicker {
 public:
    explicit FakePicker(Executor& executor) : answer(executor) {}
    Task<std::optional<SCSharedContent>> share(SCSharingRequest request) override {
        requests.push_back(request);
        co_return co_await answer;
    }
    void endSharing() override {
        answer.resolve(std::nullopt);
        ++ends;
    }
    bool remembersChoice(SCSharingRequest::Kind) const override { return remembers; }
    void forgetChoices() override { remembers = false; }

    Completion<std::optional<SCSharedContent>> answer;
    std::vector<SCSharingRequest> requests;
    int ends = 0;
    bool remembers = false;
};

}  // namespace lumicrate::test
