// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/ScreenCastPicture.h"

#include "Linux/Pictures/PictureSource.h"
#include "Linux/Pictures/SourceRegion.h"
#include "Support/Log.h"
#include "Support/MediaTime.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

namespace lumicrate::pipewire {

namespace {

/// Some producers describe their formats only when their content is first drawn.
constexpr std::chrono::milliseconds formatTimeout(8000);
/// Most compositors send a first picture at once.
constexpr std::chrono::milliseconds firstPictureTime(60);
constexpr std::chrono::seconds requestTimeout(8);

[[noreturn]] void throwNotCaptured() {
    throw PlatformError(localized("The screen can't be captured."));
}

/// What the remote throws passes through; a server that does not answer has a sentence of ours.
std::unique_ptr<Session> connect(const Remote& remote) {
    bool isOpen = !remote;
    const Remote noted = [&] {
        const int descriptor = remote();
        isOpen = true;
        return descriptor;
    };
    try {
        return std::make_unique<Session>(remote ? noted : Remote());
    } catch (const PlatformError&) {
        if (!isOpen) throw;
        throwNotCaptured();
    }
}

}  // namespace

ScreenCastPicture::ScreenCastPicture(const ScreenCast& cast, const SCStreamConfiguration& configuration)
    : sizeInPoints_(cast.size), requestPicture_(cast.requestPicture), control_(cast.control) {
    open(cast.address);
    if (!stream_->awaitFormat(formatTimeout)) throwNotCaptured();
    configure(configuration);
    expectPicture();
    if (control_) control_->setListener([this] { wakeUp_.signal(); });
    // So that the picture has a size already before the first frame.
    const Session::Lock lock(*session_);
    const auto& [width, height] = stream_->format()->size;
    shadow_ = pictures::ShadowImage(width, height);
    region_ = shadow_.picture().bounds();
}

ScreenCastPicture::~ScreenCastPicture() {
    if (control_) control_->setListener({});
}

void ScreenCastPicture::open(const CastAddress& address) {
    std::unique_ptr<Session> session = connect(address.remote);
    auto stream = std::make_unique<ScreenCastStream>(*session, address.node, [this] { wakeUp_.signal(); });
    {
        const Session::Lock lock(*session);
        session->setOnChange([this] { wakeUp_.signal(); });
        stream->followCursor(showsCursor_);
    }
    // The earlier stream ends before its session.
    stream_ = std::move(stream);
    session_ = std::move(session);
}

void ScreenCastPicture::configure(const SCStreamConfiguration& configuration) {
    if (configuration.sourceRect != sourceRect_) regionStale_ = true;
    sourceRect_ = configuration.sourceRect;
    showsCursor_ = configuration.showsCursor;
    const Session::Lock lock(*session_);
    stream_->followCursor(showsCursor_);
}

void ScreenCastPicture::failIfGone() const {
    // The end of a cast that is replaced is none.
    if (!stream_->hasFailed() || (control_ && control_->hasReplacement())) return;
    const bool isServerLost = !session_->isAlive();
    log(LogArea::capture, "screen cast lost", isServerLost ? " with the server" : "");
    const std::string sentence = localized("The screen can no longer be captured.");
    if (isServerLost) throw PlatformError(sentence);
    throw ScreenCastEnded(sentence);
}

bool ScreenCastPicture::processEvents() {
    // Resets the descriptor. The state is read afterwards, so that no later change is missed.
    wakeUp_.wait(-1, Time::zero());
    if (control_) {
        CastControl::News news = control_->takeNews();
        if (news.hasSlept) stallWatch_.noteWakeUp(HostClock::now());
        if (news.replacement) replacement_ = std::move(news.replacement);
    }
    if (replacement_) return true;
    const Session::Lock lock(*session_);
    failIfGone();
    stallWatch_.setPausedSince(stream_->pausedSince());
    return stream_->hasNewFrame() || currentCursor() != cursor_;
}

ScreenCastPicture::Changes ScreenCastPicture::update() {
    if (replacement_) {
        log(LogArea::capture, "screen cast: continues with node ", replacement_->node);
        open(*std::exchange(replacement_, std::nullopt));
        stallWatch_ = {};
        expectPicture();
    }
    requestPicture();
    restartIfStalled();
    Changes changes;
    changes.blocks = pictures::BlockRegion(region_.width, region_.height);
    const Session::Lock lock(*session_);
    failIfGone();
    // The producer must not change the pixels meanwhile: it gets the buffer back only afterwards.
    if (stream_->hasNewFrame() || regionStale_)
        stream_->readFrame([&](const CastFrame& frame) { readFrame(frame, changes); });
    const pictures::CursorOverlay cursor = currentCursor();
    changes.cursor = pictures::placesOfChange(cursor_, cursor, shadow_.picture().bounds());
    cursor_ = cursor;
    changes.incomplete = !hasPicture_;
    return changes;
}

void ScreenCastPicture::expectPicture() {
    if (!requestPicture_) return;
    requestAt_ = HostClock::now() + firstPictureTime;
    requestUntil_ = HostClock::now() + requestTimeout;
}

void ScreenCastPicture::requestPicture() {
    if (!requestAt_ || HostClock::now() < *requestAt_) return;
    requestPicture_();
    requestAt_ = HostClock::now() + firstPictureTime;
    if (*requestAt_ > requestUntil_) requestAt_.reset();
}

void ScreenCastPicture::restartIfStalled() {
    switch (stallWatch_.next(HostClock::now())) {
        case StallWatch::Action::none:
            return;
        case StallWatch::Action::restart: {
            const Session::Lock lock(*session_);
            stream_->restart();
            break;
        }
        case StallWatch::Action::report:
            log(LogArea::capture, "screen cast: stopped");
            if (control_) control_->reportStall();
            return;
    }
    expectPicture();
}

void ScreenCastPicture::readFrame(const CastFrame& frame, Changes& changes) {
    const bool isMoved = locate(frame.map, changes);
    const PixelRect readable = region_.intersection(map_.content());
    if (isMoved) shadow_.blackenOutside(readable.offsetBy(-region_.x, -region_.y), changes.blocks);
    if (isMoved) {
        merge(frame, readable, changes);
    } else {
        for (const PixelRect& rect : frame.damage.rectangles())
            merge(frame, map_.toContent(rect).intersection(readable), changes);
    }
    hasPicture_ = true;
    requestAt_.reset();
    stallWatch_.notePicture();
}

/// Whether everything must be read, because other pixels are shown than before.
bool ScreenCastPicture::locate(const UprightMap& map, Changes& changes) {
    if (!std::exchange(regionStale_, false) && hasPicture_ && map == map_) return false;
    map_ = map;
    const PixelRect& content = map_.content();
    if (!scale_) scale_ = sizeInPoints_.width > 0 ? content.width / sizeInPoints_.width : 1;
    const PixelRect before = std::exchange(region_, pictures::sourceRegion(content, sourceRect_, *scale_));
    const auto& [x, y, width, height] = region_;
    if (width == before.width && height == before.height) return true;
    log(LogArea::capture, "screen cast: source size ", width, " × ", height, " pixels");
    changes.resized = true;
    shadow_ = pictures::ShadowImage(width, height);
    changes.blocks = pictures::BlockRegion(width, height);
    cursor_ = {};
    return true;
}

void ScreenCastPicture::merge(const CastFrame& frame, const PixelRect& part, Changes& changes) {
    // In rows of blocks, so that converted pixels stay in the processor's cache.
    constexpr int rows = pictures::BlockRegion::blockSize;
    for (int y = part.y; y < part.maxY();) {
        const int end = std::min((y - region_.y) / rows * rows + rows + region_.y, part.maxY());
        const PixelRect strip{part.x, y, part.width, end - y};
        shadow_.merge(strip.x - region_.x, strip.y - region_.y, frame.picture.read(map_, strip, scratch_),
                      changes.blocks);
        y = end;
    }
}

pictures::CursorOverlay ScreenCastPicture::currentCursor() const {
    if (!showsCursor_) return {};
    return stream_->cursor().overlay(map_).offsetBy(-region_.x, -region_.y);
}

std::unique_ptr<SampleSource> screenCastSource(ScreenCast cast, SCStreamConfiguration configuration) {
    return std::make_unique<pictures::PictureSource>(
        [cast = std::move(cast)](const SCStreamConfiguration& initial) {
            return std::make_unique<ScreenCastPicture>(cast, initial);
        },
        1, std::move(configuration));
}

}  // namespace lumicrate::pipewire
