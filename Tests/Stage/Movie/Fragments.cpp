#include "Tests/Stage/Movie/Fragments.h"

#include "Tests/Stage/Movie/SampleTables.h"

#include <algorithm>
#include <optional>

namespace lumicrate::stage {

namespace {

// Of "tfhd".
constexpr std::uint32_t withBaseOffset = 0x000001;
constexpr std::uint32_t withDescription = 0x000002;
constexpr std::uint32_t withDefaultDuration = 0x000008;
constexpr std::uint32_t withDefaultSize = 0x000010;
constexpr std::uint32_t withDefaultFlags = 0x000020;
constexpr std::uint32_t durationIsEmpty = 0x010000;
constexpr std::uint32_t baseIsFragment = 0x020000;
// Of "trun".
constexpr std::uint32_t withDataOffset = 0x001;
constexpr std::uint32_t withFirstFlags = 0x004;
constexpr std::uint32_t withDuration = 0x100;
constexpr std::uint32_t withSize = 0x200;
constexpr std::uint32_t withFlags = 0x400;
constexpr std::uint32_t withReorder = 0x800;

TrackFacts* trackOf(std::vector<TrackFacts>& tracks, std::uint32_t id) {
    const auto found =
        std::find_if(tracks.begin(), tracks.end(), [id](const TrackFacts& track) { return track.id == id; });
    return found != tracks.end() ? &*found : nullptr;
}

// The flags of a sample: whether it stands for itself, in two places that have to agree.
bool readSampleFlags(std::uint32_t flags, const Box& box, Faults& faults) {
    constexpr std::uint32_t isNoSync = 1U << 16;
    constexpr std::uint32_t reserved = 0xf0000000;
    const std::uint32_t dependsOn = flags >> 24 & 3;
    const bool isSync = (flags & isNoSync) == 0;
    faults.require((flags & reserved) == 0, box, "has reserved sample flags");
    faults.require(dependsOn == 0 || dependsOn == (isSync ? 2U : 1U), box,
                   "has sample flags that contradict each other");
    return isSync;
}

// One "moof" and what belongs to it.
class Fragment {
 public:
    Fragment(const Box& moof, const Box* mdat, std::vector<TrackFacts>& tracks, Faults& faults)
        : moof_(moof), mdat_(mdat), tracks_(tracks), faults_(faults), dataEnd_(moof.offset) {}

    void examine() {
        for (const Box* traf : moof_.all("traf")) {
            faults_.within(*traf, [&] { examineTrack(*traf); });
        }
    }

 private:
    struct Defaults : FragmentDefaults {
        std::uint64_t base = 0;
    };

    void examineTrack(const Box& traf) {
        const Box* tfhd = traf.child("tfhd");
        const Box* tfdt = traf.child("tfdt");
        if (tfhd == nullptr || tfdt == nullptr) return;
        TrackFacts* track = nullptr;
        const auto defaults = readHeader(*tfhd, track);
        if (track == nullptr) return;
        const std::size_t before = track->samples.size();
        std::uint64_t time = readTime(*tfdt, *track);
        // Runs without an offset follow the last one.
        dataEnd_ = std::max(dataEnd_, defaults.base);
        for (const Box* trun : traf.all("trun")) {
            faults_.within(*trun, [&] { readRun(*trun, defaults, *track, time); });
        }
        track->nextTime = time;
        examineRoll(traf, *track, track->samples.size() - before);
    }

    Defaults readHeader(const Box& tfhd, TrackFacts*& track) {
        constexpr std::uint32_t known = withBaseOffset | withDescription | withDefaultDuration |
                                        withDefaultSize | withDefaultFlags | durationIsEmpty | baseIsFragment;
        Bytes bytes(tfhd.content);
        faults_.require(bytes.u8() == 0, tfhd, "is of an unknown version");
        const auto flags = bytes.u24();
        faults_.require((flags & ~known) == 0, tfhd, "has unknown flags");
        faults_.require((flags & withBaseOffset) == 0 || (flags & baseIsFragment) == 0, tfhd,
                        "names two beginnings of its data");
        const auto id = bytes.u32();
        track = trackOf(tracks_, id);
        Defaults defaults;
        if (track == nullptr) {
            faults_.add(tfhd, "is for the unknown track " + std::to_string(id));
            return defaults;
        }
        static_cast<FragmentDefaults&>(defaults) = track->defaults;
        // Without either flag, the data of the second track on follow those of the one before.
        defaults.base = (flags & baseIsFragment) != 0 ? moof_.offset : dataEnd_;
        if ((flags & withBaseOffset) != 0) defaults.base = bytes.u64();
        if ((flags & withDescription) != 0)
            faults_.require(bytes.u32() == 1, tfhd, "refers to an unknown sample description");
        if ((flags & withDefaultDuration) != 0) defaults.duration = bytes.u32();
        if ((flags & withDefaultSize) != 0) defaults.size = bytes.u32();
        if ((flags & withDefaultFlags) != 0) defaults.flags = bytes.u32();
        faults_.require(bytes.isAtEnd(), tfhd, "is too long");
        return defaults;
    }

    std::uint64_t readTime(const Box& tfdt, const TrackFacts& track) {
        Bytes bytes(tfdt.content);
        const std::uint32_t version = bytes.u8();
        faults_.require(version <= 1, tfdt, "is of an unknown version");
        faults_.require(bytes.u24() == 0, tfdt, "has flags");
        const auto time = bytes.wide(version == 1);
        faults_.require(time >= track.nextTime, tfdt,
                        "begins at " + std::to_string(time) + ", before the samples up to " +
                            std::to_string(track.nextTime) + " are over");
        faults_.require(bytes.isAtEnd(), tfdt, "is too long");
        return time;
    }

    void readRun(const Box& trun, const Defaults& defaults, TrackFacts& track, std::uint64_t& time) {
        constexpr std::uint32_t known =
            withDataOffset | withFirstFlags | withDuration | withSize | withFlags | withReorder;
        Bytes bytes(trun.content);
        faults_.require(bytes.u8() <= 1, trun, "is of an unknown version");
        const auto flags = bytes.u24();
        faults_.require((flags & ~known) == 0, trun, "has unknown flags");
        faults_.require((flags & withFirstFlags) == 0 || (flags & withFlags) == 0, trun,
                        "tells the first sample's flags twice");
        const std::uint64_t count = bytes.u32();
        faults_.require(count > 0, trun, "has no samples");
        if ((flags & withDataOffset) != 0)
            dataEnd_ = defaults.base + static_cast<std::uint64_t>(
                                           static_cast<std::int64_t>(static_cast<std::int32_t>(bytes.u32())));
        std::optional<std::uint32_t> firstFlags;
        if ((flags & withFirstFlags) != 0) firstFlags = bytes.u32();
        const auto fields =
            static_cast<std::uint64_t>(((flags & withDuration) != 0) + ((flags & withSize) != 0) +
                                       ((flags & withFlags) != 0) + ((flags & withReorder) != 0));
        faults_.require(bytes.left() == count * fields * 4, trun,
                        "has room for another number of samples than its " + std::to_string(count));
        if (fields == 0 && count > mostWithoutFields) return;
        for (std::uint64_t i = 0; i < count; ++i) {
            MovieSample sample;
            sample.duration = (flags & withDuration) != 0 ? bytes.u32() : defaults.duration;
            sample.size = (flags & withSize) != 0 ? bytes.u32() : defaults.size;
            const auto own = (flags & withFlags) != 0 ? bytes.u32() : defaults.flags;
            sample.isSync = readSampleFlags(i == 0 ? firstFlags.value_or(own) : own, trun, faults_);
            if ((flags & withReorder) != 0) sample.reorder = static_cast<std::int32_t>(bytes.u32());
            add(trun, sample, track, time);
        }
    }

    void add(const Box& trun, MovieSample& sample, TrackFacts& track, std::uint64_t& time) {
        sample.offset = dataEnd_;
        sample.mediaTime = static_cast<std::int64_t>(time);
        dataEnd_ += sample.size;
        time += sample.duration;
        faults_.require(sample.size > 0, trun, "has a sample without bytes");
        faults_.require(sample.duration > 0, trun, "has a sample without duration");
        faults_.require(
            mdat_ != nullptr && sample.offset >= mdat_->contentOffset() && dataEnd_ <= mdat_->end(), trun,
            "has a sample outside the media that follows its fragment");
        track.samples.push_back(sample);
    }

    void examineRoll(const Box& traf, const TrackFacts& track, std::size_t samples) {
        const Box* sbgp = traf.child("sbgp");
        const bool isDescribed = track.hasRollGroup || traf.child("sgpd") != nullptr;
        faults_.require(
            (sbgp != nullptr) == isDescribed, traf,
            isDescribed ? "has samples in no roll group" : "has samples in groups that aren't described");
        if (sbgp == nullptr) return;
        faults_.within(*sbgp, [&] {
            faults_.require(examineRollMembers(*sbgp, true, faults_) == samples, *sbgp,
                            "isn't for all samples of its fragment");
        });
    }

    // A run whose samples are all alike may be any number of them, but hardly so many.
    static constexpr std::uint64_t mostWithoutFields = 1U << 20;

    const Box& moof_;
    const Box* mdat_;
    std::vector<TrackFacts>& tracks_;
    Faults& faults_;
    std::uint64_t dataEnd_;
};

}  // namespace

void examineFragmentDefaults(const Box& mvex, std::vector<TrackFacts>& tracks, Faults& faults) {
    for (const Box* trex : mvex.all("trex")) {
        faults.within(*trex, [&] {
            Bytes bytes(trex->content);
            faults.require(bytes.u32() == 0, *trex, "has an unknown version or flags");
            TrackFacts* track = trackOf(tracks, bytes.u32());
            faults.require(bytes.u32() == 1, *trex, "refers to an unknown sample description");
            const auto duration = bytes.u32();
            const auto size = bytes.u32();
            const auto flags = bytes.u32();
            faults.require(bytes.isAtEnd(), *trex, "is too long");
            readSampleFlags(flags, *trex, faults);
            faults.require(track != nullptr && !track->hasDefaults, *trex,
                           "is for no track, or for one that had its own already");
            if (track == nullptr) return;
            track->hasDefaults = true;
            track->defaults = {duration, size, flags};
        });
    }
    for (const TrackFacts& track : tracks) {
        faults.require(track.hasDefaults, mvex, "lacks “trex” of track " + std::to_string(track.id));
    }
}

void examineFragments(const Box& whole, bool mayBeCutOff, std::vector<TrackFacts>& tracks, Faults& faults) {
    std::uint32_t lastNumber = 0;
    for (TrackFacts& track : tracks) {
        for (const MovieSample& sample : track.samples) {
            track.nextTime = static_cast<std::uint64_t>(sample.mediaTime) + sample.duration;
        }
    }
    const auto& boxes = whole.children;
    for (auto moof = boxes.begin(); moof != boxes.end(); ++moof) {
        if (moof->type != "moof") continue;
        const auto next = std::next(moof);
        const Box* mdat = next != boxes.end() && next->type == "mdat" ? &*next : nullptr;
        const bool isLast = next == boxes.end() || (std::next(next) == boxes.end() && !next->isWhole);
        const bool isWhole = moof->isWhole && mdat != nullptr && mdat->isWhole;
        if (mayBeCutOff && isLast && !isWhole) return;
        faults.require(mdat != nullptr, *moof, "isn't followed by its media");
        const Box* mfhd = moof->child("mfhd");
        if (mfhd != nullptr) {
            faults.within(*mfhd, [&] {
                Bytes bytes(mfhd->content);
                faults.require(bytes.u32() == 0, *mfhd, "has an unknown version or flags");
                const auto number = bytes.u32();
                faults.require(
                    number > lastNumber, *mfhd,
                    "has the number " + std::to_string(number) + " after " + std::to_string(lastNumber));
                faults.require(bytes.isAtEnd(), *mfhd, "is too long");
                lastNumber = number;
            });
        }
        Fragment(*moof, mdat, tracks, faults).examine();
    }
}

}  // namespace lumicrate::stage
