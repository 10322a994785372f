#include "Linux/Media/MovieFile/MovieFile.h"

#include "Support/Error.h"

#include <algorithm>
#include <chrono>
#include <random>
#include <utility>

namespace lumicrate::media {

namespace {

/// What the disk may be behind before pictures are refused: enough for one that has to spin up first.
constexpr double bufferSeconds = 8;
constexpr std::size_t leastBuffer = std::size_t{1} << 20;
constexpr std::size_t greatestBuffer = std::size_t{64} << 20;

/// The head has room for the index of a minute and is doubled at need where the file system can insert; where
/// it cannot, it is made large enough for most recordings at once.
constexpr std::uint64_t smallHead = 32 << 10;
constexpr std::uint64_t largeHead = 1 << 20;

/// How much of a recording, from its beginning, the system may keep in memory for whoever looks at it next.
constexpr std::uint64_t keptInMemory = 64 << 20;

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

MovieFile::MovieFile(std::filesystem::path path, AVFileType type, RecoveryList unfinished)
    : path_(std::move(path)), unfinished_(std::move(unfinished)) {
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
    if (movie_.description.tracks.empty()) std::rethrow_exception(failure("The movie has no tracks."));
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    movie_.description.created = std::chrono::duration_cast<std::chrono::seconds>(now).count();
    movie_.tracks.resize(movie_.description.tracks.size());
    lastDurations_.resize(movie_.tracks.size());
    trackEnds_.resize(movie_.tracks.size());
    createFile();
    movie_.mediaEnd = movie_.layout.media;
    const auto buffer = static_cast<std::size_t>(static_cast<double>(bitRate_) / 8 * bufferSeconds);
    disk_ = std::make_unique<WriteBehind>(*file_, std::clamp(buffer, leastBuffer, greatestBuffer),
                                          [this](const std::exception_ptr& error) { fail(error); });
    fragmenter_ = std::make_unique<isobmff::MovieFragmenter>(
        movie_.description, movie_.layout.media,
        [this](isobmff::MediaWrite write) { pass(std::move(write)); });
}

void MovieFile::createFile() {
    try {
        entry_.emplace(unfinished_, movie_.identifier, path_);
    } catch (const PlatformError&) {
        // Nobody will complete the file after a crash, but it can be played all the same.
    }
    try {
        isobmff::Head head = makeHead(movie_.description, movie_.identifier, smallHead);
        file_.emplace(OutputFile::create(path_, head.bytes));
        if (!growRoom(*file_, head.layout)) {
            head = makeHead(movie_.description, movie_.identifier, largeHead);
            file_->write(0, head.bytes);
        }
        movie_.layout = head.layout;
        // The index is sure of its room, even when the disk fills up.
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

void MovieFile::reach(double second) {
    const std::lock_guard lock(fragmenting_);
    if (!failed_ && !closed_) fragmenter_->reach(second);
}

void MovieFile::endTrack(int track, std::int64_t time) {
    const std::lock_guard lock(fragmenting_);
    trackEnds_[static_cast<std::size_t>(track)] = time;
}

double MovieFile::backlog() const {
    return disk_->fill();
}

/// Under the fragmenter's lock, so that what comes from several threads is written in order.
void MovieFile::pass(isobmff::MediaWrite write) {
    if (write.lastDuration) {
        lastDurations_[write.lastDuration->track] = write.lastDuration;
        disk_->patch(write.bytes.offset, write.bytes.bytes);
        return;
    }
    disk_->append(write.bytes.offset, std::move(write.bytes.bytes),
                  [this, runs = std::move(write.runs)]() mutable { written(std::move(runs)); });
}

/// On the disk's thread.
void MovieFile::written(std::vector<isobmff::MediaWrite::Run> runs) {
    for (const isobmff::MediaWrite::Run& run : runs)
        movie_.tracks[run.track].addRun(run.offset, run.time, run.samples);
    const std::uint64_t from = std::exchange(movie_.mediaEnd, disk_->reached());
    // A recording of hours would push everything else out of the system's memory; and inserting room before
    // it takes the longer, the more of it is there.
    if (from > keptInMemory) file_->dropFromMemory(from, movie_.mediaEnd - from);
    if (!file_->isLinked()) fail(failure("The file of the recording was deleted or moved."));
}

/// On the disk's thread.
void MovieFile::fail(const std::exception_ptr& error) {
    if (failed_.exchange(true)) return;
    failure_ = error;
    if (onFailure_) onFailure_(error);
}

void MovieFile::finish() {
    writeRest();
    if (isEmpty()) {
        discard();
        std::rethrow_exception(failure_ ? failure_ : failure("Nothing was recorded."));
    }
    settle();
    disk_.reset();
    if (file_->isDeleted()) file_->rescueCopy();
    completeMovie(*file_, movie_, indexPlace_);
    if (entry_) entry_->done();
    if (!file_->isLinked())
        std::rethrow_exception(
            failure("It was moved while it was being made, and is complete where it is now."));
}

/// Afterwards nothing runs on the disk's thread any more.
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

/// What was told after the samples: how long the last ones last, and where the tracks end.
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
