// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/MovieFile/AssetWriter.h"

#include "Linux/Media/Encoding/VideoTrack.h"
#include "Linux/Media/Input/InputTrack.h"
#include "Linux/Media/MovieFile/MovieFile.h"
#include "Linux/Media/Sound/AudioTrack.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <latch>
#include <utility>
#include <variant>

namespace lumicrate::media {

namespace {

std::unique_ptr<TrackEncoder> makeEncoder(const AVOutputSettings& settings) {
    if (const auto* video = std::get_if<AVVideoOutputSettings>(&settings))
        return std::make_unique<VideoTrack>(*video);
    if (const auto* audio = std::get_if<AVAudioOutputSettings>(&settings))
        return std::make_unique<AudioTrack>(*audio);
    return std::make_unique<InputTrack>();
}

}  // namespace

std::unique_ptr<AVAssetWriter> makeAssetWriter(const std::filesystem::path& url, AVFileType fileType,
                                               const RecoveryList& recordings) {
    return std::make_unique<AssetWriter>(url, fileType,
                                         std::make_shared<MovieFile>(url, fileType, recordings));
}

AssetWriter::AssetWriter(std::filesystem::path url, AVFileType fileType,
                         std::shared_ptr<MovieDestination> movie)
    : url_(std::move(url)), fileType_(fileType), movie_(std::move(movie)) {
    movie_->setOnFailure([this](const std::exception_ptr& error) { state_.interrupt(error); });
}

AssetWriter::~AssetWriter() {
    // The completion handler may destroy the writer: then this is the finisher itself, which ends right
    // after.
    if (finisher_.get_id() == std::this_thread::get_id()) {
        finisher_.detach();
    } else if (finisher_.joinable()) {
        finisher_.join();
    }
    abandonInputs();
}

void AssetWriter::setShouldOptimizeForNetworkUse(bool indexInFront) {
    movie_->setIndexPlace(indexInFront ? IndexPlace::front : IndexPlace::end);
}

bool AssetWriter::canAddInput(const AVOutputSettings& settings) const {
    if (status() != AVAssetWriterStatus::unknown) return false;
    if (const auto* video = std::get_if<AVVideoOutputSettings>(&settings)) return canAdd(*video);
    if (const auto* audio = std::get_if<AVAudioOutputSettings>(&settings)) return canAdd(*audio);
    return fileType_ != AVFileType::appleM4A;
}

bool AssetWriter::canAdd(const AVVideoOutputSettings& settings) const {
    return fileType_ != AVFileType::appleM4A && !hasVideo_ && VideoTrack::canEncode(settings) &&
           settings.compression.averageBitRate > 0 && settings.compression.expectedSourceFrameRate > 0;
}

bool AssetWriter::canAdd(const AVAudioOutputSettings& settings) {
    return settings.formatID == kAudioFormatMPEG4AAC && settings.sampleRate == 48000 &&
           (settings.numberOfChannels == 1 || settings.numberOfChannels == 2) && settings.encoderBitRate > 0;
}

AVAssetWriterInput& AssetWriter::addInput(const AVOutputSettings& settings) {
    if (!canAddInput(settings)) throw PlatformError(localized("The movie file can't hold such a track."));
    hasVideo_ = hasVideo_ || std::holds_alternative<AVVideoOutputSettings>(settings);
    inputs_.push_back(std::make_unique<AssetWriterInput>(state_, makeEncoder(settings)));
    return *inputs_.back();
}

bool AssetWriter::startWriting() {
    if (status() != AVAssetWriterStatus::unknown) return false;
    try {
        for (const auto& input : inputs_)
            input->encoder().open(*movie_);
        movie_->begin();
    } catch (...) {
        state_.fail(std::current_exception());
        return false;
    }
    if (!state_.advance(AVAssetWriterStatus::unknown, AVAssetWriterStatus::writing)) return false;
    log(LogArea::movie, "writing ", inputs_.size(), " tracks");
    for (const auto& input : inputs_)
        input->start();
    return true;
}

void AssetWriter::startSessionAtSourceTime(CMTime start) {
    state_.startSession(start);
}

void AssetWriter::setOnInterruption(std::function<void(std::exception_ptr)> sink) {
    state_.setOnInterruption(std::move(sink));
}

void AssetWriter::extendSession(CMTime sourceTime) {
    const std::optional<CMTime> start = state_.sessionStart();
    if (start && state_.isWriting()) movie_->extendTo((sourceTime - *start).seconds());
}

void AssetWriter::endSessionAtSourceTime(CMTime end) {
    state_.endSession(end);
}

void AssetWriter::finishWriting(std::function<void()> completion) {
    if (finisher_.joinable()) return;
    for (const auto& input : inputs_)
        input->markAsFinished();
    // The completion handler may destroy the writer and with it `finisher_`, which must be assigned by then.
    const auto assigned = std::make_shared<std::latch>(1);
    finisher_ = std::thread([this, assigned, completed = std::move(completion)] {
        assigned->wait();
        complete();
        completed();
    });
    assigned->count_down();
}

/// On the finisher's thread.
void AssetWriter::complete() {
    for (const auto& input : inputs_)
        input->drain();
    if (!state_.isWriting()) return;
    finishTracks();
    try {
        movie_->finish();
        state_.advance(AVAssetWriterStatus::writing, AVAssetWriterStatus::completed);
    } catch (...) {
        // If nothing could be kept, the first interruption is the reason.
        const std::exception_ptr first = movie_->isEmpty() ? state_.interruption() : nullptr;
        state_.fail(first ? first : std::current_exception());
    }
}

/// Where the movie ends, from the session's start. An interrupted movie ends where its pictures do.
std::optional<MovieEnd> AssetWriter::movieEnd(CMTime start) const {
    const std::optional<CMTime> requested = state_.isInterrupted() ? std::nullopt : state_.sessionEnd();
    if (requested && *requested > start) return MovieEnd{*requested - start, true};
    for (const auto& input : inputs_) {
        if (const std::optional<CMTime> decided = input->encoder().decidedEnd())
            return MovieEnd{*decided, false};
    }
    return std::nullopt;
}

/// A track whose encoder fails ends early; the others are kept.
void AssetWriter::finishTracks() {
    const CMTime start = state_.sessionStart().value_or(CMTime::zero());
    const std::optional<MovieEnd> end = movieEnd(start);
    for (const auto& input : inputs_) {
        try {
            input->encoder().finish(start, end);
        } catch (...) {
            state_.interrupt(std::current_exception());
        }
    }
}

void AssetWriter::cancelWriting() {
    if (finisher_.joinable()) return;
    if (!state_.advance(AVAssetWriterStatus::writing, AVAssetWriterStatus::cancelled)) return;
    abandonInputs();
    movie_->discard();
}

/// Ends the inputs' threads.
void AssetWriter::abandonInputs() {
    for (const auto& input : inputs_)
        input->abandon();
}

}  // namespace lumicrate::media
