#include "Linux/Media/Images/GifDestination.h"

#include "Support/Error.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace lumicrate::media {

namespace {

constexpr const char* cannotCreate = "The GIF couldn't be created:";
constexpr const char* cannotWrite = "The GIF couldn't be written:";
constexpr mode_t readableByAll = 0666;  // less the umask
constexpr std::size_t bytesAtOnce = 1 << 18;

}  // namespace

GifDestination::GifDestination(const std::filesystem::path& url)
    : url_(url), file_(open(url.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, readableByAll)) {
    if (!file_.isOpen()) failForPath(cannotCreate, url, errno);
}

GifDestination::~GifDestination() {
    if (!isFinal_) unlink(url_.c_str());
}

void GifDestination::addImage(const CGImage& image, CMTime delay) {
    const bool isFirst = elapsed_ == CMTime::zero();
    const IndexedFrame& frame = quantizer_.add(image);
    if (isFirst) blocks_.begin(image.width, image.height, *frame.palette);
    blocks_.append(frame, roundedDelay(delay));
    if (bytes_.size() >= bytesAtOnce) flush();
}

void GifDestination::finalize() {
    if (elapsed_ == CMTime::zero()) throw PlatformError(localized("The movie has no pictures."));
    blocks_.finish();
    flush();
    isFinal_ = true;
}

int GifDestination::roundedDelay(CMTime delay) {
    constexpr std::int64_t longest = 0xffff;
    elapsed_ = elapsed_ + delay;
    const std::int64_t rounded = std::min(elapsed_.converted(100) - elapsedHundredths_, longest);
    elapsedHundredths_ += rounded;
    return static_cast<int>(rounded);
}

void GifDestination::flush() {
    if (const int error = writeWhole(file_, written_, bytes_); error != 0)
        failForPath(cannotWrite, url_, error);
    written_ += bytes_.size();
    bytes_.clear();
}

}  // namespace lumicrate::media
