// SPDX-License-Identifier: GPL-3.0-or-later
// FakeAssetWriter: an asset writer that a test controls and inspects; and samples to write.
#pragma once

#include "Platform/AVAssetWriter.h"
#include "Support/Error.h"

#include <cstring>
#include <utility>

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

struct FakeInput final : public AVAssetWriterInput {
    explicit FakeInput(AVOutputSettings outputSettings) : settings(std::move(outputSettings)) {}

    void setExpectsMediaDataInRealTime(bool expected) override { realTime = expected; }
    bool isReadyForMoreMediaData() const override { return ready; }
    double backlog() const override { return taken; }
    void setSaving(int level) override { saving = level; }
    bool appendSampleBuffer(const CMSampleBuffer& sample) override {
        if (accepts) appended.push_back(sample);
        return accepts;
    }
    void markAsFinished() override { finished = true; }

    AVOutputSettings settings;
    bool realTime = false;
    bool ready = true;
    double taken = 0;
    int saving = 0;
    bool accepts = true;
    bool finished = false;
    std::vector<CMSampleBuffer> appended;
};

/// The file, which outlives its writer.
struct FakeMovie {
    void setError(const std::string& sentence) {
        error = sentence.empty() ? nullptr : std::make_exception_ptr(PlatformError(sentence));
    }
    /// Reports the outcome of finishWriting.
    void complete(AVAssetWriterStatus outcome) {
        status = outcome;
        if (completion) completion();
    }
    std::vector<CMTime> times(std::size_t input) const {
        std::vector<CMTime> result;
        for (const CMSampleBuffer& sample : inputs.at(input)->appended)
            result.push_back(sample.presentationTimeStamp());
        return result;
    }

    std::size_t acceptedInputs = 3;
    bool starts = true;
    AVAssetWriterStatus status = AVAssetWriterStatus::unknown;
    std::exception_ptr error;

    std::filesystem::path url;
    AVFileType fileType = AVFileType::mpeg4;
    std::vector<std::string> calls;
    std::vector<std::unique_ptr<FakeInput>> inputs;
    CMTime sessionStart;
    std::optional<CMTime> sessionEnd;
    std::vector<CMTime> extensions;
    std::function<void(std::exception_ptr)> interrupt;
    std::function<void()> completion;
};

class FakeAssetWriter final : public AVAssetWriter {
 public:
    explicit FakeAssetWriter(FakeMovie& movie) : movie_(movie) {}

    void setShouldOptimizeForNetworkUse(bool indexInFront) override {
        movie_.calls.emplace_back(indexInFront ? "index in front" : "index behind");
    }
    bool canAddInput(const AVOutputSettings&) const override {
        return movie_.inputs.size() < movie_.acceptedInputs;
    }
    AVAssetWriterInput& addInput(const AVOutputSettings& settings) override {
        movie_.calls.emplace_back("add");
        return *movie_.inputs.emplace_back(std::make_unique<FakeInput>(settings));
    }
    bool startWriting() override {
        movie_.calls.emplace_back("start");
        movie_.status = movie_.starts ? AVAssetWriterStatus::writing : AVAssetWriterStatus::failed;
        return movie_.starts;
    }
    void setOnInterruption(std::function<void(std::exception_ptr)> sink) override {
        movie_.interrupt = std::move(sink);
    }
    void extendSession(CMTime sourceTime) override { movie_.extensions.push_back(sourceTime); }
    void startSessionAtSourceTime(CMTime start) override {
        movie_.calls.emplace_back("session");
        movie_.sessionStart = start;
    }
    void endSessionAtSourceTime(CMTime end) override { movie_.sessionEnd = end; }
    AVAssetWriterStatus status() const override { return movie_.status; }
    std::exception_ptr error() const override { return movie_.error; }
    void finishWriting(std::function<void()> completion) override {
        movie_.calls.emplace_back("finish");
        movie_.completion = std::move(completion);
    }
    void cancelWriting() override {
        movie_.calls.emplace_back("cancel");
        movie_.status = AVAssetWriterStatus::cancelled;
    }
    std::filesystem::path outputURL() const override { return movie_.url; }

 private:
    FakeMovie& movie_;
};

}  // namespace lumicrate::test
