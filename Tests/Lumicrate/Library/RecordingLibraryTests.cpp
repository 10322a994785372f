#include "Lumicrate/Library/RecordingLibrary.h"
#include "Support/DispatchQueue.h"
#include "Tests/Lumicrate/FakePlatform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <thread>

namespace lumicrate::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using Path = std::filesystem::path;

const Path folderPath = "/home/me/Movies/Lumicrate";
const RecordingLibrary::Instant launch = RecordingLibrary::Instant(1000h);

class FakeWorkspace final : public NSWorkspace {
 public:
    void openURL(const Path& url) override { opened.push_back(url.filename()); }
    void activateFileViewerSelecting(const std::vector<Path>&) override {}
    std::vector<Path> opened;
};

class FakeWatch final : public FolderWatch {
 public:
    explicit FakeWatch(Handler& handler) : handler_(handler) {}
    void setOnChange(Handler changed) override { handler_ = std::move(changed); }

 private:
    Handler& handler_;
};

/// Keeps work until the test runs it.
class HeldQueue final : public DispatchQueue {
 public:
    explicit HeldQueue(std::deque<Work>& held) : held_(held) {}
    void async(Work work) override { held_.push_back(std::move(work)); }

 private:
    std::deque<Work>& held_;
};

class RecordingLibraryTests : public testing::Test {
 protected:
    RecordingLibraryTests() {
        files.folders = {folderPath};
        makeLibrary(1);
    }
    void makeLibrary(int queues) {
        RecordingLengths::Readers readers;
        readers.read = [this](const Path& url) {
            read.push_back(url.filename());
            const auto found = lengths.find(url.filename());
            if (found == lengths.end()) throw PlatformError("It isn't a movie.");
            return found->second;
        };
        for (int i = 0; i < queues; ++i)
            readers.queues.push_back(std::make_unique<HeldQueue>(held));
        library = std::make_unique<RecordingLibrary>(
            RecordingLibrary::Services{executor, files, notifications, folder, workspace, std::move(readers),
                                       std::make_unique<FakeWatch>(changed),
                                       [this](const Path& url) { previewed.push_back(url.filename()); },
                                       [this] { ++beeps; }},
            launch);
    }

    /// A file `age` before the launch, or after it when that is negative.
    void put(const std::string& name, std::chrono::hours age, std::uintmax_t size = 100) {
        remove(name);
        files.existing.insert(folderPath / name);
        files.entries.push_back({folderPath / name, launch - age, size});
    }
    void remove(const std::string& name) {
        files.existing.erase(folderPath / name);
        std::erase_if(files.entries, [&](const NSFileEntry& each) { return each.url == folderPath / name; });
    }
    void tell(const std::vector<std::string>& names) {
        FolderChanges changes;
        for (const std::string& each : names)
            changes.urls.push_back(folderPath / each);
        changed(changes);
    }
    /// Reads the lengths that are wanted, and what is wanted after that.
    void work() {
        for (executor.drain(); !held.empty(); executor.drain()) {
            const auto next = std::move(held.front());
            held.pop_front();
            next();
        }
    }
    void reload() {
        library->reload();
        work();
    }

    std::vector<Path> listed() const {
        std::vector<Path> names;
        for (const Recording& each : *library->recordings)
            names.push_back(each.url.filename());
        return names;
    }
    std::vector<Path> marked() const {
        std::vector<Path> names;
        for (const Path& each : *library->unopened)
            names.push_back(each.filename());
        return names;
    }
    const Recording& find(const Path& name) const {
        const auto& all = *library->recordings;
        return *std::find_if(all.begin(), all.end(),
                             [&](const Recording& each) { return each.url.filename() == name; });
    }

    VirtualExecutor executor;
    FakeFiles files;
    FakeCalendar calendar;
    NotificationCenter notifications;
    RecordingFolder folder{files, calendar};
    FakeWorkspace workspace;
    FolderWatch::Handler changed;
    std::deque<DispatchQueue::Work> held;
    std::map<Path, double> lengths;
    std::vector<Path> read;
    std::vector<Path> previewed;
    int beeps = 0;
    std::unique_ptr<RecordingLibrary> library;
};

TEST_F(RecordingLibraryTests, ListsMoviesNewestFirst) {
    put("b.mp4", 5h);
    put("a.MOV", 3h);
    put("c.m4a", 5h);
    put("trimmed.gif", 1h);
    put("being written.mp4", 1h);
    files.entries.push_back({folderPath / "dateless.m4v", {}, 7});
    files.entries.push_back({folderPath / "folder.mp4", launch, {}});
    std::optional writing = folder.markInProgress(folderPath / "being written.mp4");
    EXPECT_THAT(listed(), IsEmpty()) << "the owner asks for the first listing";
    reload();
    EXPECT_THAT(listed(), ElementsAre("a.MOV", "b.mp4", "c.m4a", "dateless.m4v"));
    EXPECT_EQ(find("dateless.m4v").created, RecordingLibrary::Instant::min());

    writing.reset();
    EXPECT_THAT(listed(), SizeIs(4)) << "until it is announced";
    notifications.post(recordingSavedNotification, folderPath / "any.mp4");
    EXPECT_THAT(listed(), SizeIs(5));
    remove("a.MOV");
    notifications.post(recordingsChangedNotification);
    EXPECT_THAT(listed(), ElementsAre("being written.mp4", "b.mp4", "c.m4a", "dateless.m4v"));
    files.folders.clear();
    reload();
    EXPECT_THAT(listed(), IsEmpty());
}

TEST_F(RecordingLibraryTests, LengthsAreReadOnceUntilTheSizeChanges) {
    put("a.mp4", 1h);
    put("b.mp4", 2h);
    lengths = {{"a.mp4", 10}};
    reload();
    EXPECT_EQ(find("a.mp4").duration, 10);
    EXPECT_EQ(find("b.mp4").duration, std::nullopt);
    EXPECT_THAT(read, ElementsAre("a.mp4", "b.mp4"));

    lengths = {{"a.mp4", 9}, {"b.mp4", 20}};
    reload();
    EXPECT_EQ(find("a.mp4").duration, 10) << "it is known";
    EXPECT_EQ(find("b.mp4").duration, 20) << "what failed is tried again";
    put("a.mp4", 1h, 50);
    reload();
    EXPECT_EQ(find("a.mp4").duration, 9);
    EXPECT_THAT(read, SizeIs(4));
}

TEST_F(RecordingLibraryTests, ALengthThatComesLateBelongsToItsFile) {
    for (const char* name : {"gone.mp4", "grown.mp4", "moved.mp4"})
        put(name, 1h);
    lengths = {{"gone.mp4", 1}, {"grown.mp4", 2}, {"moved.mp4", 3}};
    library->reload();
    executor.drain();
    ASSERT_THAT(held, SizeIs(1));
    held.front()();  // All have been read, which nobody knows yet.
    held.pop_front();
    remove("gone.mp4");
    put("grown.mp4", 1h, 200);
    put("newer.mp4", 0h);
    lengths = {{"grown.mp4", 5}, {"newer.mp4", 6}};
    library->reload();
    work();
    EXPECT_THAT(listed(), ElementsAre("newer.mp4", "moved.mp4", "grown.mp4"));
    EXPECT_EQ(find("moved.mp4").duration, 3);
    EXPECT_EQ(find("grown.mp4").duration, 5);
    EXPECT_EQ(find("newer.mp4").duration, 6);
}

TEST_F(RecordingLibraryTests, ReadsTenThousandLengthsAFewAtATime) {
    constexpr int count = 10'000;
    makeLibrary(3);
    for (int i = 0; i < count; ++i) {
        const std::string name = std::to_string(i) + ".mp4";
        files.entries.push_back({folderPath / name, launch - std::chrono::hours(i), 100});
        lengths[name] = i;
    }
    std::vector<bool> busy;
    int changes = 0;
    const Subscription reading = library->readsLengths().observe([&](bool still) { busy.push_back(still); });
    const Subscription list = library->recordings.observe([&](const auto&) { ++changes; });
    library->reload();
    executor.drain();
    EXPECT_THAT(held, SizeIs(3)) << "one piece of work for each queue";
    held.front()();
    EXPECT_EQ(read.front(), "0.mp4") << "the newest first";
    held.pop_front();
    work();
    EXPECT_THAT(busy, ElementsAre(true, false));
    EXPECT_THAT(read, SizeIs(count));
    for (const Recording& each : *library->recordings)
        ASSERT_EQ(each.duration, std::stoi(each.url.stem().string()));
    EXPECT_LT(changes, count / 10) << "lengths are put in together";
}

TEST_F(RecordingLibraryTests, LengthsAreReadOnThreadsOfTheirOwn) {
    constexpr int count = 500;
    for (int i = 0; i < count; ++i)
        files.entries.push_back({folderPath / (std::to_string(i) + ".mp4"), launch, 100});
    RecordingLengths::Readers readers;
    readers.read = [](const Path& url) { return std::stod(url.stem().string()); };
    for (int i = 0; i < 3; ++i)
        readers.queues.push_back(std::make_unique<SerialQueue>("lengths"));
    RecordingLibrary threaded(
        {executor, files, notifications, folder, workspace, std::move(readers), nullptr, nullptr, nullptr});
    threaded.reload();
    while (*threaded.readsLengths()) {
        executor.drain();
        std::this_thread::yield();
    }
    for (const Recording& each : *threaded.recordings)
        EXPECT_EQ(each.duration, std::stod(each.url.stem().string()));
    EXPECT_THAT(*threaded.recordings, SizeIs(count));
}

TEST_F(RecordingLibraryTests, MayGoWhileLengthsAreRead) {
    put("a.mp4", 1h);
    lengths = {{"a.mp4", 10}};
    library->reload();
    executor.drain();
    library.reset();
    work();
    EXPECT_THAT(read, ElementsAre("a.mp4"));
    changed = nullptr;
    notifications.post(recordingsChangedNotification);
}

TEST_F(RecordingLibraryTests, WhatIsMadeDuringTheRunIsNewUntilItIsOpened) {
    put("old.mp4", 1h);
    put("launch.mp4", 0h);
    for (const char* name : {"1.mp4", "2.mp4", "3.mp4", "4.mp4"})
        put(name, -1h);
    reload();
    EXPECT_THAT(marked(), UnorderedElementsAre("1.mp4", "2.mp4", "3.mp4", "4.mp4"));

    library->open(find("1.mp4"));
    library->openInQuickTime(find("2.mp4"));
    library->markOpened(folderPath / "3.mp4");
    library->moveToTrash(find("4.mp4"));
    EXPECT_THAT(previewed, ElementsAre("1.mp4"));
    EXPECT_THAT(workspace.opened, ElementsAre("2.mp4"));
    EXPECT_FALSE(files.existing.contains(folderPath / "4.mp4"));
    EXPECT_EQ(beeps, 0);
    EXPECT_THAT(marked(), IsEmpty());
    reload();
    EXPECT_THAT(marked(), IsEmpty());
}

TEST_F(RecordingLibraryTests, WhatCannotBeTrashedBeepsAndStaysNew) {
    put("a.mp4", -1h);
    reload();
    files.existing.clear();
    const int listings = files.listings;
    library->moveToTrash(find("a.mp4"));
    EXPECT_EQ(beeps, 1);
    EXPECT_EQ(files.listings, listings + 1);
    EXPECT_THAT(marked(), ElementsAre("a.mp4"));
}

TEST_F(RecordingLibraryTests, FollowsTheFolderLookingAtNamedFilesAlone) {
    put("a.mp4", 1h);
    put("b.mp4", 2h);
    put("c.mp4", 3h);
    lengths = {{"a.mp4", 1}, {"b.mp4", 2}, {"c.mp4", 3}, {"new.mp4", 4}, {"renamed.mp4", 5}};
    reload();
    const int listings = files.listings;

    remove("a.mp4");
    put("renamed.mp4", 1h);
    put("b.mp4", 2h, 200);
    lengths["b.mp4"] = 20;
    put("new.mp4", -1h);
    put("noise.txt", 1h);
    tell({"a.mp4", "renamed.mp4", "b.mp4", "new.mp4", "noise.txt", "never.mp4"});
    work();
    EXPECT_THAT(listed(), ElementsAre("new.mp4", "renamed.mp4", "b.mp4", "c.mp4"));
    EXPECT_THAT(marked(), ElementsAre("new.mp4"));
    EXPECT_EQ(find("b.mp4").duration, 20);
    EXPECT_EQ(find("renamed.mp4").duration, 5);
    EXPECT_EQ(files.looks, 5);
    EXPECT_EQ(files.listings, listings);

    // One that could not be read, and has been written since, is tried again.
    put("late.mp4", 4h);
    tell({"late.mp4"});
    work();
    EXPECT_EQ(find("late.mp4").duration, std::nullopt);
    lengths["late.mp4"] = 6;
    tell({"late.mp4"});
    work();
    EXPECT_EQ(find("late.mp4").duration, 6);

    const auto writing = folder.markInProgress(folderPath / "c.mp4");
    tell({"c.mp4"});
    EXPECT_THAT(listed(), ElementsAre("new.mp4", "renamed.mp4", "b.mp4", "late.mp4"));
    changed({.everything = true, .urls = {}});
    EXPECT_EQ(files.listings, listings + 1);
}

}  // namespace
}  // namespace lumicrate::test
