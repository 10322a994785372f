// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Capture/CaptureStream.h"
#include "Linux/Capture/X11Kit.h"
#include "Support/DispatchQueue.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/Xvfb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <future>
#include <map>
#include <optional>
#include <string>
#include <thread>

namespace lumicrate::capture {
namespace {

using test::TestWindow;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using enum SCStreamOutputType;

/// What a source does, and what happened to it.
struct Script {
    std::string name;
    std::vector<std::string>& log;
    bool startFails = false;
    bool updateFails = false;
    bool failsWhileStarting = false;
    bool deliversAlways = false;  ///< as fast as it can
    SampleSource::Handlers handlers{};
    std::size_t captured = 0;

    void deliver(std::int64_t number) const {
        CMSampleBuffer sample;
        sample.timing.presentationTimeStamp = {number, 1000};
        sample.frameInfo.emplace();
        handlers.onSample(sample);
    }
    void fail() const { handlers.onFailure(std::make_exception_ptr(PlatformError("lost " + name))); }
};

class ScriptedSource final : public SampleSource {
 public:
    explicit ScriptedSource(Script& script) : script_(script) {}

    void start(Handlers handlers) override {
        if (script_.startFails) throw PlatformError("no " + script_.name);
        script_.log.push_back("start " + script_.name);
        script_.handlers = std::move(handlers);
        if (script_.failsWhileStarting) std::thread([this] { script_.fail(); }).join();
        if (!script_.deliversAlways) return;
        thread_ = std::jthread([this](const std::stop_token& stopped) {
            for (; !stopped.stop_requested(); std::this_thread::yield())
                script_.deliver(static_cast<std::int64_t>(++script_.captured));
        });
    }
    void stop() override {
        thread_ = {};
        script_.log.push_back("stop " + script_.name);
    }
    void update(const SCStreamConfiguration& configuration) override {
        script_.log.push_back("update " + script_.name + " " + std::to_string(configuration.width));
        if (script_.updateFails) throw PlatformError("no " + script_.name);
    }

 private:
    Script& script_;
    std::jthread thread_;
};

class Receiver final : public SCStreamOutput {
 public:
    void didOutputSampleBuffer(const CMSampleBuffer& sample, SCStreamOutputType type) override {
        if (gate) gate->wait();
        received[type].push_back(sample.presentationTimeStamp().value());
        ++total;
    }

    std::optional<std::shared_future<void>> gate;
    std::atomic<std::size_t> total = 0;
    std::map<SCStreamOutputType, std::vector<std::int64_t>> received;
};

class Delegate final : public SCStreamDelegate {
 public:
    void didStopWithError(std::exception_ptr error) override {
        failures.push_back(localizedDescription(error));
    }
    void didNotice(std::string sentence) override { notices.push_back(std::move(sentence)); }

    std::vector<std::string> failures;
    std::vector<std::string> notices;
};

/// Runs an operation and waits for its completion; the error's sentence, or "done".
template <class Operation>
std::string outcome(Operation operation) {
    std::promise<std::string> completed;
    operation([&completed](const std::exception_ptr& error) {
        completed.set_value(error ? localizedDescription(error) : "done");
    });
    return completed.get_future().get();
}

/// Waits until the queue has carried out all work.
void drain(DispatchQueue& queue) {
    outcome([&](auto completion) { queue.async([completion] { completion(nullptr); }); });
}

class CaptureStreamTests : public testing::Test {
 protected:
    /// A stream with all three sources, whose samples `receiver` gets.
    void make(int queueDepth = 8) {
        CaptureStream::Sources sources;
        for (const auto& [type, script] :
             {std::pair(screen, &picture), {audio, &system}, {microphone, &voice}})
            sources.emplace_back(type, std::make_unique<ScriptedSource>(*script));
        stream.emplace(std::move(sources), delegate, queueDepth);
        for (const auto type : {screen, audio, microphone})
            stream->addStreamOutput(receiver, type, queue);
    }
    std::string start() {
        return outcome([&](auto completion) { stream->startCapture(completion); });
    }
    std::string stop() {
        return outcome([&](auto completion) { stream->stopCapture(completion); });
    }
    std::string update() {
        SCStreamConfiguration configuration;
        configuration.width = 640;
        log.clear();
        return outcome([&](auto completion) { stream->updateConfiguration(configuration, completion); });
    }

    std::vector<std::string> log;
    Script picture{.name = "picture", .log = log};
    Script system{.name = "system", .log = log};
    Script voice{.name = "voice", .log = log};
    Delegate delegate;
    Receiver receiver;
    SerialQueue queue{"receiver"};
    std::optional<CaptureStream> stream;
};

TEST_F(CaptureStreamTests, SoundStartsBeforeThePictureAndSamplesReachTheirOutputs) {
    make();
    Receiver other;
    SerialQueue otherQueue("other");
    stream->addStreamOutput(other, screen, otherQueue);
    EXPECT_EQ(update(), "The capture is not running.");
    EXPECT_EQ(start(), "done");
    picture.deliver(1);
    system.deliver(2);
    voice.deliver(3);
    picture.deliver(4);
    voice.handlers.onNotice("noticed");
    EXPECT_EQ(stop(), "done");
    EXPECT_THAT(log, ElementsAre("start system", "start voice", "start picture", "stop picture", "stop voice",
                                 "stop system"));
    EXPECT_THAT(receiver.received[screen], ElementsAre(1, 4));
    EXPECT_THAT(receiver.received[audio], ElementsAre(2));
    EXPECT_THAT(receiver.received[microphone], ElementsAre(3));
    EXPECT_THAT(other.received, ElementsAre(Pair(screen, ElementsAre(1, 4))));
    EXPECT_THAT(delegate.notices, ElementsAre("noticed"));
    picture.fail();
    EXPECT_THAT(delegate.failures, IsEmpty()) << "it was stopped before";
}

TEST_F(CaptureStreamTests, AFailedStartLeavesNothingRunning) {
    picture.startFails = true;
    make();
    EXPECT_EQ(start(), "no picture");
    system.fail();
    EXPECT_EQ(stop(), "done");
    EXPECT_THAT(log, ElementsAre("start system", "start voice", "stop voice", "stop system"));

    picture.startFails = false;
    system.failsWhileStarting = true;
    log.clear();
    make();
    EXPECT_EQ(start(), "lost system");
    EXPECT_THAT(log, ElementsAre("start system", "start voice", "start picture", "stop picture", "stop voice",
                                 "stop system"));
    EXPECT_THAT(delegate.failures, IsEmpty());
    stream.emplace(CaptureStream::Sources(), delegate, 8);
    EXPECT_EQ(stop(), "done") << "without outputs";
}

TEST_F(CaptureStreamTests, APictureIsCapturedWithoutSoundThatDoesNotStart) {
    voice.startFails = true;
    make();
    EXPECT_EQ(start(), "done");
    EXPECT_EQ(stop(), "done");
    EXPECT_THAT(log, ElementsAre("start system", "start picture", "stop picture", "stop system"));
    EXPECT_THAT(delegate.notices, ElementsAre("no voice"));
}

TEST_F(CaptureStreamTests, UpdatesReachAllSourcesAndTheFirstErrorOrFailureIsReported) {
    make();
    start();
    EXPECT_EQ(update(), "done");
    voice.updateFails = true;
    picture.updateFails = true;
    EXPECT_EQ(update(), "no voice");
    EXPECT_THAT(log, ElementsAre("update system 640", "update voice 640", "update picture 640"));

    picture.updateFails = false;
    voice.fail();
    system.fail();
    EXPECT_THAT(delegate.failures, ElementsAre("lost voice"));
    picture.deliver(5);
    EXPECT_EQ(update(), "done");
    EXPECT_THAT(log, ElementsAre("update picture 640")) << "the only source that did not fail";
    stop();
    EXPECT_THAT(receiver.received[screen], ElementsAre(5));
}

TEST_F(CaptureStreamTests, WaitingPicturesAreLimitedAndStoppingWaitsForThem) {
    make(3);
    start();
    // Processed ones make room for others.
    for (int i = 1; i <= 5; ++i) {
        picture.deliver(i);
        drain(queue);
    }
    std::promise<void> gate;
    receiver.gate = gate.get_future().share();
    for (int i = 6; i <= 15; ++i) {
        picture.deliver(i);
        system.deliver(i);
    }
    std::atomic<bool> stopped = false;
    stream->stopCapture([&stopped](const std::exception_ptr&) { stopped = true; });
    EXPECT_FALSE(stopped);
    gate.set_value();
    EXPECT_TRUE(stage::eventually([&] { return stopped.load(); }));
    EXPECT_THAT(receiver.received[screen], ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
    EXPECT_EQ(receiver.received[audio].size(), 10U);
}

TEST_F(CaptureStreamTests, ConcurrentSourcesLoseNoSoundAndEndWithTheStream) {
    picture.deliversAlways = true;
    system.deliversAlways = true;
    for (const bool stopsFirst : {true, false}) {
        receiver.received.clear();
        receiver.total = 0;
        system.captured = 0;
        make(2);
        start();
        EXPECT_TRUE(stage::eventually([&] { return receiver.total >= 200; }));
        if (stopsFirst) {
            EXPECT_EQ(stop(), "done");
            EXPECT_EQ(receiver.received[audio].size(), system.captured);
        }
        stream.reset();
        drain(queue);
        EXPECT_EQ(receiver.received[audio].size(), system.captured);
        EXPECT_TRUE(std::ranges::is_sorted(receiver.received[screen]));
    }
}

/// The handler is called at once.
SCShareableContent contentOf(const CaptureKit& capture) {
    SCShareableContent shareable;
    capture.getShareableContent([&](SCShareableContent content, const std::exception_ptr& error) {
        if (error) std::rethrow_exception(error);
        shareable = std::move(content);
    });
    return shareable;
}

TEST(CaptureKitTests, ContentAndItsChangesAreReportedAndARestartedServerIsFound) {
    std::optional<stage::Xvfb> server{std::in_place, stage::Xvfb::Options{.width = 400, .height = 300}};
    setenv("DISPLAY", server->displayName().c_str(), 1);
    X11Kit capture;
    EXPECT_TRUE(capture.CGPreflightScreenCaptureAccess());
    std::atomic<int> changes = 0;
    capture.setOnContentChange([&] { ++changes; });
    TestWindow window(server->displayName(), {.frame = {10, 20, 90, 80}, .title = "x"});
    EXPECT_TRUE(test::eventually([&] { return changes > 0; }));
    capture.setOnContentChange(nullptr);
    const int before = changes;
    window.move(30, 30);
    const SCShareableContent content = contentOf(capture);
    EXPECT_EQ(content.displays.size(), 1U);
    EXPECT_EQ(content.windows.at(0).windowID, window.id());
    EXPECT_EQ(capture.windowBounds(window.id()), (Rect{30, 30, 90, 80}));
    EXPECT_EQ(changes, before);

    server->kill();
    EXPECT_FALSE(capture.CGPreflightScreenCaptureAccess());
    EXPECT_EQ(capture.windowBounds(window.id()), std::nullopt);
    EXPECT_THROW(contentOf(capture), PlatformError);
    EXPECT_EQ(capture.CGMainDisplayID(), 0U);
    capture.setOnContentChange([] {});

    server.emplace(stage::Xvfb::Options{.width = 500, .height = 300});
    setenv("DISPLAY", server->displayName().c_str(), 1);
    EXPECT_TRUE(capture.CGPreflightScreenCaptureAccess());
    EXPECT_EQ(contentOf(capture).displays.at(0).frame, (Rect{0, 0, 500, 300}));
    EXPECT_TRUE(contentOf(capture).windows.empty());
}

}  // namespace
}  // namespace lumicrate::capture
