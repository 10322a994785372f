// SPDX-License-Identifier: GPL-3.0-or-later
// Movie writing: the asset writer and its inputs, one for each track.
#pragma once

#include "Platform/CMSampleBuffer.h"
#include "Support/MediaTime.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <variant>

namespace lumicrate {

enum class AVFileType { mpeg4, quickTimeMovie, appleM4A };
enum class AVVideoCodecType { h264, hevc };

enum class AVVideoProfileLevel { h264HighAutoLevel };
enum class AVVideoColorPrimaries { ITU_R_709_2 };
enum class AVVideoTransferFunction { ITU_R_709_2 };
enum class AVVideoYCbCrMatrix { ITU_R_709_2 };

struct AVVideoCompressionProperties {
    int averageBitRate = 0;  ///< bits per second; never exceeded over a few seconds
    int expectedSourceFrameRate = 0;
    int maxKeyFrameInterval = 0;  ///< frames, at the expected rate
    /// Seconds, while frames only repeat the one before. Decoding a minute of repeats takes less time than a
    /// few moving frames, and at one a second they take less space than one key frame.
    double maxStillKeyFrameInterval = 60;
    std::optional<AVVideoProfileLevel> profileLevel;
    bool isNaturalVideo = false;  ///< a camera's: noise and motion everywhere
};

struct AVVideoOutputSettings {
    AVVideoCodecType codec = AVVideoCodecType::h264;
    int width = 0;  ///< pixels
    int height = 0;
    AVVideoCompressionProperties compression;
    AVVideoColorPrimaries colorPrimaries = AVVideoColorPrimaries::ITU_R_709_2;
    AVVideoTransferFunction transferFunction = AVVideoTransferFunction::ITU_R_709_2;
    AVVideoYCbCrMatrix yCbCrMatrix = AVVideoYCbCrMatrix::ITU_R_709_2;
};

/// "aac ", the format identifier of AAC.
inline constexpr std::uint32_t kAudioFormatMPEG4AAC = 0x61616320;

struct AVAudioOutputSettings {
    std::uint32_t formatID = kAudioFormatMPEG4AAC;
    int sampleRate = 48000;
    int numberOfChannels = 2;
    int encoderBitRate = 0;  ///< bits per second
};

/// A track of RecordedInput, which players ignore. It neither begins nor ends the movie.
struct AVMetadataOutputSettings {};

using AVOutputSettings = std::variant<AVVideoOutputSettings, AVAudioOutputSettings, AVMetadataOutputSettings>;

/// One track of a movie being written. All operations on one serial queue.
class AVAssetWriterInput {
 public:
    virtual ~AVAssetWriterInput() = default;

    /// Samples arrive in real time: the input must keep up or report that it is busy.
    virtual void setExpectsMediaDataInRealTime(bool realTime) = 0;
    /// False while the encoder or the disk is behind; samples appended then are refused.
    virtual bool isReadyForMoreMediaData() const = 0;
    /// The part of the queue that waits for the encoder, 0 … 1.
    virtual double backlog() const = 0;
    /// How much work the encoder saves with the pictures from now on: 0 for none, and with each level they
    /// are coarser and take less time. Other media ignores it.
    virtual void setSaving(int level) = 0;
    /// Queues a sample and returns at once. False if the writer has failed or is not writing. Presentation
    /// times must increase.
    virtual bool appendSampleBuffer(const CMSampleBuffer& sample) = 0;
    /// No more samples will be appended.
    virtual void markAsFinished() = 0;
};

enum class AVAssetWriterStatus { unknown, writing, completed, failed, cancelled };

/// Writes one movie file. All operations on one serial queue, except construction; `status` and `error` may
/// be called from any thread.
class AVAssetWriter {
 public:
    virtual ~AVAssetWriter() = default;

    virtual void setShouldOptimizeForNetworkUse(bool indexInFront) = 0;
    virtual bool canAddInput(const AVOutputSettings& settings) const = 0;
    /// Adds a track, before startWriting and only if canAddInput allows it. The writer owns the input.
    virtual AVAssetWriterInput& addInput(const AVOutputSettings& settings) = 0;
    /// Opens the file. False on failure, with the reason in `error`.
    virtual bool startWriting() = 0;
    /// `sink` is called once, on any thread, when the writer cannot continue: the disk is full, the file was
    /// deleted, an encoder failed. Later samples are dropped, but finishWriting still completes the file.
    /// Call this before startWriting.
    virtual void setOnInterruption(std::function<void(std::exception_ptr)> sink) = 0;
    /// The source time that becomes time zero of the movie. Earlier media is cut off.
    virtual void startSessionAtSourceTime(CMTime start) = 0;
    /// The last frame is shown until at least this time, although no sample has arrived since. After a crash,
    /// the recovered movie lasts until here.
    virtual void extendSession(CMTime sourceTime) = 0;
    /// The end of the movie: later media is cut off, and the last frame is shown until then. Once, after the
    /// last sample.
    virtual void endSessionAtSourceTime(CMTime end) = 0;
    virtual AVAssetWriterStatus status() const = 0;
    virtual std::exception_ptr error() const = 0;
    /// Completes the file, then calls `completion` once, on any thread; `status` is completed or failed by
    /// then.
    virtual void finishWriting(std::function<void()> completion) = 0;
    /// Cancels writing and deletes the file.
    virtual void cancelWriting() = 0;
    virtual std::filesystem::path outputURL() const = 0;
};

/// Creates the writer of a file. Throws PlatformError if the file cannot be created.
using AVAssetWriterFactory =
    std::function<std::unique_ptr<AVAssetWriter>(const std::filesystem::path& url, AVFileType fileType)>;

}  // namespace lumicrate
