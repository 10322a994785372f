// SPDX-License-Identifier: GPL-3.0-or-later
// CameraSource: opens a camera and keeps it open: across stalls, unplugging and restarts of the server.
#pragma once

#include "Linux/PipeWire/CameraStream.h"
#include "Linux/PipeWire/ReconnectingConnection.h"
#include "Platform/CameraFrame.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lumicrate::pipewire {

/// Works on a thread of its own from start() to stop().
class CameraSource {
 public:
    struct Request {
        std::string deviceID;  ///< when it is empty or not connected, the first camera is opened
        PixelSize wantedSize;
        double wantedRate = 30;
        Remote remote = {};
    };
    /// `onFrame` is called on the thread of the server's connection, the others on the source's thread.
    struct Handlers {
        CameraStream::FrameHandler onFrame;
        std::function<void(std::string deviceID)> onOpen;
        /// No camera is connected, or no server is running. The source ends.
        std::function<void()> onNoCamera;
        /// The first picture did not arrive, also not after a second attempt. The source ends.
        std::function<void()> onNoPicture;
        /// After the first picture: the camera was unplugged. It is opened again when it comes back.
        std::function<void()> onUnplugged;
    };

    CameraSource(Request request, CameraFormatChooser choose, Handlers handlers);
    /// Calls stop().
    ~CameraSource();
    CameraSource(const CameraSource&) = delete;
    CameraSource& operator=(const CameraSource&) = delete;

    /// Returns at once. Once.
    void start();
    /// Releases the camera. No handler runs after its return. May take some seconds when the server does not
    /// answer. May be called again.
    void stop();
    /// Reports that a frame contained a picture. Without pictures the camera is opened again. Any thread.
    void notePicture();

 private:
    using Delay = ReconnectingConnection::Delay;

    std::optional<Delay> check(Connection& connection);
    bool selectCamera(const GraphWatch& watch);
    std::optional<Delay> timeLeft() const;
    void open(Connection& connection, const CameraNode& node);
    std::optional<OfferedFormat> chooseFormat(Connection& connection, const CameraNode& node) const;
    void close();
    void unplugged();
    void serverLost();
    bool hadPicture() const { return lastPicture_.load() != 0; }

    const Request request_;
    const CameraFormatChooser choose_;
    const Handlers handlers_;
    std::string camera_;  ///< empty before one is selected
    std::optional<std::uint64_t> serial_;
    std::chrono::nanoseconds openedAt_{};
    int attempts_ = 0;  ///< without a picture
    bool ended_ = false;
    bool isUnplugged_ = false;
    std::atomic<std::int64_t> lastPicture_ = 0;  ///< host time; 0 before the first one
    /// Declared before the stream, which uses its connection. While it runs, only its thread uses the others.
    std::unique_ptr<ReconnectingConnection> connection_;
    std::unique_ptr<CameraStream> stream_;
};

}  // namespace lumicrate::pipewire
