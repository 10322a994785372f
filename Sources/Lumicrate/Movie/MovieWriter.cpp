// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Movie/MovieWriter.h"

#include "Support/Log.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace lumicrate {

namespace {

/// The last frame is repeated this long before the end, so that it is still part of the movie.
constexpr CMTime holdBeforeEnd{1, 1000};
/// A frame younger than this is not repeated at the end.
constexpr CMTime holdAfterFrame{1, 30};
/// On a still screen the last frame is repeated after this time.
constexpr CMTime repeatInterval{1, 1};
/// A frame arrives at most this long after it was captured. Repeats are not written for later times, because
/// the frame would then be out of order.
constexpr CMTime maxDeliveryTime{1, 4};

AVVideoOutputSettings videoSettings(const MovieWriter::Settings& settings) {
    AVVideoOutputSettings video;
    video.codec = settings.codec;
    video.width = settings.width;
    video.height = settings.height;
    video.compression.averageBitRate = settings.bitRate;
    video.compression.expectedSourceFrameRate = settings.fps;
    // A key frame at least every two seconds, so that players can seek.
    video.compression.maxKeyFrameInterval = settings.fps * 2;
    video.compression.maxStillKeyFrameInterval = settings.stillKeyFrameInterval;
    video.compression.isNaturalVideo = settings.camera;
    if (settings.codec == AVVideoCodecType::h264) {
        video.compression.profileLevel = AVVideoProfileLevel::h264HighAutoLevel;
    }
    return video;
}

AVAudioOutputSettings audioSettings(int channels, int bitRate) {
    AVAudioOutputSettings audio;
    audio.formatID = kAudioFormatMPEG4AAC;
    audio.sampleRate = 48000;
    audio.numberOfChannels = channels;
    audio.encoderBitRate = bitRate;
    return audio;
}

std::exception_ptr failed(MovieWriterError::Case which) {
    return std::make_exception_ptr(MovieWriterError(which));
}

/// The writer's error, or an unspecific one.
std::exception_ptr errorOf(const AVAssetWriter& writer) {
    const std::exception_ptr error = writer.error();
    return error ? error : failed(MovieWriterError::unknown);
}

/// The same sample, earlier by `shift`. Keeps the duration; an invalid decoding time stays invalid.
CMSampleBuffer shiftedBack(const CMSampleBuffer& sample, CMTime shift) {
    CMSampleTimingInfo timing = sample.timing;
    timing.presentationTimeStamp = timing.presentationTimeStamp - shift;
    timing.decodeTimeStamp = timing.decodeTimeStamp - shift;
    return sample.copyWithNewTiming(timing);
}

bool isCompleteFrame(const CMSampleBuffer& sample) {
    return sample.frameInfo && sample.frameInfo->status == SCFrameStatus::complete;
}

}  // namespace

/// Calls the completion of finish() exactly once, whichever party reports first. May outlive the movie writer
/// in the platform's completion.
class MovieWriter::Finishing {
 public:
    using Completion = std::function<void(std::exception_ptr)>;

    explicit Finishing(Completion completion) : completion_(std::move(completion)) {}

    void resolve(const std::exception_ptr& error) {
        if (const Completion completion = take()) completion(error);
    }

    /// Resolves with the status of `writer`, unless already resolved; then `writer` may be gone.
    void resolveWithOutcome(const AVAssetWriter& writer) {
        std::unique_lock lock(mutex_);
        if (!completion_) return;
        const bool completed = writer.status() == AVAssetWriterStatus::completed;
        const std::exception_ptr error = completed ? nullptr : errorOf(writer);
        const Completion completion = std::exchange(completion_, nullptr);
        lock.unlock();
        completion(error);
    }

 private:
    Completion take() {
        const std::lock_guard lock(mutex_);
        return std::exchange(completion_, nullptr);
    }

    std::mutex mutex_;
    Completion completion_;
};

MovieWriter::MovieWriter(const Settings& settings, const Services& services,
                         InterruptionHandler onInterruption)
    : clock_(services.clock),
      files_(services.files),
      onInterruption_(std::move(onInterruption)),
      writer_(services.makeAssetWriter(settings.url, settings.fileType)),
      queue_(services.makeQueue("Lumicrate.movie-writer")) {
    if (settings.constantFrameRate) gridRate_ = settings.fps;
    writer_->setShouldOptimizeForNetworkUse(true);
    if (settings.video) video_.input = &addTrack(videoSettings(settings));
    if (settings.systemAudio) systemAudio_.input = &addTrack(audioSettings(2, 192000));
    if (settings.microphone) microphone_.input = &addTrack(audioSettings(1, 128000));
    if (settings.input && settings.video) input_.input = &addTrack(AVMetadataOutputSettings());
    writer_->setOnInterruption([this](const std::exception_ptr& reason) { interrupt(reason); });
    if (!writer_->startWriting()) std::rethrow_exception(errorOf(*writer_));
}

MovieWriter::~MovieWriter() {
    queue_.reset();
    // May still report the completion of the file.
    writer_.reset();
    if (finishing_) finishing_->resolve(failed(MovieWriterError::unknown));
}

AVAssetWriterInput& MovieWriter::addTrack(const AVOutputSettings& settings) {
    if (!writer_->canAddInput(settings)) throw MovieWriterError(MovieWriterError::cannotAddInput);
    AVAssetWriterInput& input = writer_->addInput(settings);
    input.setExpectsMediaDataInRealTime(true);
    return input;
}

MovieWriter::Track* MovieWriter::trackFor(SCStreamOutputType type) {
    Track* track = nullptr;
    switch (type) {
        case SCStreamOutputType::screen:
            track = &video_;
            break;
        case SCStreamOutputType::audio:
            track = &systemAudio_;
            break;
        case SCStreamOutputType::microphone:
            track = &microphone_;
            break;
    }
    return track && track->input ? track : nullptr;
}

void MovieWriter::didOutputSampleBuffer(const CMSampleBuffer& sample, SCStreamOutputType type) {
    if (!isWriting() || !sample.isValid()) return;
    Track* track = trackFor(type);
    if (!track) return;
    if (type == SCStreamOutputType::microphone) meter_.process(sample);
    if (type == SCStreamOutputType::screen) {
        if (!isCompleteFrame(sample)) return;
        endPauseWith(sample);
    }

    const CMTime pts = sample.presentationTimeStamp();
    const std::optional<CMTime> offset = pauses_.offset(pts);
    if (!offset || !startSession(type, pts - *offset)) return;

    const bool unshifted = *offset == CMTime::zero();
    const CMSampleBuffer timed = unshifted ? sample : shiftedBack(sample, *offset);
    if (type == SCStreamOutputType::screen) {
        appendFrame(timed);
    } else {
        append(timed, *track);
    }
}

/// If it is the awaited frame.
void MovieWriter::endPauseWith(const CMSampleBuffer& frame) {
    if (!awaited_ || frame.frameInfo->revision < awaited_->revision) return;
    endPause(std::max(frame.presentationTimeStamp(), awaited_->notBefore));
    awaited_.reset();
}

/// Whether samples can still be written. Detects a writer that has failed by itself.
bool MovieWriter::isWriting() {
    if (failure_ || interrupted_) return false;
    const AVAssetWriterStatus status = writer_->status();
    if (status == AVAssetWriterStatus::failed) fail();
    return status == AVAssetWriterStatus::writing;
}

void MovieWriter::fail() {
    failure_ = errorOf(*writer_);
    interrupt(failure_);
}

/// Any thread. Only the first reason is reported.
void MovieWriter::interrupt(const std::exception_ptr& reason) {
    if (interrupted_.exchange(true)) return;
    log(LogArea::movie, "writing was interrupted: ", localizedDescription(reason));
    if (onInterruption_) onInterruption_(reason);
}

/// Starts the movie with this sample. False if the movie has to wait for a frame of the screen.
bool MovieWriter::startSession(SCStreamOutputType type, CMTime at) {
    if (sessionStarted_) return true;
    if (video_.input && type != SCStreamOutputType::screen) return false;
    writer_->startSessionAtSourceTime(at);
    sessionStarted_ = true;
    appendInput(inputTimes_.begin(at));
    log(LogArea::movie, "the first sample arrived");
    return true;
}

/// False if the track is too busy. A sample that is out of order is dropped, which is not the track's fault.
bool MovieWriter::append(const CMSampleBuffer& sample, Track& track) {
    const CMTime pts = sample.presentationTimeStamp();
    if (track.lastPTS.isValid() && pts <= track.lastPTS) return true;
    if (!track.input->isReadyForMoreMediaData()) return false;
    if (track.input->appendSampleBuffer(sample)) {
        track.lastPTS = pts;
    } else {
        fail();
    }
    return true;
}

void MovieWriter::appendFrame(const CMSampleBuffer& frame) {
    video_.input->setSaving(load_.update(video_.input->backlog(), frame.presentationTimeStamp()));
    bool kept = true;
    if (!gridRate_) {
        kept = append(frame, video_);
        lastVideoFrame_ = frame;
        lastFrameRefused_ = !kept;
    } else {
        if (grid_) {
            kept = grid_->add(frame);
        } else {
            grid_.emplace(frame, *gridRate_);
        }
        fillGrid(frame.presentationTimeStamp());
    }
    if (!kept) refusedFrames_.fetch_add(1, std::memory_order_relaxed);
}

/// Writes the pictures of the grid up to this time. False if some have to wait for the encoder.
bool MovieWriter::fillGrid(CMTime until) {
    while (const std::optional<CMSampleBuffer> picture = grid_->next(until)) {
        if (!append(*picture, video_) || failure_) return false;
        grid_->advance();
    }
    return true;
}

void MovieWriter::pause() {
    queue_->async([this, at = clock_.time()] {
        awaited_.reset();
        pauses_.pause(at);
    });
}

void MovieWriter::resume(std::uint64_t revision) {
    queue_->async([this, revision, at = clock_.time()] {
        if (revision == 0) return endPause(at);
        if (pauses_.pausedAt() && !awaited_) awaited_ = {revision, at};
    });
}

void MovieWriter::endPause(CMTime at) {
    pauses_.resume(at);
    const std::optional<CMTime> offset = pauses_.offset(at);
    if (sessionStarted_ && offset) appendInput(inputTimes_.begin(at - *offset));
}

void MovieWriter::addInput(RecordedInput input, CMTime at) {
    queue_->async([this, input = std::move(input), at] {
        const std::optional<CMTime> offset = sessionStarted_ ? pauses_.offset(at) : std::nullopt;
        appendInput(inputTimes_.add(input, offset ? std::optional(at - *offset) : std::nullopt));
    });
}

/// Input is too little to be refused, unless the disk is far behind.
void MovieWriter::appendInput(const std::optional<RecordedInput>& input) {
    if (!input || !input_.input || !isWriting() || !input_.input->isReadyForMoreMediaData()) return;
    CMSampleBuffer sample;
    sample.timing.presentationTimeStamp = input->time;
    sample.input = std::make_shared<const RecordedInput>(*input);
    if (!input_.input->appendSampleBuffer(sample)) fail();
}

void MovieWriter::keepUp() {
    queue_->async([this, now = clock_.time()] {
        if (!sessionStarted_ || !isWriting()) return;
        retryRefusedFrame();
        const std::optional<CMTime> offset = pauses_.offset(now);
        if (!offset) return;
        const CMTime shown = now - *offset;
        if (grid_) {
            fillGrid(shown - maxDeliveryTime);
        } else {
            repeatStillFrame(shown - maxDeliveryTime);
        }
        writer_->extendSession(shown);
    });
}

/// If the encoder was busy just when the screen became still, no other frame arrives: retry the refused one.
void MovieWriter::retryRefusedFrame() {
    if (!lastFrameRefused_ || !append(*lastVideoFrame_, video_)) return;
    lastFrameRefused_ = false;
    refusedFrames_.fetch_sub(1, std::memory_order_relaxed);
}

void MovieWriter::setMicrophoneMuted(bool muted) {
    queue_->async([this, muted] { meter_.setMuted(muted); });
}

void MovieWriter::setOnMicrophoneLevel(std::function<void(float)> sink) {
    queue_->async([this, sink = std::move(sink)] { meter_.setSink(sink); });
}

void MovieWriter::finish(std::function<void(std::exception_ptr)> completion) {
    finishing_ = std::make_shared<Finishing>(std::move(completion));
    queue_->async([this, finishing = finishing_] { finishNow(finishing); });
}

void MovieWriter::finishNow(const std::shared_ptr<Finishing>& finishing) {
    if (!sessionStarted_ || failure_ || writer_->status() != AVAssetWriterStatus::writing) {
        finishing->resolve(discard());
        return;
    }
    endMovie();
    for (const Track* track : {&video_, &systemAudio_, &microphone_, &input_}) {
        if (track->input) track->input->markAsFinished();
    }
    writer_->finishWriting([finishing, writer = writer_.get()] { finishing->resolveWithOutcome(*writer); });
}

/// Shows a still screen until the end, and ends sound and video together.
void MovieWriter::endMovie() {
    const CMTime end = pauses_.pausedAt().value_or(clock_.time());
    const CMTime held = end - holdBeforeEnd;
    const std::optional<CMTime> heldOffset = pauses_.offset(held);
    // Right after a pause, the repeated frame would be inside the pause.
    const std::optional<CMTime> offset = heldOffset ? heldOffset : pauses_.offset(end);
    if (!offset) return;
    CMTime movieEnd = end - *offset;
    if (grid_) {
        // Exactly where the last picture of the grid ends, unless some are missing.
        if (fillGrid(heldOffset ? held - *offset : movieEnd)) movieEnd = grid_->end();
    } else if (heldOffset) {
        holdLastFrame(held - *offset);
    }
    writer_->endSessionAtSourceTime(movieEnd);
}

void MovieWriter::holdLastFrame(CMTime until) {
    repeatStillFrame(until);
    if (lastVideoFrame_ && until > lastVideoFrame_->presentationTimeStamp() + holdAfterFrame)
        repeatLastFrame(until);
}

void MovieWriter::repeatStillFrame(CMTime until) {
    if (!lastVideoFrame_ || lastFrameRefused_) return;
    CMTime due;
    do {
        due = lastVideoFrame_->presentationTimeStamp() + repeatInterval;
    } while (due <= until && repeatLastFrame(due));
}

/// False if the encoder is busy.
bool MovieWriter::repeatLastFrame(CMTime at) {
    const CMSampleBuffer repeated =
        shiftedBack(*lastVideoFrame_, lastVideoFrame_->presentationTimeStamp() - at);
    if (!append(repeated, video_)) return false;
    lastVideoFrame_ = repeated;
    return !failure_;
}

/// Deletes the file and returns the error that spoilt the recording.
std::exception_ptr MovieWriter::discard() {
    if (writer_->status() == AVAssetWriterStatus::writing) writer_->cancelWriting();
    try {
        files_.removeItem(writer_->outputURL());
    } catch (const LocalizedError&) {
        // The writer has usually deleted it already, and the first error is more important.
    }
    if (failure_) return failure_;
    if (std::exception_ptr error = writer_->error()) return error;
    return failed(sessionStarted_ ? MovieWriterError::unknown : MovieWriterError::noFrames);
}

}  // namespace lumicrate
