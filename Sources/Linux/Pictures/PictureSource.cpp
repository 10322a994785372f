// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Pictures/PictureSource.h"

#include "Linux/Pictures/SourceRegion.h"
#include "Support/Log.h"
#include "Support/MediaTime.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumicrate::pictures {

namespace {

constexpr std::chrono::milliseconds idleDelay(200);
constexpr std::size_t maxDirtyRects = 16;

std::chrono::nanoseconds duration(const CMTime& time) {
    if (!time.isValid()) return {};
    return std::chrono::nanoseconds(time.converted(1'000'000'000));
}

}  // namespace

PictureSource::PictureSource(Opener open, double scale, SCStreamConfiguration configuration)
    : open_(std::move(open)),
      scale_(scale),
      wakeUp_(std::make_shared<WakeUp>()),
      configuration_(std::move(configuration)),
      composer_(configuration_.width, configuration_.height),
      pool_(configuration_.width, configuration_.height, configuration_.queueDepth + heldByReceiver, wakeUp_),
      pacer_(duration(configuration_.minimumFrameInterval)) {}

PictureSource::~PictureSource() {
    stop();
}

void PictureSource::start(Handlers handlers) {
    handlers_ = std::move(handlers);
    capture_ = open_(configuration_);
    log(LogArea::capture, "pictures of ", configuration_.width, " × ", configuration_.height,
        " pixels, at most ", 1e9 / static_cast<double>(pacer_.interval().count()), " a second, ",
        configuration_.queueDepth, " buffers");
    thread_ = std::thread([this] { run(); });
}

void PictureSource::stop() {
    if (!thread_.joinable()) return;
    stopping_ = true;
    wakeUp_->signal();
    thread_.join();
}

void PictureSource::update(const SCStreamConfiguration& configuration) {
    {
        const std::lock_guard lock(configurationMutex_);
        newConfiguration_ = configuration;
    }
    wakeUp_->signal();
}

void PictureSource::setFilter(const SCContentFilter& filter) {
    {
        const std::lock_guard lock(configurationMutex_);
        newFilter_ = filter;
    }
    wakeUp_->signal();
}

void PictureSource::run() {
    std::exception_ptr failure;
    try {
        captureUntilStopped();
    } catch (...) {
        failure = std::current_exception();
    }
    // Closes the connection, so that the server keeps no pixmaps for a finished stream.
    capture_.reset();
    if (!failure || stopping_) return;
    log(LogArea::capture, "capture ended by a failure after ", delivered_, " frames");
    handlers_.onFailure(failure);
}

void PictureSource::captureUntilStopped() {
    const int descriptor = capture_->fileDescriptor();
    while (!stopping_) {
        ++wakeUps_;
        applyConfiguration();
        if (capture_->processEvents()) updateDue_ = true;
        const Time now = HostClock::now();
        const std::optional<Time> nextUpdate = capture_->nextUpdate();
        if (nextUpdate && now >= *nextUpdate) updateDue_ = true;
        if (!updateDue_) {
            if (idleAt_ && now >= *idleAt_) deliverIdle(now);
            wakeUp_->wait(descriptor, earliest({idleAt_, nextUpdate}));
        } else if (!pool_.hasFree()) {
            // The damage stays pending; a returned buffer ends the wait.
            wakeUp_->wait(descriptor);
        } else if (now < pacer_.due()) {
            wakeUp_->wait(descriptor, pacer_.due());
        } else {
            updatePicture();
        }
    }
}

void PictureSource::applyConfiguration() {
    std::optional<SCStreamConfiguration> update;
    std::optional<SCContentFilter> filter;
    {
        const std::lock_guard lock(configurationMutex_);
        update = std::exchange(newConfiguration_, std::nullopt);
        filter = std::exchange(newFilter_, std::nullopt);
    }
    if (filter) {
        capture_->setFilter(*filter);
        updateDue_ = true;
    }
    if (!update) return;
    capture_->configure(*update);
    pacer_.setInterval(duration(update->minimumFrameInterval));
    if (update->preservesAspectRatio != configuration_.preservesAspectRatio) reshaped_ = true;
    if (update->revision != configuration_.revision) isFrameDue_ = true;
    configuration_ = *std::move(update);
    updateDue_ = true;
}

/// Fetches changes, and delivers a picture if there are any.
void PictureSource::updatePicture() {
    updateDue_ = false;
    const Time taken = HostClock::now();
    const LivePicture::Changes changes = capture_->update();
    if (std::exchange(reshaped_, false) || changes.resized) {
        composer_.setSource(capture_->picture().width(), capture_->picture().height(),
                            configuration_.preservesAspectRatio, maxPadding());
    }
    composer_.setCovers(coveredPixels(configuration_.covers, configuration_.sourceRect, scale_));
    composer_.invalidate(changes.blocks);
    for (const PixelRect& rect : changes.cursor)
        composer_.invalidate(rect);
    // Any part makes a frame. Before the first one there is nothing to show again.
    if (delivered_ > 0 && std::exchange(isFrameDue_, false)) composer_.invalidate(PixelRect{0, 0, 1, 1});
    if (composer_.dirty().isEmpty() || changes.incomplete) {
        pacer_.checked(taken);
    } else {
        deliverPicture(taken);
    }
}

/// Only a window's size is rounded to whole points in the configuration: by up to one on each side, and the
/// result to whole pixels.
int PictureSource::maxPadding() const {
    return configuration_.followsFirstWindow && scale_ != 1 ? static_cast<int>(std::ceil(2 * scale_)) : 0;
}

void PictureSource::deliverPicture(Time taken) {
    SCStreamFrameInfo info;
    info.sequence = delivered_++;
    info.dirtyRects = composer_.dirty().rectangles(maxDirtyRects);
    info.revision = configuration_.revision;
    pool_.invalidate(composer_.dirty());
    const std::shared_ptr<PixelBuffer> buffer = pool_.acquire();
    composer_.compose(capture_->picture(), capture_->cursor(), *buffer);

    CMSampleBuffer sample;
    sample.timing.presentationTimeStamp = CMTime::from(taken);
    sample.imageBuffer = buffer;
    sample.frameInfo = std::move(info);
    pacer_.delivered(taken);
    idleAt_ = taken + std::max<Time>(idleDelay, 2 * pacer_.interval());
    handlers_.onSample(sample);
}

void PictureSource::deliverIdle(Time now) {
    idleAt_.reset();
    CMSampleBuffer sample;
    sample.timing.presentationTimeStamp = CMTime::from(now);
    sample.frameInfo = SCStreamFrameInfo{SCFrameStatus::idle, delivered_ - 1, {}, configuration_.revision};
    handlers_.onSample(sample);
}

}  // namespace lumicrate::pictures
