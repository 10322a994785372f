// Whatever the bytes, a movie's headers are read to an end, and what they give can be shown.
#include "Linux/Media/IsoBmff/MovieSummary.h"
#include "Tests/Fuzz/Check.h"
#include "Tests/Linux/Media/IsoBmff/SimulatedRecording.h"

#include <cmath>

namespace lumicrate::fuzz {

namespace {

using namespace isobmff;

/// Reading goes from one header to the next: it may look at a byte again, but not again and again.
class CountedFile final : public ByteSource {
 public:
    explicit CountedFile(const ByteSource& file) : file_(file) {}

    std::uint64_t size() const override { return file_.size(); }
    bool read(std::uint64_t offset, std::span<std::uint8_t> into) const override {
        bytesRead_ += into.size();
        check(bytesRead_ <= 64 * size() + 65536, "little is read twice");
        return file_.read(offset, into);
    }

 private:
    const ByteSource& file_;
    mutable std::uint64_t bytesRead_ = 0;
};

bool isMeasure(double value) {
    return std::isfinite(value) && value >= 0 && value <= 1e12;
}

void checkSummary(const MovieSummary& movie) {
    check(isMeasure(movie.duration), "the movie has a length");
    for (const TrackSummary& each : movie.tracks) {
        check(isMeasure(each.duration) && isMeasure(each.width) && isMeasure(each.height),
              "a track has a length and a size");
        check(each.kind == fourCC("vide") || each.width + each.height == 0, "sound has no size");
    }
}

}  // namespace

}  // namespace lumicrate::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lumicrate;
    const isobmff::test::MemoryFile file(std::vector<std::uint8_t>(data, data + size));
    const auto reading = isobmff::readMovieSummary(fuzz::CountedFile(file));
    if (const auto* movie = std::get_if<isobmff::MovieSummary>(&reading)) fuzz::checkSummary(*movie);
    return 0;
}
