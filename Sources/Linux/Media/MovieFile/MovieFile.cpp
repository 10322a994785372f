// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/MovieFile/MovieFile.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <algorithm>
#include <chrono>
#include <random>
#include <utility>

namespace lumicrate::media {

namespace {

/// How far the disk may fall behind before pictures are refused: enough for a disk that has to spin up.
constexpr double bufferSeconds = 8;
constexpr std::size_t minBuffer = std::size_t{1} << 20;
constexpr std::size_t maxBuffer = std::size_t{64} << 20;

/// A small head has room for the index of a minute and is doubled when needed. Where the file system can't
/// insert space, the head is made large enough for most recordings from the start.
constexpr std::uint64_t smallHead = 32 << 10;
constexpr std::uint64_t largeHead = 1 << 20;

/// How much of a recording's beginning may stay in the page cache, for whoever opens it next.
constexpr std::uint64_t maxCached = 64 << 20;

isobmff::MovieIdentifier newIdentifier() {
    std::random_device random;
    isobmff::MovieIdentifier identifier;
    std::generate(identifier.begin(), identifier.end(),
                  [&random] { return static_cast<std::uint8_t>(random()); });
    return identifier;
}

std::exception_ptr failure(std::string_view sentence) {
    return std::make_exception_ptr(PlatformError(localized(sentence)));
}

}  // namespace

isobmff::Brand brandOf(AVFileType type) {
    switch (type) {
        case AVFileType::mpeg4:
            return isobmff::Brand::mpeg4;
        case AVFileType::quickTimeMovie:
            return isobmff::Brand::quickTime;
        case AVFileType::appleM4A:
            return isobmff::Brand::m4a;
    }
    return isobmff::Brand::mpeg4;
}

MovieFile::MovieFile(std::filesystem::path path, AVFileType type, RecoveryList recordings)
    : path_(std::move(path)), recordings_(std::move(recordings)) {
    movie_.description.brand = brandOf(type);
    movie_.identifier = newIdentifier();
}

MovieFile::~MovieFile() {
    if (!disk_) return;
    writeRest();
    if (isEmpty()) discard();
}

int MovieFile::addTrack(const isobmff::TrackDescription& description, int bitRate) {
    movie_.description.tracks.push_back(description);
    bitRate_ += bitRate;
    return static_cast<int>(movie_.description.tracks.size()) - 1;
}

void MovieFile::begin() {
    if (movie_.description.tracks.empty())
        std::rethrow_exception(failure(translatable("The movie has no tracks.")));
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    movie_.description.created = std::chrono::duration_cast<std::chrono::seconds>(now).count();
    movie_.tracks.resize(movie_.description.tracks.size());
    lastDurations_.resize(movie_.tracks.size());
    trackEnds_.resize(movie_.tracks.size());
    createFile();
    movie_.mediaEnd = movie_.layout.media;
    const auto buffer = static_cast<std::size_t>(static_cast<double>(bitRate_) / 8 * bufferSeconds);
    disk_ = std::make_unique<WriteBehind>(*file_, std::clamp(buffer, minBuffer, maxBuffer),
                                          [this](const std::exception_ptr& error) { fail(error); });
    fragmenter_ = std::make_unique<isobmff::MovieFragmenter>(
        movie_.description, movie_.layout.media,
        [this](isobmff::MediaWrite write) { pass(std::move(write)); });
}

void MovieFile::createFile() {
    try {
        entry_.emplace(recordings_, movie_.identifier, path_);
    } catch (const PlatformError&) {
        // After a crash the file won't be completed, but it can be played all the same.
        log(LogArea::movie, "the recording can't be noted for recovery");
    }
    try {
        isobmff::Head head = makeHead(movie_.description, movie_.identifier, smallHead);
        file_.emplace(OutputFile::create(path_, head.bytes));
        if (!growRoom(*file_, head.layout)) {
            head = makeHead(movie_.description, movie_.identifier, largeHead);
            file_->write(0, head.bytes);
        }
        log(LogArea::movie, "movie file begun, head of ", head.layout.media, " bytes",
            head.layout.media == largeHead ? ", no space can be inserted here" : "");
        movie_.layout = head.layout;
        // Guarantees the space for the index, even when the disk fills up.
        file_->reserve(0, movie_.layout.media);
    } catch (...) {
        discard();
        throw;
    }
}

void MovieFile::write(int track, const MovieSample& sample) {
    const std::lock_guard lock(fragmenting_);
    if (failed_ || closed_) return;
    fragmenter_->add(static_cast<std::size_t>(track), sample.data, sample.time,
                     static_cast<std::uint32_t>(sample.duration), sample.key);
}

void MovieFile::extendTo(double second) {
    const std::lock_guard lock(fragmenting_);
    if (!failed_ && !closed_) fragmenter_->extendTo(second);
}

void MovieFile::endTrack(int track, std::int64_t time) {
    const std::lock_guard lock(fragmenting_);
    trackEnds_[static_cast<std::size_t>(track)] = time;
}

double MovieFile::backlog() const {
    return disk_->fill();
}

/// Called with `fragmenting_` locked, so that fragments are queued in order.
void MovieFile::pass(isobmff::MediaWrite write) {
    if (write.lastDuration) {
        lastDurations_[write.lastDuration->track] = write.lastDuration;
        disk_->patch(write.bytes.offset, write.bytes.bytes);
        return;
    }
    disk_->append(write.bytes.offset, std::move(write.bytes.bytes),
                  [this, runs = std::move(write.runs)]() mutable { written(std::move(runs)); });
}

/// On the disk thread.
void MovieFile::written(std::vector<isobmff::MediaWrite::Run> runs) {
    for (const isobmff::MediaWrite::Run& run : runs)
        movie_.tracks[run.track].addRun(run.offset, run.time, run.samples);
    const std::uint64_t from = std::exchange(movie_.mediaEnd, disk_->reached());
    // Hours of recording would push everything else out of the page cache, and inserting space before the
    // media takes longer the more of it is cached.
    if (from > maxCached) file_->dropFromMemory(from, movie_.mediaEnd - from);
    if (!file_->isLinked()) fail(failure(translatable("The file of the recording was deleted or moved.")));
}

/// On the disk thread.
void MovieFile::fail(const std::exception_ptr& error) {
    if (failed_.exchange(true)) return;
    log(LogArea::movie, "nothing more can be written: ", localizedDescription(error));
    failure_ = error;
    if (onFailure_) onFailure_(error);
}

void MovieFile::finish() {
    writeRest();
    if (isEmpty()) {
        discard();
        std::rethrow_exception(failure_ ? failure_ : failure(translatable("Nothing was recorded.")));
    }
    settle();
    disk_.reset();
    if (file_->isDeleted()) file_->rescueCopy();
    completeMovie(*file_, movie_, indexPlace_);
    if (entry_) entry_->done();
    log(LogArea::movie, "movie file completed, ", file_->size(), " bytes");
    if (!file_->isLinked())
        std::rethrow_exception(
            failure(translatable("It was moved while it was being made, and is complete where it is now.")));
}

/// Afterwards nothing runs on the disk thread any more.
void MovieFile::writeRest() {
    {
        const std::lock_guard lock(fragmenting_);
        if (!failed_ && !closed_) fragmenter_->finish();
        closed_ = true;
    }
    disk_->drain();
}

bool MovieFile::isEmpty() const {
    return movie_.mediaEnd == movie_.layout.media;
}

/// Applies what became known after the samples: the durations of the last ones and the ends of the tracks.
void MovieFile::settle() {
    for (const auto& last : lastDurations_) {
        if (!last) continue;
        isobmff::SampleTable& table = movie_.tracks[last->track];
        if (!table.isEmpty() && table.lastTime() == last->time) table.setLastDuration(last->duration);
    }
    if (failed_) return;
    for (std::size_t i = 0; i < trackEnds_.size(); ++i) {
        isobmff::SampleTable& table = movie_.tracks[i];
        if (!trackEnds_[i] || table.isEmpty()) continue;
        if (movie_.description.tracks[i].isVideo()) {
            table.lastUntil(*trackEnds_[i]);
        } else {
            table.endPresentation(*trackEnds_[i]);
        }
    }
}

void MovieFile::discard() {
    disk_.reset();
    if (file_) file_->remove();
    file_.reset();
    if (entry_) entry_->done();
}

}  // namespace lumicrate::media
