// SPDX-License-Identifier: GPL-3.0-or-later
// CameraStream: receives the frames of one camera in one format.
#pragma once

#include "Linux/PipeWire/CameraFormats.h"
#include "Linux/PipeWire/Session.h"
#include "Platform/CameraFrame.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace lumicrate::pipewire {

/// Receives from construction to destruction, and never in another format or from another camera. When the
/// camera is disconnected or refuses the format, nothing more is delivered.
class CameraStream {
 public:
    /// Called on the session's thread. The receiver may exchange the frame for another one, whose memory is
    /// used for the next.
    using FrameHandler = std::function<void(CameraFrame&)>;

    /// `node` is a node's name. Throws PlatformError when the server refuses the stream. `session` must
    /// outlive it; its lock is taken.
    CameraStream(Session& session, const std::string& node, const OfferedFormat& format,
                 FrameHandler onFrame);
    ~CameraStream();
    CameraStream(const CameraStream&) = delete;
    CameraStream& operator=(const CameraStream&) = delete;

    /// The server has ended the stream: the camera is busy or gone. Changes call the session's noteChange().
    bool hasFailed() const;

 private:
    struct DestroyStream {
        void operator()(pw_stream* stream) const { pw_stream_destroy(stream); }
    };

    static const pw_stream_events events;

    void connect(const std::string& node);
    void stateChanged(pw_stream_state state);
    void formatChanged(const spa_pod* format);
    void receive();
    bool readBuffer(const spa_buffer& buffer);
    std::chrono::nanoseconds captureTime(const spa_buffer& buffer) const;

    const OfferedFormat format_;
    const FrameHandler onFrame_;
    CameraFrame frame_;
    std::chrono::nanoseconds lastTime_{};
    bool failed_ = false;
    spa_hook listener_{};
    Session& session_;
    std::unique_ptr<pw_stream, DestroyStream> stream_;  ///< used only under the session's lock
};

}  // namespace lumicrate::pipewire
