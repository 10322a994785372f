#include "Tests/Stage/Movie/Media.h"

#include <algorithm>
#include <optional>

namespace lumicrate::stage {

namespace {

// FNV-1a.
std::uint64_t hashOf(ByteSpan bytes) {
    std::uint64_t hash = 14695981039346656037U;
    for (const std::uint8_t byte : bytes) {
        hash = (hash ^ byte) * 1099511628211U;
    }
    return hash;
}

// What a NAL unit's header says.
struct Unit {
    bool isPicture = false;       // a slice
    bool standsAlone = false;     // of a picture that needs no other
    bool isParameterSet = false;  // which has its place in the sample entry
    bool isValid = false;
};

Unit avcUnit(ByteSpan nal) {
    constexpr int slice = 1;
    constexpr int lastSlice = 5;  // which is that of an IDR picture
    const int type = nal[0] & 31;
    Unit unit;
    unit.isValid = (nal[0] & 0x80) == 0 && type != 0;
    unit.isPicture = type >= slice && type <= lastSlice;
    unit.standsAlone = type == lastSlice;
    unit.isParameterSet = type == 7 || type == 8;
    return unit;
}

Unit hevcUnit(ByteSpan nal) {
    const int type = nal[0] >> 1 & 63;
    Unit unit;
    unit.isValid = nal.size() >= 2 && (nal[0] & 0x80) == 0 && (nal[1] & 7) != 0;
    unit.isPicture = type < 32;
    unit.standsAlone = type >= 16 && type <= 23;
    unit.isParameterSet = type >= 32 && type <= 34;
    return unit;
}

// No start code can be found within a unit, and none ends with a zero byte.
bool isEscaped(ByteSpan nal) {
    int zeros = 0;
    for (const std::uint8_t byte : nal) {
        if (zeros >= 2 && byte < 3) return false;
        zeros = byte == 0 ? zeros + 1 : 0;
    }
    return zeros == 0;
}

// What is wrong with a sample; nothing if it is right.
using Verdict = std::optional<std::string>;

Verdict judgePicture(ByteSpan sample, Coding coding, bool isSync) {
    bool hasPicture = false;
    bool standsAlone = true;
    Bytes bytes(sample);
    while (!bytes.isAtEnd()) {
        if (bytes.left() < 4) return "ends with bytes that are no NAL unit";
        const std::uint32_t length = bytes.u32();
        if (length == 0 || length > bytes.left()) return "has a NAL unit of an impossible length";
        const ByteSpan nal = bytes.take(length);
        const Unit unit = coding == Coding::Avc ? avcUnit(nal) : hevcUnit(nal);
        if (!unit.isValid || !isEscaped(nal)) return "has a NAL unit that is none";
        if (unit.isParameterSet) return "has a parameter set, which belongs into the sample entry";
        hasPicture = hasPicture || unit.isPicture;
        if (unit.isPicture) standsAlone = standsAlone && unit.standsAlone;
    }
    if (!hasPicture) return "has no picture";
    if (isSync && !standsAlone) return "is a sync sample but needs others";
    if (!isSync && standsAlone) return "needs no other but isn't a sync sample";
    return std::nullopt;
}

// A block of AAC begins with an element that suits the channels and ends with the end element.
Verdict judgeSound(ByteSpan sample, int channels) {
    constexpr std::size_t mostBytesAChannel = 768;
    if (sample.size() < 2 || sample.size() > mostBytesAChannel * static_cast<std::size_t>(channels))
        return "is of an impossible size for AAC: " + std::to_string(sample.size());
    const int first = sample[0] >> 5;
    constexpr int singleChannel = 0;
    constexpr int channelPair = 1;
    constexpr int fill = 6;
    constexpr int stream = 4;
    const int expected = channels == 2 ? channelPair : singleChannel;
    if (first != expected && first != fill && first != stream)
        return "doesn't begin as AAC of its channels does";
    int tail = sample[sample.size() - 2] << 8 | sample[sample.size() - 1];
    for (int padding = 0; padding < 7 && (tail & 1) == 0; ++padding) {
        tail >>= 1;
    }
    if ((tail & 7) != 7) return "doesn't end as AAC does";
    return std::nullopt;
}

struct Range {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    std::string name;
};

std::string nameOf(const TrackFacts& track, std::size_t number) {
    return "sample " + std::to_string(number + 1) + " of track " + std::to_string(track.id);
}

class Examination {
 public:
    Examination(const Box& whole, ByteSpan file, Faults& faults)
        : whole_(whole), file_(file), faults_(faults) {
        for (const Box* mdat : whole.all("mdat")) {
            media_.push_back({mdat->contentOffset(), mdat->end(), {}});
        }
    }

    void examine(TrackFacts& track) {
        for (std::size_t i = 0; i < track.samples.size(); ++i) {
            MovieSample& sample = track.samples[i];
            const Range range{sample.offset, sample.offset + sample.size, nameOf(track, i)};
            const bool isInside = std::any_of(media_.begin(), media_.end(), [&](const Range& mdat) {
                return range.begin >= mdat.begin && range.end <= mdat.end && range.begin <= range.end;
            });
            if (!isInside) {
                faults_.add(whole_, range.name + " lies outside the media");
                continue;
            }
            ranges_.push_back(range);
            const ByteSpan bytes = file_.subspan(static_cast<std::size_t>(sample.offset), sample.size);
            sample.hash = hashOf(bytes);
            if (const auto verdict = judge(track, bytes, sample))
                faults_.add(whole_, range.name + " at " + std::to_string(sample.offset) + " " + *verdict);
        }
    }

    void examineOverlaps() {
        std::sort(ranges_.begin(), ranges_.end(),
                  [](const Range& one, const Range& other) { return one.begin < other.begin; });
        for (std::size_t i = 1; i < ranges_.size(); ++i) {
            faults_.require(ranges_[i - 1].end <= ranges_[i].begin, whole_,
                            ranges_[i].name + " shares bytes with " + ranges_[i - 1].name);
        }
    }

 private:
    static Verdict judge(const TrackFacts& track, ByteSpan bytes, const MovieSample& sample) {
        switch (track.entry.coding) {
            case Coding::Avc:
            case Coding::Hevc:
                return judgePicture(bytes, track.entry.coding, sample.isSync);
            case Coding::Aac:
                if (!sample.isSync) return "is sound but no sync sample";
                if (sample.duration > 1024 || (sample.duration < 1024 && &sample != &track.samples.back()))
                    return "doesn't last 1024 ticks";
                return judgeSound(bytes, track.entry.channels);
            case Coding::None:
                break;
        }
        return std::nullopt;
    }

    const Box& whole_;
    ByteSpan file_;
    Faults& faults_;
    std::vector<Range> media_;
    std::vector<Range> ranges_;
};

}  // namespace

void examineMediaBytes(const Box& whole, ByteSpan file, std::vector<TrackFacts>& tracks, Faults& faults) {
    Examination examination(whole, file, faults);
    for (TrackFacts& track : tracks) {
        examination.examine(track);
    }
    examination.examineOverlaps();
}

}  // namespace lumicrate::stage
