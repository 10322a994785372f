// SPDX-License-Identifier: GPL-3.0-or-later
// VirtualCamera: a camera that any client of the PipeWire server can use, until it is destroyed.
//
// Its picture is a soft grey with a FrameNumber in the top-left corner and a square of one colour in each of
// the other corners. Uncompressed pictures are BT.601 in video range, MJPG is BT.601 4:2:2 in full range.
#pragma once

#include "Linux/PipeWire/Session.h"
#include "Tests/Stage/Picture.h"

#include <pipewire/pipewire.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::stage {

class CameraPainter;

class VirtualCamera {
 public:
    struct Format {
        std::string pixels = "NV12";  ///< NV12, I420, YUY2, BGRx or MJPG
        int width = 640;
        int height = 480;
        int rate = 30;
    };
    struct Options {
        std::string name = "camera";         ///< of the node
        std::string description = "Camera";  ///< for users
        std::vector<Format> formats{Format()};
        /// What is really sent.
        enum class Fault {
            none,
            otherSize,      ///< pictures of half the width and height
            garbage,        ///< random bytes
            halves,         ///< the first half of each picture's bytes
            nothing,        ///< no frames at all
            corruptedFlag,  ///< good pictures that are marked as damaged
            noTime          ///< good pictures whose time is that of another clock
        };
        Fault fault = Fault::none;
        std::optional<int> stopAfter = std::nullopt;  ///< frames until it stalls, each time it is opened
        bool hasHuffmanTables = true;                 ///< in MJPG pictures
        bool isNoisy = false;                         ///< MJPG only: a real sensor's cost of coding
        std::uint32_t transform = 0;                  ///< a spa_meta_videotransform_value
        bool isCropped = false;                       ///< a quarter of the picture is cut off at each edge
    };

    static constexpr Rgb topRight{220, 40, 40};
    static constexpr Rgb bottomLeft{40, 190, 60};
    static constexpr Rgb bottomRight{50, 60, 210};
    /// The side of the coloured squares for a picture of that height.
    static constexpr int squareSide(int height) { return height / 6 / 16 * 16; }

    /// Throws PlatformError without a server, and std::runtime_error when it does not take the camera.
    explicit VirtualCamera(const Options& options);
    /// Unplugs the camera.
    ~VirtualCamera();
    VirtualCamera(const VirtualCamera&) = delete;
    VirtualCamera& operator=(const VirtualCamera&) = delete;

    /// Also counts faulty ones.
    int framesSent() const { return sent_; }
    /// The host time of a frame; nothing when it was not sent.
    std::optional<std::chrono::nanoseconds> timeOf(int number) const;
    /// The format that a consumer has chosen.
    std::optional<Format> negotiated() const;

 private:
    static const pw_stream_events events;

    void connect();
    void unplug();
    void stateChanged(pw_stream_state state);
    void formatChanged(const spa_pod* format);
    void send();
    void fill(const spa_buffer& buffer);
    void fillMetadata(const spa_buffer& buffer, std::chrono::nanoseconds time) const;

    const Options options_;
    pw_loop* loop() const { return pw_context_get_main_loop(pw_core_get_context(session_.core())); }

    pipewire::Session session_;
    pw_stream* stream_ = nullptr;
    spa_source* timer_ = nullptr;
    spa_hook listener_{};
    mutable std::mutex mutex_;
    std::optional<Format> format_;  // The next two are guarded by the mutex.
    std::vector<std::chrono::nanoseconds> times_;
    std::unique_ptr<CameraPainter> painter_;
    std::atomic<int> sent_ = 0;
    int sentBefore_ = 0;  ///< before it was opened
};

}  // namespace lumicrate::stage
