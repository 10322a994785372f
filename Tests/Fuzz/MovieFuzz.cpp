// SPDX-License-Identifier: GPL-3.0-or-later
// Any bytes can be read as a movie's headers, with sensible numbers, and as an unfinished movie, and what is
// found can be finished.
#include "Linux/Media/IsoBmff/Boxes.h"
#include "Linux/Media/IsoBmff/MovieIndex.h"
#include "Linux/Media/IsoBmff/MovieSummary.h"
#include "Linux/Media/IsoBmff/RecordingReader.h"
#include "Linux/Media/IsoBmff/UnfinishedMovie.h"
#include "Tests/Fuzz/Mutations.h"
#include "Tests/Linux/Media/IsoBmff/SimulatedRecording.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::fuzz {

namespace {

using namespace isobmff;
using isobmff::test::MemoryFile;

void checkDescription(const MovieDescription& description) {
    const auto bytes = makeEmptyIndex(description);
    const EmptyIndex again = readEmptyIndex(description.brand, BoxReader(bytes).box("moov"));
    check(again.description == description, "a description is read as written");
}

/// The sample tables of the index hold every sample, and each has a duration.
void checkTables(BoxReader trak, const SampleTable& samples) {
    const BoxReader stbl = trak.child("mdia").child("minf").child("stbl");
    BoxReader sizes = stbl.child("stsz");
    sizes.skip(8);
    check(sizes.u32() == samples.sampleCount(), "every sample is in the index");
    BoxReader durations = stbl.child("stts");
    durations.skip(4);
    std::uint64_t count = 0;
    std::uint64_t ticks = 0;
    for (std::uint32_t rows = durations.u32(); rows > 0; --rows) {
        const std::uint64_t run = durations.u32();
        count += run;
        ticks += run * durations.u32();
    }
    check(count == samples.sampleCount(), "every sample has a duration");
    check(ticks == samples.duration(), "the durations add up to the track's");
}

void checkIndex(const UnfinishedMovie& movie) {
    const auto bytes = makeIndex(movie.description, movie.tracks, 0);
    BoxReader moov = BoxReader(bytes).box("moov");
    auto track = movie.tracks.begin();
    while (moov.remaining() > 0) {
        const Box next = moov.box();
        if (next.type != fourCC("trak")) continue;
        while (track->isEmpty())
            ++track;
        checkTables(next.content, *track++);
    }
    check(std::all_of(track, movie.tracks.end(), [](const SampleTable& each) { return each.isEmpty(); }),
          "every track with samples is in the index");
}

void checkFinishing(const UnfinishedMovie& movie, MemoryFile file) {
    const auto filled = fillRoom(movie.layout, makeIndex(movie.description, movie.tracks, 0), movie.mediaEnd);
    if (!filled) return;
    file.write(*filled);
    file.write(switchToFinished(movie.layout));
    const MovieReading reading = readUnfinishedMovie(file);
    const auto* finished = std::get_if<FinishedMovie>(&reading);
    check(finished != nullptr && finished->identifier == movie.identifier, "a finished movie is recognized");
}

void checkMovie(const UnfinishedMovie& movie, const MemoryFile& file) {
    check(movie.layout.index < movie.layout.room && movie.layout.room < movie.layout.media &&
              movie.layout.media <= movie.mediaEnd && movie.mediaEnd <= file.size(),
          "the parts of the file are in order");
    check(movie.tracks.size() == movie.description.tracks.size(), "every track has a table");
    checkIndex(movie);
    checkDescription(movie.description);
    checkFinishing(movie, file);

    const MovieReading cut = readUnfinishedMovie(file.cut(movie.mediaEnd));
    const auto* again = std::get_if<UnfinishedMovie>(&cut);
    check(again != nullptr && again->tracks == movie.tracks && again->mediaEnd == movie.mediaEnd &&
              again->layout == movie.layout && again->description == movie.description,
          "data behind the media changes nothing");
}

bool isSensible(double value) {
    return std::isfinite(value) && value >= 0 && value <= 1e12;
}

void checkSummary(const MemoryFile& file) {
    const isobmff::test::CountedFile counted(file);
    const SummaryReading reading = readMovieSummary(counted);
    // The reader may read a byte twice, but not over and over.
    check(counted.bytesRead <= 64 * file.size() + 65536, "few bytes are read repeatedly");
    const auto* movie = std::get_if<MovieSummary>(&reading);
    if (movie == nullptr) return;
    check(isSensible(movie->duration), "the movie has a duration");
    for (const TrackSummary& each : movie->tracks) {
        check(isSensible(each.duration) && isSensible(each.width) && isSensible(each.height),
              "a track has a duration and a size");
        check(each.kind == fourCC("vide") || each.width + each.height == 0, "sound has no size");
    }
}

}  // namespace

}  // namespace lumicrate::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const lumicrate::isobmff::test::MemoryFile file(std::vector<std::uint8_t>(data, data + size));
    lumicrate::fuzz::checkSummary(file);
    const auto reading = lumicrate::isobmff::readUnfinishedMovie(file);
    if (const auto* movie = std::get_if<lumicrate::isobmff::UnfinishedMovie>(&reading))
        lumicrate::fuzz::checkMovie(*movie, file);
    return 0;
}

#ifdef LUMICRATE_LIBFUZZER
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

/// libFuzzer's own mutations hardly ever leave a movie readable.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
    if (size == 0 || seed % 4 == 0) return LLVMFuzzerMutate(data, size, maxSize);
    lumicrate::fuzz::Bytes input(data, data + size);
    lumicrate::fuzz::Mutations(seed).apply(input, input, maxSize);
    std::copy(input.begin(), input.end(), data);
    return input.size();
}
#endif
