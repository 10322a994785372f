#include "Linux/Media/IsoBmff/FragmentLengths.h"

#include <algorithm>

namespace lumicrate::isobmff {

namespace {

// What the flags of "tfhd" announce, in the order of the file.
constexpr std::uint32_t hasBaseOffset = 0x01;
constexpr std::uint32_t hasDescription = 0x02;
constexpr std::uint32_t hasDefaultLength = 0x08;
// The same of "trun".
constexpr std::uint32_t hasDataOffset = 0x001;
constexpr std::uint32_t hasFirstFlags = 0x004;
constexpr std::uint32_t hasLengths = 0x100;
constexpr std::uint32_t hasSizes = 0x200;
constexpr std::uint32_t hasFlags = 0x400;
constexpr std::uint32_t hasDelays = 0x800;

/// One track's part of a fragment.
class TrackFragment {
 public:
    TrackFragment(HeaderFile& file, std::span<TrackHeaders> tracks) : file_(file), tracks_(tracks) {}

    void add(const FileBox& box) {
        if (box.is("tfhd")) begin(file_.beginning(box, 24));
        if (track_ == nullptr) return;
        if (box.is("tfdt")) {
            BoxReader tfdt = file_.beginning(box, 12);
            const bool wide = tfdt.fullBoxHeader().version == 1;
            track_->decodeTime = static_cast<double>(tfdt.wide(wide));
        }
        if (box.is("trun")) addRun(box);
    }

 private:
    void begin(BoxReader tfhd) {
        const std::uint32_t flags = tfhd.fullBoxHeader().flags;
        const std::uint32_t number = tfhd.u32();
        const auto found = std::find_if(tracks_.begin(), tracks_.end(),
                                        [number](const TrackHeaders& each) { return each.number == number; });
        track_ = found == tracks_.end() ? nullptr : &*found;
        if (track_ == nullptr) return;
        if ((flags & hasBaseOffset) != 0) tfhd.skip(8);
        if ((flags & hasDescription) != 0) tfhd.skip(4);
        sampleLength_ = (flags & hasDefaultLength) != 0 ? tfhd.u32() : track_->defaultSampleLength;
    }

    void addRun(const FileBox& trun) {
        BoxReader header = file_.beginning(trun, 16);
        const FullBoxHeader kind = header.fullBoxHeader();
        const auto has = [&kind](std::uint32_t flag) -> std::uint64_t {
            return (kind.flags & flag) != 0 ? 1 : 0;
        };
        const std::uint64_t count = header.u32();
        if (has(hasLengths) + has(hasDelays) == 0) {
            track_->decodeTime += static_cast<double>(count) * sampleLength_;
            reach(track_->decodeTime);
            return;
        }
        const std::uint64_t sampleSize =
            4 * (has(hasLengths) + has(hasSizes) + has(hasFlags) + has(hasDelays));
        std::uint64_t at = trun.content + 8 + 4 * (has(hasDataOffset) + has(hasFirstFlags));
        require(at <= trun.end && count <= (trun.end - at) / sampleSize);
        for (std::uint64_t i = 0; i < count; ++i, at += sampleSize) {
            BoxReader sample(file_.bytes(at, sampleSize));
            const double length = has(hasLengths) != 0 ? sample.u32() : sampleLength_;
            sample.skip(4 * (has(hasSizes) + has(hasFlags)));
            const double delay = has(hasDelays) != 0 ? readDelay(sample, kind.version) : 0;
            reach(track_->decodeTime + length + delay);
            track_->decodeTime += length;
        }
    }

    static double readDelay(BoxReader& sample, std::uint32_t version) {
        const std::uint32_t delay = sample.u32();
        return version == 0 ? delay : static_cast<std::int32_t>(delay);
    }

    void reach(double time) { track_->fragmentsEnd = std::max(track_->fragmentsEnd, time); }

    HeaderFile& file_;
    std::span<TrackHeaders> tracks_;
    TrackHeaders* track_ = nullptr;
    double sampleLength_ = 0;
};

}  // namespace

void addFragment(HeaderFile& file, const FileBox& moof, std::span<TrackHeaders> tracks) {
    file.eachIn(moof, [&](const FileBox& traf) {
        if (!traf.is("traf")) return;
        TrackFragment fragment(file, tracks);
        file.eachIn(traf, [&fragment](const FileBox& box) { fragment.add(box); });
    });
}

}  // namespace lumicrate::isobmff
