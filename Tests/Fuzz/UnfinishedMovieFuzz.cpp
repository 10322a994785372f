// Whatever the bytes, reading a movie ends well, and what it finds can be finished.
#include "Linux/Media/IsoBmff/BoxReader.h"
#include "Linux/Media/IsoBmff/MovieIndex.h"
#include "Linux/Media/IsoBmff/RecordingReader.h"
#include "Linux/Media/IsoBmff/UnfinishedMovie.h"
#include "Tests/Fuzz/Check.h"
#include "Tests/Fuzz/Mutations.h"
#include "Tests/Linux/Media/IsoBmff/SimulatedRecording.h"

#include <algorithm>
#include <numeric>

namespace lumicrate::fuzz {

namespace {

using namespace isobmff;
using isobmff::test::MemoryFile;

/// A table of one track, as it stands in an index.
struct TableEntries {
    std::vector<std::uint32_t> sizes;
    std::uint64_t durations = 0;  ///< how many samples have one
    std::uint64_t ticks = 0;
    std::vector<std::uint32_t> keys;
    std::vector<std::uint32_t> chunkSamples;  ///< of each chunk
    std::vector<std::uint64_t> chunkOffsets;
};

std::vector<std::uint64_t> readOffsets(const BoxReader& stbl) {
    const bool large = stbl.find("co64").has_value();
    BoxReader box = stbl.child(large ? "co64" : "stco");
    box.skip(4);
    std::vector<std::uint64_t> offsets(box.u32());
    for (std::uint64_t& each : offsets)
        each = box.wide(large);
    return offsets;
}

TableEntries readTable(const BoxReader& stbl) {
    TableEntries table;
    BoxReader stsz = stbl.child("stsz");
    stsz.skip(8);
    table.sizes.resize(stsz.u32());
    for (std::uint32_t& each : table.sizes)
        each = stsz.u32();

    BoxReader stts = stbl.child("stts");
    stts.skip(4);
    for (std::uint32_t left = stts.u32(); left > 0; --left) {
        const std::uint64_t count = stts.u32();
        table.durations += count;
        table.ticks += count * stts.u32();
    }

    if (auto stss = stbl.find("stss")) {
        stss->skip(4);
        table.keys.resize(stss->u32());
        for (std::uint32_t& each : table.keys)
            each = stss->u32();
    }

    table.chunkOffsets = readOffsets(stbl);
    BoxReader stsc = stbl.child("stsc");
    stsc.skip(4);
    for (std::uint32_t left = stsc.u32(); left > 0; --left) {
        const std::uint32_t first = stsc.u32();
        const std::uint32_t samples = stsc.u32();
        stsc.skip(4);
        table.chunkSamples.resize(first - 1, table.chunkSamples.empty() ? 0 : table.chunkSamples.back());
        table.chunkSamples.push_back(samples);
    }
    if (!table.chunkSamples.empty())
        table.chunkSamples.resize(table.chunkOffsets.size(), table.chunkSamples.back());
    return table;
}

void checkTable(const TableEntries& table, const SampleTable& samples, const UnfinishedMovie& movie) {
    check(table.sizes.size() == samples.sampleCount(), "every sample is in the index");
    check(table.durations == table.sizes.size(), "every sample has a duration");
    check(table.ticks == samples.duration(), "the durations make up the track's");
    check(
        std::adjacent_find(table.keys.begin(), table.keys.end(), std::greater_equal<>()) == table.keys.end(),
        "the numbers of key samples rise");
    check(table.keys.empty() || (table.keys.front() >= 1 && table.keys.back() <= table.sizes.size()),
          "key samples are samples");
    check(std::accumulate(table.chunkSamples.begin(), table.chunkSamples.end(), std::uint64_t{0}) ==
              table.sizes.size(),
          "every sample lies in a chunk");
    std::size_t sample = 0;
    std::uint64_t last = movie.layout.media;
    for (std::size_t i = 0; i < table.chunkOffsets.size(); ++i) {
        check(table.chunkOffsets[i] >= last, "chunks follow one another behind the room");
        last = table.chunkOffsets[i];
        for (const std::size_t end = sample + table.chunkSamples[i]; sample < end; ++sample)
            last += table.sizes[sample];
    }
    check(last <= movie.mediaEnd, "all samples lie within the media");
}

void checkIndex(const UnfinishedMovie& movie) {
    const auto bytes = makeIndex(movie.description, movie.tracks, 0);
    BoxReader moov = BoxReader(bytes).box("moov");
    std::size_t track = 0;
    while (moov.remaining() > 0) {
        const Box next = moov.box();
        if (next.type != fourCC("trak")) continue;
        while (movie.tracks[track].isEmpty())
            ++track;
        const BoxReader stbl = next.content.child("mdia").child("minf").child("stbl");
        checkTable(readTable(stbl), movie.tracks[track], movie);
        ++track;
    }
    while (track < movie.tracks.size())
        check(movie.tracks[track++].isEmpty(), "every track with samples is in the index");
}

void checkDescription(const MovieDescription& description) {
    const auto bytes = makeEmptyIndex(description);
    const EmptyIndex again = readEmptyIndex(description.brand, BoxReader(bytes).box("moov"));
    check(again.description == description, "a description is read as it was written");
}

void checkFinishing(const UnfinishedMovie& movie, MemoryFile file) {
    const auto filled = fillRoom(movie.layout, makeIndex(movie.description, movie.tracks, 0), movie.mediaEnd);
    if (!filled) return;
    file.write(*filled);
    file.write(switchToFinished(movie.layout));
    const MovieReading reading = readUnfinishedMovie(file);
    const auto* finished = std::get_if<FinishedMovie>(&reading);
    check(finished != nullptr && finished->identifier == movie.identifier, "a finished movie is one");
}

void checkMovie(const UnfinishedMovie& movie, const MemoryFile& file) {
    check(movie.layout.index < movie.layout.room && movie.layout.room < movie.layout.media &&
              movie.layout.media <= movie.mediaEnd && movie.mediaEnd <= file.size(),
          "the parts follow one another within the file");
    check(movie.tracks.size() == movie.description.tracks.size(), "every track has a table");
    checkIndex(movie);
    checkDescription(movie.description);
    checkFinishing(movie, file);

    const MovieReading cut = readUnfinishedMovie(file.cut(movie.mediaEnd));
    const auto* again = std::get_if<UnfinishedMovie>(&cut);
    check(again != nullptr && again->tracks == movie.tracks && again->mediaEnd == movie.mediaEnd &&
              again->layout == movie.layout && again->description == movie.description,
          "what follows the media changes nothing");
}

}  // namespace

}  // namespace lumicrate::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const lumicrate::isobmff::test::MemoryFile file(std::vector<std::uint8_t>(data, data + size));
    const auto reading = lumicrate::isobmff::readUnfinishedMovie(file);
    if (const auto* movie = std::get_if<lumicrate::isobmff::UnfinishedMovie>(&reading))
        lumicrate::fuzz::checkMovie(*movie, file);
    return 0;
}
