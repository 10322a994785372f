// PictureShaper: decoded pictures in the shape that an encoder takes.
#pragma once

#include "Linux/Media/Editing/Libav.h"

#include <memory>

extern "C" {
#include <libswscale/swscale.h>
}

namespace lumicrate::media {

/// Odd sides grow by a copy of the last column or row; pictures of another size than the first, which a movie
/// may have, are scaled. One thread.
class PictureShaper {
 public:
    /// Odd sides only with 4:2:0 of 8 bits.
    PictureShaper(int width, int height, AVPixelFormat format);
    /// The picture itself where nothing is to be done, or one that is good until the next call. Throws
    /// PlatformError.
    AVFrame& shaped(AVFrame& picture);

 private:
    struct Free {
        void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
    };

    void prepare(const AVFrame& picture);
    void growLuma();

    int width_;
    int height_;
    AVPixelFormat format_;
    OwnedFrame shaped_;
    std::unique_ptr<SwsContext, Free> scaler_;
};

}  // namespace lumicrate::media
