// Any bytes can be read as an unfinished movie, and what is found can be finished.
#include "Linux/Media/IsoBmff/BoxReader.h"
#include "Linux/Media/IsoBmff/MovieIndex.h"
#include "Linux/Media/IsoBmff/RecordingReader.h"
#include "Linux/Media/IsoBmff/UnfinishedMovie.h"
#include "Tests/Fuzz/Check.h"
#include "Tests/Linux/Media/IsoBmff/SimulatedRecording.h"

#include <algorithm>
#include <numeric>

namespace lumicrate::fuzz {

namespace {

using namespace isobmff;
using isobmff::test::MemoryFile;

/// The sample table of one track in an index.
struct TableEntries {
    std::vector<std::uint64_t> sizes;
    std::uint64_t durations = 0;  ///< number of samples with a duration
    std::uint64_t ticks = 0;
    std::vector<std::uint64_t> keys;
    std::vector<std::uint64_t> chunkSamples;  ///< of each chunk
    std::vector<std::uint64_t> chunkOffsets;
};

/// The numbers of a table behind version, flags, `skipped` bytes and the count; `columns` in each row.
std::vector<std::uint64_t> readNumbers(const BoxReader& stbl, std::string_view type, std::size_t columns = 1,
                                       std::size_t skipped = 0) {
    BoxReader box = stbl.child(type);
    box.skip(4 + skipped);
    std::vector<std::uint64_t> numbers(box.u32() * columns);
    for (std::uint64_t& each : numbers)
        each = box.wide(type == "co64");
    return numbers;
}

TableEntries readTable(const BoxReader& stbl) {
    TableEntries table;
    table.sizes = readNumbers(stbl, "stsz", 1, 4);
    const auto durations = readNumbers(stbl, "stts", 2);
    for (std::size_t i = 0; i < durations.size(); i += 2) {
        table.durations += durations[i];
        table.ticks += durations[i] * durations[i + 1];
    }
    if (stbl.find("stss")) table.keys = readNumbers(stbl, "stss");
    table.chunkOffsets = readNumbers(stbl, stbl.find("co64") ? "co64" : "stco");
    const auto runs = readNumbers(stbl, "stsc", 3);
    for (std::size_t i = 0; i < runs.size(); i += 3) {
        const std::uint64_t next = i + 3 < runs.size() ? runs[i + 3] : table.chunkOffsets.size() + 1;
        table.chunkSamples.resize(next - 1, runs[i + 1]);
    }
    return table;
}

void checkTable(const TableEntries& table, const SampleTable& samples, const UnfinishedMovie& movie) {
    check(table.sizes.size() == samples.sampleCount(), "every sample is in the index");
    check(table.durations == table.sizes.size(), "every sample has a duration");
    check(table.ticks == samples.duration(), "the durations add up to the track's");
    check(
        std::adjacent_find(table.keys.begin(), table.keys.end(), std::greater_equal<>()) == table.keys.end(),
        "the numbers of key samples increase");
    check(table.keys.empty() || (table.keys.front() >= 1 && table.keys.back() <= table.sizes.size()),
          "key samples are samples");
    check(std::accumulate(table.chunkSamples.begin(), table.chunkSamples.end(), std::uint64_t{0}) ==
              table.sizes.size(),
          "every sample lies in a chunk");
    std::size_t sample = 0;
    std::uint64_t last = movie.layout.media;
    for (std::size_t i = 0; i < table.chunkOffsets.size(); ++i) {
        check(table.chunkOffsets[i] >= last, "chunks are in order, behind the room");
        last = table.chunkOffsets[i];
        for (const std::uint64_t end = sample + table.chunkSamples[i]; sample < end; ++sample)
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
    check(again.description == description, "a description is read as written");
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

}  // namespace

}  // namespace lumicrate::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const lumicrate::isobmff::test::MemoryFile file(std::vector<std::uint8_t>(data, data + size));
    const auto reading = lumicrate::isobmff::readUnfinishedMovie(file);
    if (const auto* movie = std::get_if<lumicrate::isobmff::UnfinishedMovie>(&reading))
        lumicrate::fuzz::checkMovie(*movie, file);
    return 0;
}
