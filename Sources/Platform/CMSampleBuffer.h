// SPDX-License-Identifier: GPL-3.0-or-later
// Sample buffers: the frames and sound that capture delivers to the movie writer, and the input that goes
// with them.
//
// A CMSampleBuffer is a small value that shares the media it refers to; copying one copies no pixels.
#pragma once

#include "Platform/RecordedInput.h"
#include "Support/Geometry.h"
#include "Support/MediaTime.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace lumicrate {

/// A picture in 8-bit bi-planar 4:2:0 ("420v": a luma plane and a plane of interleaved Cb, Cr), BT.709, video
/// range.
///
/// The luma plane has width × height samples, the chroma plane ⌈width ⁄ 2⌉ × ⌈height ⁄ 2⌉ pairs. Strides are
/// in bytes and at least a row long. The pixels are immutable.
class CVPixelBuffer {
 public:
    virtual ~CVPixelBuffer() = default;

    int width = 0;
    int height = 0;
    const std::uint8_t* luma = nullptr;
    int lumaStride = 0;
    const std::uint8_t* chroma = nullptr;
    int chromaStride = 0;
};

enum class SCFrameStatus { complete = 0, idle = 1, blank = 2, suspended = 3, started = 4, stopped = 5 };

/// What a capture stream reports about a frame.
struct SCStreamFrameInfo {
    SCFrameStatus status = SCFrameStatus::complete;
    /// Numbers the complete frames of a stream without gaps. A receiver that missed a number cannot rely on
    /// dirtyRects. The same number again means the same picture.
    std::uint64_t sequence = 0;
    /// Where the picture differs from the complete frame with the previous number, in output pixels. The
    /// first frame of a stream is entirely dirty. Everything outside is identical byte for byte.
    std::vector<PixelRect> dirtyRects;
    /// Of the configuration that the frame was made with.
    std::uint64_t revision = 0;
};

enum class AudioSampleFormat { float32, int32, int16, other };

/// Describes linear PCM, interleaved, native byte order.
struct AudioStreamBasicDescription {
    int sampleRate = 0;  ///< frames per second
    int channelsPerFrame = 0;
    AudioSampleFormat format = AudioSampleFormat::float32;
};

/// Sound in one buffer of interleaved channels, or in several buffers. The queue that the sample is delivered
/// on may change the bytes in place.
struct AudioBufferList {
    std::optional<AudioStreamBasicDescription> description;
    std::vector<std::vector<std::byte>> buffers;
};

struct CMSampleTimingInfo {
    /// The duration of the sample; for sound, of one audio frame. Invalid if unknown.
    CMTime duration;
    CMTime presentationTimeStamp;
    /// Invalid if samples are stored in presentation order.
    CMTime decodeTimeStamp;
};

/// A video frame, a piece of sound or an instant of input with its time. Not valid without media or time.
class CMSampleBuffer {
 public:
    CMSampleTimingInfo timing;
    std::shared_ptr<const CVPixelBuffer> imageBuffer;
    std::shared_ptr<AudioBufferList> audio;
    std::optional<SCStreamFrameInfo> frameInfo;
    std::shared_ptr<const RecordedInput> input;  ///< its own time means nothing

    CMTime presentationTimeStamp() const { return timing.presentationTimeStamp; }
    /// A frame without a new picture (status idle, blank …) is valid too.
    bool isValid() const {
        return timing.presentationTimeStamp.isValid() && (imageBuffer || audio || frameInfo || input);
    }
    /// The same media at another time.
    CMSampleBuffer copyWithNewTiming(const CMSampleTimingInfo& newTiming) const {
        CMSampleBuffer copy = *this;
        copy.timing = newTiming;
        return copy;
    }
};

}  // namespace lumicrate
