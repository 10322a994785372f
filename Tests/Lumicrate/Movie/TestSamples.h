// Samples as a capture stream would deliver them.
#pragma once

#include "Platform/CMSampleBuffer.h"

#include <cstring>
#include <memory>
#include <vector>

namespace lumicrate::test {

constexpr CMTime ms(std::int64_t milliseconds) {
    return {milliseconds, 1000};
}

inline CMSampleBuffer frame(CMTime pts, SCFrameStatus status = SCFrameStatus::complete) {
    CMSampleBuffer sample;
    sample.timing.presentationTimeStamp = pts;
    sample.imageBuffer = std::make_shared<CVPixelBuffer>();
    sample.frameInfo = SCStreamFrameInfo{status, 7, {{0, 0, 2, 2}}};
    return sample;
}

template <class Sample>
CMSampleBuffer sound(CMTime pts, AudioSampleFormat format, const std::vector<Sample>& samples) {
    std::vector<std::byte> bytes(samples.size() * sizeof(Sample));
    if (!bytes.empty()) std::memcpy(bytes.data(), samples.data(), bytes.size());
    CMSampleBuffer sample;
    sample.timing = {CMTime(1, 48000), pts, CMTime::invalid()};
    sample.audio = std::make_shared<AudioBufferList>();
    sample.audio->description = AudioStreamBasicDescription{48000, 1, format};
    sample.audio->buffers = {bytes};
    return sample;
}

inline CMSampleBuffer sound(CMTime pts) {
    return sound<float>(pts, AudioSampleFormat::float32, {0.5F, -0.5F});
}

}  // namespace lumicrate::test
