// SPDX-License-Identifier: GPL-3.0-or-later
// A camera that tests control.
#pragma once

#include "Platform/AVCaptureSession.h"

#include <memory>
#include <utility>
#include <vector>

namespace lumicrate::test {

/// A picture in one colour, 0xRRGGBB.
inline RenderedPicture plainPicture(PixelSize size, std::uint32_t rgb) {
    const auto pixels =
        std::make_shared<std::vector<std::uint32_t>>(std::size_t(size.width) * std::size_t(size.height), rgb);
    return {size.width,
            size.height,
            std::size_t{4} * std::size_t(size.width),
            {pixels, reinterpret_cast<const std::uint8_t*>(pixels->data())}};
}

/// A session as tests see it, even after its destruction.
struct FakeCameraRecord {
    AVCaptureSession::Settings settings;
    std::function<void(AVCaptureSession::Outcome)> started;
    std::function<void()> changed;
    std::function<void(bool)> connectionChanged;
    std::function<void(const CMSampleBuffer&)> sink;
    bool mirrored = false;
    PixelSize previewSize;
    RenderedPicture picture;
    std::string deviceID;
    bool running = false;
    bool alive = true;

    void show(RenderedPicture next) {
        picture = std::move(next);
        if (changed) changed();
    }
    /// Delivers a frame in the size of the picture. No effect without a sink.
    void deliver(CMTime time) const {
        if (!sink) return;
        auto pixels = std::make_shared<CVPixelBuffer>();
        pixels->width = picture.width;
        pixels->height = picture.height;
        CMSampleBuffer sample;
        sample.timing.presentationTimeStamp = time;
        sample.imageBuffer = std::move(pixels);
        sink(sample);
    }
};

class FakeCameraSession final : public AVCaptureSession {
 public:
    explicit FakeCameraSession(std::shared_ptr<FakeCameraRecord> record) : record_(std::move(record)) {}
    ~FakeCameraSession() override { record_->alive = false; }

    void startRunning(const Settings& settings, std::function<void(Outcome)> completion) override {
        record_->settings = settings;
        record_->deviceID = settings.deviceID.empty() ? "builtin" : settings.deviceID;
        record_->started = std::move(completion);
        record_->running = true;
    }
    void stopRunning() override { record_->running = false; }
    std::string deviceID() const override { return record_->running ? record_->deviceID : std::string(); }
    PixelSize pictureSize() const override { return {record_->picture.width, record_->picture.height}; }
    void setPreviewSize(PixelSize size) override { record_->previewSize = size; }
    RenderedPicture preview() const override { return record_->picture; }
    void setOnPreview(std::function<void()> changed) override { record_->changed = std::move(changed); }
    void setOnFrame(std::function<void(const CMSampleBuffer&)> sink, bool mirrored) override {
        record_->sink = std::move(sink);
        record_->mirrored = mirrored;
    }
    void setOnConnectionChange(std::function<void(bool)> changed) override {
        record_->connectionChanged = std::move(changed);
    }

 private:
    std::shared_ptr<FakeCameraRecord> record_;
};

/// The sessions that were made, the newest last.
struct FakeCameras {
    AVCaptureSessionFactory factory() {
        return [this] {
            sessions.push_back(std::make_shared<FakeCameraRecord>());
            return std::make_unique<FakeCameraSession>(sessions.back());
        };
    }
    FakeCameraRecord& last() { return *sessions.back(); }
    std::size_t open() const {
        std::size_t count = 0;
        for (const auto& each : sessions)
            count += each->alive && each->running ? 1 : 0;
        return count;
    }

    std::vector<std::shared_ptr<FakeCameraRecord>> sessions;
};

}  // namespace lumicrate::test
