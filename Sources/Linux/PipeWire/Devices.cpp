// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/Devices.h"

#include "Linux/PipeWire/ReconnectingConnection.h"
#include "Support/Error.h"

#include <mutex>
#include <utility>

namespace lumicrate::pipewire {

/// Knows the devices as of the last change, across restarts of the server; nothing without one.
class Devices::Watch {
 public:
    explicit Watch(std::function<void()> changed, const Remote& remote = {})
        : changed_(std::move(changed)),
          connection_(nullptr,
                      {[this](Connection& connection) -> std::optional<ReconnectingConnection::Delay> {
                           setGraph(connection.watch.graph());
                           return std::nullopt;
                       },
                       [this] { setGraph(std::nullopt); }},
                      remote) {}

    std::optional<Graph> graph() const {
        const std::lock_guard lock(mutex_);
        return graph_;
    }

 private:
    void setGraph(std::optional<Graph> graph) {
        {
            const std::lock_guard lock(mutex_);
            if (graph == graph_) return;
            graph_ = std::move(graph);
        }
        changed_();
    }

    const std::function<void()> changed_;
    mutable std::mutex mutex_;
    std::optional<Graph> graph_;
    ReconnectingConnection connection_;  ///< last: its thread uses all the others
};

namespace {

std::optional<Graph> query(const Remote& remote) {
    try {
        return Connection(remote).watch.graph();
    } catch (const PlatformError&) {
        return std::nullopt;
    }
}

}  // namespace

Devices::Devices(std::optional<CameraAccess> access)
    : access_(std::move(access)),
      status_(access_ ? AVAuthorizationStatus::notDetermined : AVAuthorizationStatus::authorized) {}

std::optional<Graph> Devices::snapshot() const {
    return watch_ ? watch_->graph() : query({});
}

void Devices::setOnChange(std::function<void()> changed) {
    watch_.reset();
    changed_ = std::move(changed);
    if (changed_) watch_ = std::make_shared<Watch>(changed_);
    watchCameras();
}

void Devices::watchCameras() {
    cameraWatch_.reset();
    if (changed_ && access_ && status_ == AVAuthorizationStatus::authorized)
        cameraWatch_ = std::make_shared<Watch>(changed_, access_->remote);
}

std::vector<CaptureDevice> Devices::microphones() const {
    return snapshot().value_or(Graph()).microphones;
}

SoundDevices Devices::soundDevices() const {
    const std::optional<Graph> graph = query({});
    if (!graph) return {};
    return {true, !graph->outputs.empty(), graph->microphones};
}

std::vector<CaptureDevice> Devices::cameras() const {
    if (!access_) return snapshot().value_or(Graph()).cameras;
    switch (status_) {
        case AVAuthorizationStatus::authorized: {
            const auto graph = cameraWatch_ ? cameraWatch_->graph() : query(access_->remote);
            return graph.value_or(Graph()).cameras;
        }
        case AVAuthorizationStatus::notDetermined:
            if (access_->isCameraPresent()) return {{"", localized("Camera")}};
            break;
        case AVAuthorizationStatus::denied:
            break;
    }
    return {};
}

void Devices::requestAccessForVideo(std::function<void(bool granted)> completion) {
    if (status_ != AVAuthorizationStatus::notDetermined)
        return completion(status_ == AVAuthorizationStatus::authorized);
    access_->request([this, completion = std::move(completion)](bool granted) {
        status_ = granted ? AVAuthorizationStatus::authorized : AVAuthorizationStatus::denied;
        watchCameras();
        completion(granted);
    });
}

}  // namespace lumicrate::pipewire
