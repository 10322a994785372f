// SPDX-License-Identifier: GPL-3.0-or-later
// MovieMaker: writes a movie through the asset writer as the recorder does, but waits where the recorder
// would drop; TestPicture and sound(): what a test puts into it.
#pragma once

#include "Linux/Media/MovieFile/AssetWriter.h"
#include "Platform/AVAssetWriter.h"
#include "Support/Error.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/MovieProbe.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace lumicrate::test {

/// A picture in the form that capture delivers, drawn by a test.
class TestPicture final : public CVPixelBuffer {
 public:
    /// White; strides are longer than the rows.
    TestPicture(int pixelWidth, int pixelHeight) {
        width = pixelWidth;
        height = pixelHeight;
        lumaStride = pixelWidth + 5;
        chromaStride = (pixelWidth + 1) / 2 * 2 + 6;
        lumaBytes_.assign(static_cast<std::size_t>(lumaStride * pixelHeight), 235);
        chromaBytes_.assign(static_cast<std::size_t>(chromaStride * ((pixelHeight + 1) / 2)), 128);
        expose();
    }
    TestPicture(const TestPicture& other)
        : CVPixelBuffer(other), lumaBytes_(other.lumaBytes_), chromaBytes_(other.chromaBytes_) {
        expose();
    }
    TestPicture& operator=(const TestPicture&) = delete;

    void fill(const PixelRect& rect, int y, int cb, int cr) {
        const PixelRect part = rect.intersection({0, 0, width, height});
        for (int row = part.y; row < part.maxY(); ++row) {
            for (int column = part.x; column < part.maxX(); ++column) {
                lumaBytes_[static_cast<std::size_t>(row * lumaStride + column)] =
                    static_cast<std::uint8_t>(y);
                const auto pair = static_cast<std::size_t>(row / 2 * chromaStride + column / 2 * 2);
                chromaBytes_[pair] = static_cast<std::uint8_t>(cb);
                chromaBytes_[pair + 1] = static_cast<std::uint8_t>(cr);
            }
        }
    }
    /// Black-on-white strokes of one or two pixels, as dense as small text, different for each `seed`.
    void print(const PixelRect& rect, unsigned seed) {
        constexpr int cellWidth = 9;
        constexpr int cellHeight = 18;
        std::mt19937 random(seed);
        fill(rect, 235, 128, 128);
        for (int top = rect.y; top < rect.maxY(); top += cellHeight) {
            for (int left = rect.x; left < rect.maxX(); left += cellWidth) {
                if (random() % 6 == 0) continue;  // a space
                for (int stroke = 0; stroke < 3; ++stroke) {
                    const int x = left + 1 + static_cast<int>(random() % 6);
                    const int y = top + 2 + static_cast<int>(random() % 10);
                    const bool upright = random() % 2 == 0;
                    const PixelRect line{x, y, upright ? 1 + static_cast<int>(random() % 2) : 6,
                                         upright ? 10 : 1};
                    fill(line.intersection({left, top, cellWidth, cellHeight}).intersection(rect), 30, 128,
                         128);
                }
            }
        }
    }
    /// Random luma samples within the picture.
    void noise(const PixelRect& rect, unsigned seed) {
        std::mt19937 random(seed);
        for (int row = rect.y; row < rect.maxY(); ++row) {
            for (int column = rect.x; column < rect.maxX(); ++column)
                lumaBytes_[static_cast<std::size_t>(row * lumaStride + column)] =
                    static_cast<std::uint8_t>(16 + random() % 220);
        }
    }

 private:
    void expose() {
        luma = lumaBytes_.data();
        chroma = chromaBytes_.data();
    }

    std::vector<std::uint8_t> lumaBytes_;
    std::vector<std::uint8_t> chromaBytes_;
};

/// Peak signal-to-noise ratio of the luma of a decoded picture, or a part of it, in dB.
inline double psnr(const CVPixelBuffer& source, const stage::Picture& decoded, PixelRect rect = {}) {
    if (rect.isEmpty()) rect = {0, 0, source.width, source.height};
    double squares = 0;
    for (int y = rect.y; y < rect.maxY(); ++y) {
        for (int x = rect.x; x < rect.maxX(); ++x) {
            const double difference =
                source.luma[std::ptrdiff_t{y} * source.lumaStride + x] - decoded.luma().at(x, y);
            squares += difference * difference;
        }
    }
    const double mean = std::max(squares / static_cast<double>(rect.area()), 1e-9);
    return 10 * std::log10(255 * 255 / mean);
}

/// When the session of every movie starts.
constexpr CMTime start{1000, 1};

inline AVVideoOutputSettings videoSettings(int width, int height, int bitRate = 8'000'000, int fps = 30,
                                           AVVideoCodecType codec = AVVideoCodecType::h264) {
    AVVideoOutputSettings settings;
    settings.codec = codec;
    settings.width = width;
    settings.height = height;
    settings.compression = {.averageBitRate = bitRate,
                            .expectedSourceFrameRate = fps,
                            .maxKeyFrameInterval = fps * 2,
                            .profileLevel = AVVideoProfileLevel::h264HighAutoLevel};
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
    explicit FullDisk(rlim_t bytes) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &before_); }

 private:
    rlimit before_{};
};

class MovieMaker {
 public:
    explicit MovieMaker(const std::vector<AVOutputSettings>& tracks, AVFileType type = AVFileType::mpeg4,
                        bool indexInFront = true)
        : path_(folder_ / "movie"),
          writer_(media::makeAssetWriter(path_, type, media::RecoveryList(folder_ / "unfinished"))) {
        writer_->setShouldOptimizeForNetworkUse(indexInFront);
        begin(tracks);
    }
    /// With another writer, which may have no file.
    MovieMaker(std::unique_ptr<AVAssetWriter> writer, const std::vector<AVOutputSettings>& tracks)
        : writer_(std::move(writer)) {
        begin(tracks);
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
    void begin(const std::vector<AVOutputSettings>& tracks) {
        for (const AVOutputSettings& track : tracks) {
            inputs_.push_back(&writer_->addInput(track));
            inputs_.back()->setExpectsMediaDataInRealTime(true);
        }
        writer_->setOnInterruption([this](const std::exception_ptr& error) {
            const std::lock_guard lock(mutex_);
            interruptions_.push_back(localizedDescription(error));
        });
        if (!writer_->startWriting()) std::rethrow_exception(writer_->error());
        writer_->startSessionAtSourceTime(start);
    }

    TemporaryFolder folder_;
    std::filesystem::path path_;
    std::mutex mutex_;
    std::vector<std::string> interruptions_;
    std::unique_ptr<AVAssetWriter> writer_;
    std::vector<AVAssetWriterInput*> inputs_;
};

}  // namespace lumicrate::test
