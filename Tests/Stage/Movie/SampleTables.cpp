#include "Tests/Stage/Movie/SampleTables.h"

#include <algorithm>
#include <functional>
#include <limits>

namespace lumicrate::stage {

namespace {

// A table without flags whose entries are of one size, each handed over; also that it holds exactly as many
// as it says.
void readEntries(const Box& table, std::uint32_t newestVersion, std::size_t entrySize, Faults& faults,
                 const std::function<void(Bytes&, std::uint32_t version)>& visitor) {
    faults.within(table, [&] {
        Bytes bytes(table.content);
        const std::uint32_t version = bytes.u8();
        faults.require(version <= newestVersion, table,
                       "is of the unknown version " + std::to_string(version));
        faults.require(bytes.u24() == 0, table, "has flags");
        const std::uint64_t count = bytes.u32();
        faults.require(bytes.left() == count * entrySize, table,
                       "has room for another number of entries than its " + std::to_string(count));
        for (std::uint64_t i = 0; i < count; ++i) {
            visitor(bytes, version);
        }
    });
}

// A damaged number must not use up the memory; so many pictures last more than a day.
constexpr std::uint64_t mostSamples = 1U << 22;

class Tables {
 public:
    Tables(TrackFacts& track, Faults& faults) : track_(track), faults_(faults), stbl_(*track.stbl) {}

    void examine() {
        withTable("stsz", &Tables::readSizes);
        withTable("stts", &Tables::readDurations);
        withTable("ctts", &Tables::readReorders);
        readSync();
        readPlaces();
        readRolls();
    }

 private:
    void withTable(std::string_view type, void (Tables::*read)(const Box&)) {
        if (const Box* table = stbl_.child(type)) (this->*read)(*table);
    }

    void readSizes(const Box& stsz) {
        faults_.within(stsz, [&] {
            Bytes bytes(stsz.content);
            faults_.require(bytes.u32() == 0, stsz, "has an unknown version or flags");
            const auto common = bytes.u32();
            const std::uint64_t count = bytes.u32();
            const bool fits = bytes.left() == (common == 0 ? 4 * count : 0) && count <= mostSamples;
            faults_.require(fits, stsz,
                            "has room for another number of sizes than its " + std::to_string(count));
            if (!fits) return;
            track_.samples.resize(static_cast<std::size_t>(count));
            for (MovieSample& sample : track_.samples) {
                sample.size = common != 0 ? common : bytes.u32();
                if (sample.size == 0) {
                    faults_.add(stsz, "has a sample without bytes");
                    break;
                }
            }
        });
    }

    // Spreads entries of the kind "so many samples have this" over the samples.
    void spread(const Box& table, std::uint32_t newestVersion,
                const std::function<void(MovieSample&, std::uint32_t value, std::uint32_t version)>& give) {
        std::uint64_t given = 0;
        readEntries(table, newestVersion, 8, faults_, [&](Bytes& bytes, std::uint32_t version) {
            const std::uint64_t count = bytes.u32();
            const auto value = bytes.u32();
            faults_.require(count > 0, table, "has an entry for no sample");
            for (std::uint64_t i = given; i < std::min<std::uint64_t>(given + count, track_.samples.size());
                 ++i) {
                give(track_.samples[static_cast<std::size_t>(i)], value, version);
            }
            given += count;
        });
        faults_.require(given == track_.samples.size(), table,
                        "is for " + std::to_string(given) + " samples, of which there are " +
                            std::to_string(track_.samples.size()));
    }

    void readDurations(const Box& stts) {
        std::int64_t time = 0;
        spread(stts, 0, [&](MovieSample& sample, std::uint32_t duration, std::uint32_t) {
            sample.duration = duration;
            sample.mediaTime = time;
            time += duration;
            if (duration == 0 && &sample != &track_.samples.back())
                faults_.add(stts, "has a sample without duration before the last");
        });
        faults_.require(static_cast<std::uint64_t>(time) == track_.mediaDuration, stts,
                        "sums up to " + std::to_string(time) + " ticks, the media's header says " +
                            std::to_string(track_.mediaDuration));
    }

    void readReorders(const Box& ctts) {
        spread(ctts, 1, [](MovieSample& sample, std::uint32_t value, std::uint32_t) {
            sample.reorder = static_cast<std::int32_t>(value);
        });
    }

    void readSync() {
        const Box* stss = stbl_.child("stss");
        for (MovieSample& sample : track_.samples) {
            sample.isSync = stss == nullptr;
        }
        if (stss == nullptr) return;
        std::uint32_t last = 0;
        readEntries(*stss, 0, 4, faults_, [&](Bytes& bytes, std::uint32_t) {
            const auto number = bytes.u32();
            const bool follows = number > last && number <= track_.samples.size();
            faults_.require(follows, *stss,
                            "lists sample " + std::to_string(number) + " after " + std::to_string(last));
            if (follows) track_.samples[number - 1].isSync = true;
            last = number;
        });
    }

    std::vector<std::uint64_t> readChunkOffsets() {
        const Box* stco = stbl_.child("stco");
        const Box* co64 = stbl_.child("co64");
        std::vector<std::uint64_t> offsets;
        faults_.require((stco == nullptr) != (co64 == nullptr), stbl_, "hasn't one of “stco” and “co64”");
        const Box* table = stco != nullptr ? stco : co64;
        if (table == nullptr) return offsets;
        const std::size_t size = stco != nullptr ? 4 : 8;
        readEntries(*table, 0, size, faults_,
                    [&](Bytes& bytes, std::uint32_t) { offsets.push_back(bytes.number(size)); });
        return offsets;
    }

    // How many samples each chunk holds.
    std::vector<std::uint32_t> readChunkLengths(const Box& stsc, std::size_t chunks) {
        std::vector<std::uint32_t> lengths(chunks, 0);
        std::uint32_t last = 0;
        readEntries(stsc, 0, 12, faults_, [&](Bytes& bytes, std::uint32_t) {
            const auto first = bytes.u32();
            const auto length = bytes.u32();
            faults_.require(last == 0 ? first == 1 : first > last, stsc, "has chunks out of order");
            faults_.require(first <= chunks, stsc, "has a chunk without a place");
            faults_.require(length > 0, stsc, "has a chunk without samples");
            faults_.require(bytes.u32() == 1, stsc, "refers to an unknown sample description");
            // The entry holds until the next one; so far, for one chunk.
            if (first >= 1 && first <= chunks) lengths[first - 1] = length;
            last = first;
        });
        for (std::size_t i = 1; i < chunks; ++i) {
            if (lengths[i] == 0) lengths[i] = lengths[i - 1];
        }
        return lengths;
    }

    void readPlaces() {
        const auto offsets = readChunkOffsets();
        const Box* stsc = stbl_.child("stsc");
        if (stsc == nullptr) return;
        const auto lengths = readChunkLengths(*stsc, offsets.size());
        std::size_t placed = 0;
        std::uint64_t total = 0;
        for (std::size_t chunk = 0; chunk < offsets.size(); ++chunk) {
            total += lengths[chunk];
            std::uint64_t place = offsets[chunk];
            for (; placed < std::min<std::uint64_t>(total, track_.samples.size()); ++placed) {
                track_.samples[placed].offset = place;
                place += track_.samples[placed].size;
            }
        }
        faults_.require(total == track_.samples.size(), *stsc,
                        "has " + std::to_string(total) + " samples in chunks, of which there are " +
                            std::to_string(track_.samples.size()));
    }

    void readRolls() {
        const Box* sgpd = stbl_.child("sgpd");
        const Box* sbgp = stbl_.child("sbgp");
        if (sgpd != nullptr) faults_.within(*sgpd, [&] { readRollDescription(*sgpd); });
        faults_.require(sbgp == nullptr || sgpd != nullptr, stbl_,
                        "has samples in groups that aren't described");
        if (track_.samples.empty()) return;
        faults_.require(track_.isVideo() || sgpd != nullptr, stbl_,
                        "doesn't say that a decoder must begin one sample before what is heard");
        if (sgpd != nullptr) faults_.require(sbgp != nullptr, stbl_, "has a group without samples");
        if (sbgp == nullptr) return;
        faults_.within(*sbgp, [&] {
            faults_.require(examineRollMembers(*sbgp, false, faults_) == track_.samples.size(), *sbgp,
                            "isn't for all samples");
        });
    }

    void readRollDescription(const Box& sgpd) {
        Bytes bytes(sgpd.content);
        faults_.require(bytes.u32() == 1U << 24, sgpd, "isn't of version 1 without flags");
        faults_.require(bytes.text(4) == "roll", sgpd, "isn't of the kind “roll”");
        faults_.require(bytes.u32() == 2, sgpd, "hasn't entries of two bytes");
        faults_.require(bytes.u32() == 1, sgpd, "hasn't one entry");
        faults_.require(bytes.u16() == 0xffff, sgpd, "has another distance than -1");
        faults_.require(bytes.isAtEnd(), sgpd, "is too long");
        faults_.require(!track_.isVideo(), sgpd, "is for sound only");
        track_.hasRollGroup = true;
    }

    TrackFacts& track_;
    Faults& faults_;
    const Box& stbl_;
};

}  // namespace

void examineSampleTables(TrackFacts& track, Faults& faults) {
    if (track.stbl != nullptr) Tables(track, faults).examine();
}

std::uint64_t examineRollMembers(const Box& sbgp, bool isInFragment, Faults& faults) {
    // Groups described in the fragment itself are numbered from here on.
    constexpr std::uint32_t inFragment = 1U << 16;
    Bytes bytes(sbgp.content);
    faults.require(bytes.u32() == 0, sbgp, "isn't of version 0 without flags");
    faults.require(bytes.text(4) == "roll", sbgp, "isn't of the kind “roll”");
    const std::uint64_t count = bytes.u32();
    std::uint64_t members = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t samples = bytes.u32();
        const auto group = bytes.u32();
        const bool isGroup = group == 1 || (isInFragment && group == inFragment + 1);
        faults.require(isGroup, sbgp, "has samples outside the group");
        faults.require(samples > 0, sbgp, "has an entry for no sample");
        members += samples;
    }
    faults.require(bytes.isAtEnd(), sbgp, "is too long");
    return members;
}

}  // namespace lumicrate::stage
