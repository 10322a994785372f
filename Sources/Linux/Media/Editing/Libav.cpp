#include "Linux/Media/Editing/Libav.h"

#include <new>

namespace lumicrate::media {

namespace {

template <class Owned>
Owned required(Owned owned) {
    if (!owned) throw std::bad_alloc();
    return owned;
}

}  // namespace

OwnedFrame makeFrame() {
    return required(OwnedFrame(av_frame_alloc()));
}

OwnedPacket makePacket() {
    return required(OwnedPacket(av_packet_alloc()));
}

}  // namespace lumicrate::media
