#include "Linux/Capture/CaptureStream.h"
#include "Support/DispatchQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <thread>

namespace lumicrate::capture {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using enum SCStreamOutputType;

CMSampleBuffer sampleAt(std::int64_t number) {
    CMSampleBuffer sample;
    sample.timing.presentationTimeStamp = {number, 1000};
    sample.frameInfo.emplace();
    return sample;
}

/// A source controlled by the test.
struct Script {
    std::string name;
    std::vector<std::string>& log;
    bool startFails = false;
    bool updateFails = false;
    bool failsWhileStarting = false;
    SampleSource::Handlers handlers{};

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
    }
    void stop() override { script_.log.push_back("stop " + script_.name); }
    void update(const SCStreamConfiguration& configuration) override {
        script_.log.push_back("update " + script_.name + " " + std::to_string(configuration.width));
        if (script_.updateFails) throw PlatformError("no " + script_.name);
    }

 private:
    Script& script_;
};

/// Delivers samples as fast as it can.
class BusySource final : public SampleSource {
 public:
    explicit BusySource(std::atomic<int>& captured) : captured_(captured) {}
    ~BusySource() override { stop(); }

    void start(Handlers handlers) override {
        thread_ =
            std::jthread([this, onSample = std::move(handlers.onSample)](const std::stop_token& stopped) {
                while (!stopped.stop_requested()) {
                    onSample(sampleAt(++captured_));
                    std::this_thread::yield();
                }
            });
    }
    void stop() override { thread_ = {}; }
    void update(const SCStreamConfiguration&) override {}

 private:
    std::atomic<int>& captured_;
    std::jthread thread_;
};

class Receiver final : public SCStreamOutput {
 public:
    void didOutputSampleBuffer(const CMSampleBuffer& sample, SCStreamOutputType type) override {
        if (gate) gate->wait();
        auto& times = received[static_cast<std::size_t>(type)];
        times.push_back(sample.presentationTimeStamp().value());
        total = times.size();
        total.notify_all();
    }
    const std::vector<std::int64_t>& of(SCStreamOutputType type) const {
        return received[static_cast<std::size_t>(type)];
    }

    std::optional<std::shared_future<void>> gate;
    std::atomic<std::size_t> total = 0;
    std::array<std::vector<std::int64_t>, 3> received;
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

class CaptureStreamTests : public testing::Test {
 protected:
    CaptureStream& make(int queueDepth = 8) {
        CaptureStream::Sources sources;
        sources.emplace_back(screen, std::make_unique<ScriptedSource>(picture));
        sources.emplace_back(audio, std::make_unique<ScriptedSource>(system));
        sources.emplace_back(microphone, std::make_unique<ScriptedSource>(voice));
        made.emplace(std::move(sources), delegate, queueDepth);
        for (const auto type : {screen, audio, microphone})
            made->addStreamOutput(receiver, type, queue);
        return *made;
    }
    static std::string start(CaptureStream& stream) {
        return outcome([&](auto completion) { stream.startCapture(completion); });
    }
    static std::string stop(CaptureStream& stream) {
        return outcome([&](auto completion) { stream.stopCapture(completion); });
    }
    std::string update(CaptureStream& stream) {
        SCStreamConfiguration configuration;
        configuration.width = 640;
        log.clear();
        return outcome([&](auto completion) { stream.updateConfiguration(configuration, completion); });
    }

    std::vector<std::string> log;
    Script picture{.name = "picture", .log = log};
    Script system{.name = "system", .log = log};
    Script voice{.name = "voice", .log = log};
    Delegate delegate;
    Receiver receiver;
    SerialQueue queue{"receiver"};
    std::optional<CaptureStream> made;
};

TEST_F(CaptureStreamTests, SoundStartsBeforeThePictureAndSamplesReachTheirOutputs) {
    CaptureStream& capture = make();
    Receiver other;
    SerialQueue otherQueue("other");
    capture.addStreamOutput(other, screen, otherQueue);
    EXPECT_EQ(update(capture), "The capture is not running.");
    EXPECT_EQ(start(capture), "done");
    EXPECT_THAT(log, ElementsAre("start system", "start voice", "start picture"));
    picture.handlers.onSample(sampleAt(1));
    system.handlers.onSample(sampleAt(2));
    voice.handlers.onSample(sampleAt(3));
    picture.handlers.onSample(sampleAt(4));
    voice.handlers.onNotice("noticed");
    log.clear();
    EXPECT_EQ(stop(capture), "done");
    EXPECT_THAT(log, ElementsAre("stop picture", "stop voice", "stop system"));
    EXPECT_THAT(receiver.of(screen), ElementsAre(1, 4));
    EXPECT_THAT(receiver.of(audio), ElementsAre(2));
    EXPECT_THAT(receiver.of(microphone), ElementsAre(3));
    EXPECT_THAT(other.of(screen), ElementsAre(1, 4));
    EXPECT_THAT(other.of(audio), IsEmpty());
    EXPECT_THAT(delegate.notices, ElementsAre("noticed"));
    picture.fail();
    EXPECT_THAT(delegate.failures, IsEmpty()) << "it was stopped before";
}

TEST_F(CaptureStreamTests, AFailedStartLeavesNothingRunning) {
    voice.startFails = true;
    CaptureStream& capture = make();
    EXPECT_EQ(start(capture), "no voice");
    EXPECT_THAT(log, ElementsAre("start system", "stop system"));
    system.fail();
    EXPECT_EQ(stop(capture), "done");
    EXPECT_EQ(log.size(), 2U);
    EXPECT_THAT(delegate.failures, IsEmpty());
}

TEST_F(CaptureStreamTests, ASourceThatFailsDuringTheStartFailsIt) {
    system.failsWhileStarting = true;
    EXPECT_EQ(start(make()), "lost system");
    EXPECT_THAT(log, ElementsAre("start system", "start voice", "start picture", "stop picture", "stop voice",
                                 "stop system"));
    EXPECT_THAT(delegate.failures, IsEmpty());
}

TEST_F(CaptureStreamTests, TheFirstFailureIsReportedAndTheOtherSourcesContinue) {
    CaptureStream& capture = make();
    start(capture);
    voice.fail();
    system.fail();
    EXPECT_THAT(delegate.failures, ElementsAre("lost voice"));
    picture.handlers.onSample(sampleAt(5));
    EXPECT_EQ(update(capture), "done");
    EXPECT_THAT(log, ElementsAre("update picture 640"));
    stop(capture);
    EXPECT_THAT(receiver.of(screen), ElementsAre(5));
}

TEST_F(CaptureStreamTests, UpdatesReachAllSourcesAndTheFirstErrorIsReported) {
    CaptureStream& capture = make();
    start(capture);
    EXPECT_EQ(update(capture), "done");
    voice.updateFails = true;
    picture.updateFails = true;
    EXPECT_EQ(update(capture), "no voice");
    EXPECT_THAT(log, ElementsAre("update system 640", "update voice 640", "update picture 640"));
}

TEST_F(CaptureStreamTests, WaitingPicturesAreLimitedAndStoppingWaitsForThem) {
    std::promise<void> gate;
    receiver.gate = gate.get_future().share();
    CaptureStream& capture = make(3);
    start(capture);
    for (int i = 1; i <= 10; ++i) {
        picture.handlers.onSample(sampleAt(i));
        system.handlers.onSample(sampleAt(i));
    }
    std::promise<void> stopped;
    auto done = stopped.get_future();
    capture.stopCapture([&stopped](const std::exception_ptr&) { stopped.set_value(); });
    EXPECT_EQ(done.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    gate.set_value();
    done.get();
    EXPECT_THAT(receiver.of(screen), ElementsAre(1, 2, 3));
    EXPECT_EQ(receiver.of(audio).size(), 10U);
}

TEST_F(CaptureStreamTests, ProcessedPicturesMakeRoomForOthers) {
    CaptureStream& capture = make(1);
    start(capture);
    for (int i = 1; i <= 5; ++i) {
        picture.handlers.onSample(sampleAt(i));
        outcome([this](auto completion) { queue.async([completion] { completion(nullptr); }); });
    }
    stop(capture);
    EXPECT_THAT(receiver.of(screen), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(CaptureStreamTests, WithoutOutputsStoppingCompletesToo) {
    CaptureStream::Sources sources;
    sources.emplace_back(screen, std::make_unique<ScriptedSource>(picture));
    CaptureStream capture(std::move(sources), delegate, 8);
    start(capture);
    picture.handlers.onSample(sampleAt(1));
    EXPECT_EQ(stop(capture), "done");
}

TEST_F(CaptureStreamTests, ConcurrentSourcesLoseNoSoundAndEndWithTheStream) {
    for (const bool stopsFirst : {true, false}) {
        std::atomic<int> pictures = 0;
        std::atomic<int> sounds = 0;
        Receiver seen;
        Receiver heard;
        {
            SerialQueue seenQueue("seen");
            SerialQueue heardQueue("heard");
            CaptureStream::Sources sources;
            sources.emplace_back(screen, std::make_unique<BusySource>(pictures));
            sources.emplace_back(audio, std::make_unique<BusySource>(sounds));
            CaptureStream capture(std::move(sources), delegate, 2);
            capture.addStreamOutput(seen, screen, seenQueue);
            capture.addStreamOutput(heard, audio, heardQueue);
            start(capture);
            for (Receiver* each : {&seen, &heard}) {
                for (std::size_t total = 0; total < 100; total = each->total)
                    each->total.wait(total);
            }
            if (stopsFirst) {
                EXPECT_EQ(stop(capture), "done");
                EXPECT_EQ(heard.of(audio).size(), static_cast<std::size_t>(sounds));
            }
        }
        EXPECT_EQ(heard.of(audio).size(), static_cast<std::size_t>(sounds));
        EXPECT_TRUE(std::ranges::is_sorted(seen.of(screen)));
    }
}

}  // namespace
}  // namespace lumicrate::capture
