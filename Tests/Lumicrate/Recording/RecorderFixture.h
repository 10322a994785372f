// A recorder on a desktop that a test holds in its hands, with time standing still until the test moves it.
#pragma once

#include "Lumicrate/Recording/RecorderError.h"
#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Tests/Lumicrate/FakePlatform.h"
#include "Tests/Lumicrate/Movie/FakeAssetWriter.h"
#include "Tests/Lumicrate/Recording/FakeOverlays.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::test {

using namespace std::chrono_literals;

class RecorderFixture : public testing::Test {
 protected:
    using State = ScreenRecorder::State;

    RecorderFixture() {
        RecordingOptions::registerDefaults(defaults);
        defaults.stored["countdown"] = false;
        capture.content.displays = {{1, {0, 0, 1920, 1080}, 1, "left"}, {2, {1920, 0, 800, 600}, 1, "right"}};
        SCWindow editor;
        editor.windowID = 7;
        editor.frame = {2000, 100, 300, 200};
        editor.title = "notes";
        editor.owningApplication = SCRunningApplication{9, "Editor"};
        capture.content.windows = {editor};
        screens.all = {{1, {0, 0, 1920, 1080}, {}, 1, "left"}, {2, {1920, 480, 800, 600}, {}, 1, "right"}};
    }

    /// Before the overlays that a test brings along.
    void TearDown() override { recorder.reset(); }

    ScreenRecorder& make() {
        const MovieWriter::Services writing{
            [this](const std::filesystem::path& url, AVFileType fileType) {
                return makeWriter(url, fileType);
            },
            executor, [this](const std::string&) { return std::make_unique<VirtualQueue>(executor); }, files};
        recorder.emplace(ScreenRecorder::Services{executor, defaults, process, screens, notifications,
                                                  capture, devices, hotKeys, folder, writing, mixing,
                                                  overlays});
        states.clear();
        watching = recorder->state.observe([this](State coming) { states.push_back(coming); });
        return *recorder;
    }

    /// Up to the moment at which capture has been asked to start.
    void startWith(CaptureSource source) {
        if (!recorder) make();
        recorder->setSource(source);
        recorder->start(false);
        executor.advance(100ms);
    }

    void deliverFrame() {
        CMSampleBuffer sample;
        sample.timing.presentationTimeStamp = executor.time();
        sample.imageBuffer = std::make_shared<CVPixelBuffer>();
        sample.frameInfo.emplace();
        capture.stream->deliver(sample, SCStreamOutputType::screen);
        executor.drain();
    }

    void deliverMicrophone(float loudness) {
        auto sound = std::make_shared<AudioBufferList>();
        sound->description = AudioStreamBasicDescription{48000, 1, AudioSampleFormat::float32};
        const auto* bytes = reinterpret_cast<const std::byte*>(&loudness);
        sound->buffers.emplace_back(bytes, bytes + sizeof loudness);
        CMSampleBuffer sample;
        sample.timing.presentationTimeStamp = executor.time();
        sample.audio = sound;
        capture.stream->deliver(sample, SCStreamOutputType::microphone);
    }

    void record(CaptureSource source = CaptureSource::display(1)) {
        startWith(source);
        ASSERT_EQ(*recorder->state, State::recording);
        deliverFrame();
    }

    FakeMovie& movie() { return movies.back(); }

    /// The file has been written out, well or not.
    void complete(AVAssetWriterStatus outcome = AVAssetWriterStatus::completed) {
        executor.drain();
        movie().complete(outcome);
        executor.drain();
    }

    std::string message() const { return recorder->errorMessage->value_or(""); }

    /// Nothing is left of a recording.
    void expectNothingLeft() {
        EXPECT_TRUE(files.existing.empty());
        EXPECT_FALSE(!movies.empty() && folder.isInProgress(movie().url));
        EXPECT_FALSE(capture.stream && capture.stream->alive);
        EXPECT_EQ(process.running, 0);
        EXPECT_EQ(executor.pendingTimers(), 0U);
    }

    VirtualExecutor executor;
    FakeDefaults defaults;
    FakeProcess process;
    FakeScreens screens;
    NotificationCenter notifications;
    FakeCapture capture;
    FakeDevices devices;
    FakeHotKeys keys;
    HotKeyCenter hotKeys{keys};
    FakeFiles files;
    FakeCalendar calendar;
    RecordingFolder folder{files, calendar};
    FakeMixing* mixing = nullptr;
    RecorderOverlays overlays;

    std::deque<FakeMovie> movies;
    std::exception_ptr writerRefusal;
    bool writerStarts = true;

    std::vector<State> states;
    Subscription watching;
    std::optional<ScreenRecorder> recorder;

 private:
    std::unique_ptr<AVAssetWriter> makeWriter(const std::filesystem::path& url, AVFileType fileType) {
        if (writerRefusal) std::rethrow_exception(writerRefusal);
        FakeMovie& next = movies.emplace_back();
        next.url = url;
        next.fileType = fileType;
        next.starts = writerStarts;
        if (!writerStarts) next.setError("The disk is full.");
        files.existing.insert(url);
        return std::make_unique<FakeAssetWriter>(next);
    }
};

}  // namespace lumicrate::test
