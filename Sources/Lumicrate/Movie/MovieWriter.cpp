#include "Lumicrate/Movie/MovieWriter.h"

#include <mutex>
#include <utility>

namespace lumicrate {

namespace {

/// The held last picture comes this much before the end, so that it is still part of the movie.
constexpr CMTime holdBeforeEnd{1, 1000};
/// Movie files count how long a picture lasts with 32 bits, of which a screen that stands still for half a
/// day has more.
constexpr CMTime longestFrame{3600, 1};
/// A picture this young need not be held.
constexpr CMTime holdAfterFrame{1, 30};

AVVideoOutputSettings videoSettings(const MovieWriter::Settings& settings) {
    AVVideoOutputSettings video;
    video.codec = settings.codec;
    video.width = settings.width;
    video.height = settings.height;
    video.compression.averageBitRate = settings.bitRate;
    video.compression.expectedSourceFrameRate = settings.fps;
    // A key frame at least every two seconds, so that players can seek.
    video.compression.maxKeyFrameInterval = settings.fps * 2;
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

/// Why a writer failed, as far as it says.
std::exception_ptr errorOf(const AVAssetWriter& writer) {
    const std::exception_ptr error = writer.error();
    return error ? error : failed(MovieWriterError::unknown);
}

/// The same sample `shift` earlier. Its duration stays; a decoding time that is not known stays unknown.
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

/// The one call that a finish owes, wherever it comes from. It outlives the movie writer where the platform's
/// completion does.
class MovieWriter::Finishing {
 public:
    using Completion = std::function<void(std::exception_ptr)>;

    explicit Finishing(Completion completion) : completion_(std::move(completion)) {}

    void resolve(const std::exception_ptr& error) {
        if (const Completion completion = take()) completion(error);
    }

    /// With what became of the file. The writer need not exist any more once the call has been made.
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
    writer_->setShouldOptimizeForNetworkUse(true);
    if (settings.video) video_.input = &addInput(videoSettings(settings));
    if (settings.systemAudio) systemAudio_.input = &addInput(audioSettings(2, 192000));
    if (settings.microphone) microphone_.input = &addInput(audioSettings(1, 128000));
    writer_->setOnInterruption([this](const std::exception_ptr& reason) { interrupt(reason); });
    if (!writer_->startWriting()) std::rethrow_exception(errorOf(*writer_));
}

MovieWriter::~MovieWriter() {
    queue_.reset();
    // A file that is being completed may still report while its writer goes away.
    writer_.reset();
    if (finishing_) finishing_->resolve(failed(MovieWriterError::unknown));
}

AVAssetWriterInput& MovieWriter::addInput(const AVOutputSettings& settings) {
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
    if (type == SCStreamOutputType::screen && !isCompleteFrame(sample)) return;

    const CMTime pts = sample.presentationTimeStamp();
    const std::optional<CMTime> offset = pauses_.offset(pts);
    if (!offset || !startSession(type, pts - *offset)) return;

    const bool unshifted = *offset == CMTime::zero();
    const CMSampleBuffer timed = unshifted ? sample : shiftedBack(sample, *offset);
    const bool accepted = append(timed, *track);
    if (type != SCStreamOutputType::screen) return;
    lastVideoFrame_ = timed;
    lastFrameRefused_ = !accepted;
    if (!accepted) refusedFrames_.fetch_add(1, std::memory_order_relaxed);
}

/// Whether what comes now can still get into the movie. Notices a writer that has failed by itself.
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

/// Any thread; only the first reason is told.
void MovieWriter::interrupt(const std::exception_ptr& reason) {
    if (interrupted_.exchange(true)) return;
    if (onInterruption_) onInterruption_(reason);
}

/// False while the movie has not begun and this kind of sample is not what begins it.
bool MovieWriter::startSession(SCStreamOutputType type, CMTime at) {
    if (sessionStarted_) return true;
    if (video_.input && type != SCStreamOutputType::screen) return false;
    writer_->startSessionAtSourceTime(at);
    sessionStarted_ = true;
    return true;
}

/// False when the track is too busy to take the sample; one out of order is none of its business.
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

void MovieWriter::pause() {
    queue_->async([this, at = clock_.time()] { pauses_.pause(at); });
}

void MovieWriter::resume() {
    queue_->async([this, at = clock_.time()] { pauses_.resume(at); });
}

void MovieWriter::keepUp() {
    queue_->async([this, now = clock_.time()] {
        if (!sessionStarted_ || !isWriting()) return;
        offerRefusedFrame();
        const std::optional<CMTime> offset = pauses_.offset(now);
        if (!offset) return;
        showLastFrameAgain(now - *offset, longestFrame);
        writer_->extendSession(now - *offset);
    });
}

/// A screen that came to rest just when the encoder was busy delivers no other frame.
void MovieWriter::offerRefusedFrame() {
    if (!lastFrameRefused_ || !append(*lastVideoFrame_, video_)) return;
    lastFrameRefused_ = false;
    refusedFrames_.fetch_sub(1, std::memory_order_relaxed);
}

void MovieWriter::setMicrophoneMuted(bool muted) {
    queue_->async([this, muted] { meter_.setMuted(muted); });
}

void MovieWriter::setOnMicrophoneLevel(std::function<void(float)> sink) {
    meter_.setSink(std::move(sink));
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
    for (const Track* track : {&video_, &systemAudio_, &microphone_}) {
        if (track->input) track->input->markAsFinished();
    }
    writer_->finishWriting([finishing, writer = writer_.get()] { finishing->resolveWithOutcome(*writer); });
}

/// A screen that stood still at the end is to be seen until the end, and sound ends with the picture.
void MovieWriter::endMovie() {
    const CMTime end = pauses_.pausedAt().value_or(clock_.time());
    const CMTime held = end - holdBeforeEnd;
    std::optional<CMTime> offset = pauses_.offset(held);
    if (offset) showLastFrameAgain(held - *offset, holdAfterFrame);
    // Right after a pause the held picture would lie in it.
    if (!offset) offset = pauses_.offset(end);
    if (offset) writer_->endSessionAtSourceTime(end - *offset);
}

/// Unless it is younger than `age`.
void MovieWriter::showLastFrameAgain(CMTime at, CMTime age) {
    if (!lastVideoFrame_ || !video_.input) return;
    const CMTime last = lastVideoFrame_->presentationTimeStamp();
    if (at <= last + age) return;
    const CMSampleBuffer again = shiftedBack(*lastVideoFrame_, last - at);
    if (append(again, video_)) lastVideoFrame_ = again;
}

/// Leaves no file behind; says why.
std::exception_ptr MovieWriter::discard() {
    if (writer_->status() == AVAssetWriterStatus::writing) writer_->cancelWriting();
    try {
        files_.removeItem(writer_->outputURL());
    } catch (const LocalizedError&) {
        // Mostly the writer has deleted it already; and the error that spoilt the recording is the one to
        // tell.
    }
    if (failure_) return failure_;
    if (std::exception_ptr error = writer_->error()) return error;
    return failed(sessionStarted_ ? MovieWriterError::unknown : MovieWriterError::noFrames);
}

}  // namespace lumicrate
