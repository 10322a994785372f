// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/CameraSource.h"

#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/MediaTime.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace lumicrate::pipewire {

namespace {

/// Some cameras need more than a second for the first picture.
constexpr std::chrono::milliseconds pictureTimeout{3000};
/// After a refusal: another program may be releasing the camera.
constexpr std::chrono::milliseconds refusalDelay{500};
constexpr int maxAttempts = 2;

}  // namespace

CameraSource::CameraSource(Request request, CameraFormatChooser choose, Handlers handlers)
    : request_(std::move(request)), choose_(std::move(choose)), handlers_(std::move(handlers)) {}

CameraSource::~CameraSource() {
    stop();
}

void CameraSource::start() {
    connection_ = std::make_unique<ReconnectingConnection>(
        nullptr,
        ReconnectingConnection::Handlers{[this](Connection& current) { return check(current); },
                                         [this] { serverLost(); }},
        request_.remote);
}

void CameraSource::stop() {
    if (!connection_) return;
    connection_->end();
    stream_.reset();
    connection_.reset();
}

void CameraSource::notePicture() {
    lastPicture_ = HostClock::now().count();
}

/// After each change, on the connection's thread.
std::optional<CameraSource::Delay> CameraSource::check(Connection& connection) {
    if (ended_) return std::nullopt;
    if (camera_.empty() && !selectCamera(connection.watch)) {
        ended_ = true;
        handlers_.onNoCamera();
        return std::nullopt;
    }
    const auto node = connection.watch.camera(camera_);
    if (!node) {
        unplugged();
        return std::nullopt;
    }
    isUnplugged_ = false;
    if (serial_ != node->serial) close();
    if (const auto left = timeLeft()) return left;
    if (!hadPicture() && attempts_ >= maxAttempts) {
        log(LogArea::capture, "the camera sends no pictures");
        ended_ = true;
        close();
        handlers_.onNoPicture();
        return std::nullopt;
    }
    close();
    open(connection, *node);
    return stream_ ? pictureTimeout : refusalDelay;
}

bool CameraSource::selectCamera(const GraphWatch& watch) {
    const Graph graph = watch.graph();
    if (graph.cameras.empty()) return false;
    // Also one that is not listed, because it has another node, may have been chosen earlier.
    camera_ = watch.camera(request_.deviceID) ? request_.deviceID : graph.cameras.front().id;
    handlers_.onOpen(camera_);
    return true;
}

/// Until the camera must be opened again; nothing when that is now.
std::optional<CameraSource::Delay> CameraSource::timeLeft() const {
    if (!serial_) return std::nullopt;
    using std::chrono::nanoseconds;
    const bool isRefused = !stream_ || stream_->hasFailed();
    const nanoseconds lastSign = std::max(openedAt_, nanoseconds(lastPicture_.load()));
    const nanoseconds due = isRefused ? openedAt_ + refusalDelay : lastSign + pictureTimeout;
    const nanoseconds left = due - HostClock::now();
    if (left <= nanoseconds(0)) return std::nullopt;
    return std::chrono::ceil<Delay>(left);
}

void CameraSource::open(Connection& connection, const CameraNode& node) {
    ++attempts_;
    serial_ = node.serial;
    const auto format = chooseFormat(connection, node);
    openedAt_ = HostClock::now();
    if (!format) return;
    try {
        stream_ = std::make_unique<CameraStream>(connection.session, camera_, *format, handlers_.onFrame);
    } catch (const PlatformError&) {
        // The next attempt may succeed.
    }
}

std::optional<OfferedFormat> CameraSource::chooseFormat(Connection& connection,
                                                        const CameraNode& node) const {
    std::vector<OfferedFormat> offered;
    const auto query = [&](FormatQuery which) {
        offered = queryFormats(connection.session, connection.watch, node.number, which);
    };
    // A camera that is used by another program refuses every format but that one.
    const bool isSecondAttempt = attempts_ % 2 == 0;
    if (isSecondAttempt) query(FormatQuery::running);
    if (offered.empty()) query(FormatQuery::offered);
    std::vector<CameraFormat> formats;
    formats.reserve(offered.size());
    for (const OfferedFormat& each : offered)
        formats.push_back(each.format);
    const auto chosen = choose_(formats, request_.wantedSize, request_.wantedRate);
    log(LogArea::capture, "the camera offers ", formats.size(), " formats", chosen ? "" : ", none usable");
    return chosen ? std::optional(offered[*chosen]) : std::nullopt;
}

void CameraSource::close() {
    stream_.reset();
    serial_.reset();
}

/// Before the first picture, an unplugged camera counts as missing.
void CameraSource::unplugged() {
    close();
    if (std::exchange(isUnplugged_, true)) return;
    log(LogArea::capture, "the camera was unplugged");
    if (hadPicture()) {
        handlers_.onUnplugged();
    } else {
        ended_ = true;
        handlers_.onNoCamera();
    }
}

/// On the connection's thread; also when no server was ever reached.
void CameraSource::serverLost() {
    if (!ended_) unplugged();
}

}  // namespace lumicrate::pipewire
