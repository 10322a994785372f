#include "Linux/Media/Images/ImageIO.h"

#include "Linux/Media/Images/GifDestination.h"
#include "Linux/Media/Images/ImageGenerator.h"

#include <memory>

namespace lumicrate::media {

std::unique_ptr<AVAssetImageGenerator> ImageIO::makeImageGenerator(const std::filesystem::path& url,
                                                                   Size maximumSize) const {
    return std::make_unique<ImageGenerator>(url, maximumSize);
}

std::unique_ptr<CGImageDestination> ImageIO::makeGIFDestination(const std::filesystem::path& url) const {
    return std::make_unique<GifDestination>(url);
}

}  // namespace lumicrate::media
