// SPDX-License-Identifier: GPL-3.0-or-later
// MovieMaker: writes a movie through the asset writer as the recorder does, but waits where the recorder
// would drop.
#pragma once

#include "Linux/Media/MovieFile/AssetWriter.h"
#include "Platform/AVAssetWriter.h"
#include "Support/Error.h"
#include "Tests/Linux/Media/TestPicture.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/MovieProbe.h"

#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace lumicrate::test {

inline AVVideoOutputSettings videoSettings(int width, int height, int bitRate = 8'000'000, int fps = 30) {
    AVVideoOutputSettings settings;
    settings.width = width;
    settings.height = height;
    settings.compression = {bitRate, fps, fps * 2, AVVideoProfileLevel::h264HighAutoLevel};
    return settings;
}

inline AVAudioOutputSettings audioSettings(int channels) {
    return {kAudioFormatMPEG4AAC, 48000, channels, channels == 2 ? 192000 : 128000};
}

inline SCStreamFrameInfo frameInfo(std::uint64_t sequence, std::vector<PixelRect> dirty) {
    return {SCFrameStatus::complete, sequence, std::move(dirty)};
}

inline CMSampleBuffer frame(CMTime time, std::shared_ptr<const CVPixelBuffer> picture,
                            std::optional<SCStreamFrameInfo> info = std::nullopt) {
    CMSampleBuffer sample;
    sample.timing.presentationTimeStamp = time;
    sample.imageBuffer = std::move(picture);
    sample.frameInfo = std::move(info);
    return sample;
}

/// Interleaved float sound, the same in all channels.
inline CMSampleBuffer sound(CMTime time, const std::vector<float>& mono, int channels) {
    std::vector<std::byte> bytes(mono.size() * static_cast<std::size_t>(channels) * sizeof(float));
    auto* samples = reinterpret_cast<float*>(bytes.data());
    for (const float value : mono) {
        for (int channel = 0; channel < channels; ++channel)
            *samples++ = value;
    }
    CMSampleBuffer sample;
    sample.timing.presentationTimeStamp = time;
    sample.audio = std::make_shared<AudioBufferList>();
    sample.audio->description = {48000, channels, AudioSampleFormat::float32};
    sample.audio->buffers.push_back(std::move(bytes));
    return sample;
}

/// Limits the size of the process's files while it lives, like a full disk.
class FullDisk {
 public:
    explicit FullDisk(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

 private:
    rlimit before_{};
    void (*handler_)(int);
};

class MovieMaker {
 public:
    explicit MovieMaker(const std::vector<AVOutputSettings>& tracks, AVFileType type = AVFileType::mpeg4,
                        bool indexInFront = true, CMTime start = CMTime(1000, 1), bool realTime = true)
        : path_(folder_ / "movie"),
          writer_(media::makeAssetWriter(path_, type, media::RecoveryList(folder_ / "unfinished"))) {
        writer_->setShouldOptimizeForNetworkUse(indexInFront);
        for (const AVOutputSettings& track : tracks) {
            inputs_.push_back(&writer_->addInput(track));
            inputs_.back()->setExpectsMediaDataInRealTime(realTime);
        }
        writer_->setOnInterruption([this](const std::exception_ptr& error) {
            const std::lock_guard lock(mutex_);
            interruptions_.push_back(localizedDescription(error));
        });
        if (!writer_->startWriting()) std::rethrow_exception(writer_->error());
        writer_->startSessionAtSourceTime(start);
    }

    void append(std::size_t track, const CMSampleBuffer& sample) {
        awaitRoom(track);
        if (!inputs_[track]->appendSampleBuffer(sample)) std::rethrow_exception(writer_->error());
    }
    /// Polls, because AVAssetWriterInput has no event for it.
    void awaitRoom(std::size_t track) {
        while (!inputs_[track]->isReadyForMoreMediaData() &&
               writer_->status() == AVAssetWriterStatus::writing)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    AVAssetWriterStatus finish() {
        for (AVAssetWriterInput* input : inputs_)
            input->markAsFinished();
        std::promise<void> done;
        writer_->finishWriting([&done] { done.set_value(); });
        done.get_future().wait();
        return writer_->status();
    }
    /// The movie, which must be complete.
    stage::MovieProbe finished() {
        if (finish() != AVAssetWriterStatus::completed) std::rethrow_exception(writer_->error());
        return stage::MovieProbe(path_);
    }

    AVAssetWriter& writer() { return *writer_; }
    AVAssetWriterInput& input(std::size_t track) { return *inputs_[track]; }
    std::vector<std::string> interruptions() {
        const std::lock_guard lock(mutex_);
        return interruptions_;
    }
    const std::filesystem::path& path() const { return path_; }
    void destroyWriter() { writer_.reset(); }

 private:
    TemporaryFolder folder_;
    std::filesystem::path path_;
    std::mutex mutex_;
    std::vector<std::string> interruptions_;
    std::unique_ptr<AVAssetWriter> writer_;
    std::vector<AVAssetWriterInput*> inputs_;
};

}  // namespace lumicrate::test
