// SPDX-License-Identifier: GPL-3.0-or-later
// VirtualScreen: casts pictures through the PipeWire server as a compositor does, until it is destroyed.
#pragma once

#include "Linux/Pictures/BgraPicture.h"
#include "Linux/PipeWire/Session.h"
#include "Support/Geometry.h"

#include <pipewire/pipewire.h>
#include <spa/param/video/raw.h>
#include <spa/pod/builder.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::stage {

class VirtualScreen {
 public:
    /// All operations throw std::runtime_error when the server or the consumer does not cooperate in time.
    struct Options {
        std::string name = "screen";
        spa_video_format pixels = SPA_VIDEO_FORMAT_BGRx;  ///< of 32 bits
        PixelSize size{320, 200};
        bool hasMetadata = true;  ///< besides the header
        int extraStride = 0;      ///< bytes between rows
        int buffers = 8;
    };
    struct Cursor {
        std::uint32_t id = 1;
        int x = 0, y = 0;
        int hotX = 0, hotY = 0;
        PixelSize size{};  ///< of the bitmap; empty for none, which means the same as before
        spa_video_format pixels = SPA_VIDEO_FORMAT_BGRA;
        std::vector<std::uint32_t> bitmap{};
    };
    /// What accompanies a picture.
    struct Facts {
        /// As written into the list, also empty ones; all of the picture if there is no list.
        std::optional<std::vector<PixelRect>> damage = std::nullopt;
        std::optional<PixelRect> crop = std::nullopt;
        std::uint32_t transform = 0;  ///< a spa_meta_videotransform_value
        std::optional<Cursor> cursor = std::nullopt;
        bool isCorrupted = false;  ///< no picture: the buffer has size 0
    };

    explicit VirtualScreen(const Options& options);
    ~VirtualScreen();
    VirtualScreen(const VirtualScreen&) = delete;
    VirtualScreen& operator=(const VirtualScreen&) = delete;

    std::uint32_t node() const { return node_; }
    /// Sends a picture of the cast's size once a consumer listens and has returned a buffer.
    void show(const pictures::BgraPicture& picture, const Facts& facts);
    void show(const pictures::BgraPicture& picture) { show(picture, {}); }
    /// Sends it if there is a consumer and a free buffer; whether it was sent. The server may drop it when
    /// the consumer is only just ready, or still receives another one.
    bool offer(const pictures::BgraPicture& picture, const Facts& facts);
    /// Pauses the cast, as some desktops do when the computer sleeps, or continues it.
    void setActive(bool active);
    /// As when a monitor changes its mode: the next picture must have that size.
    void resize(PixelSize size);

 private:
    static const pw_stream_events events;

    const spa_pod* buildFormat(spa_pod_builder& builder) const;
    void formatChanged(const spa_pod* format);
    void fill(spa_buffer& buffer, const pictures::BgraPicture& picture, const Facts& facts);
    void describe(const spa_buffer& buffer, const Facts& facts);

    Options options_;
    pipewire::Session session_;
    pw_stream* stream_ = nullptr;
    spa_hook listener_{};
    std::uint32_t node_ = 0;
    bool isStreaming_ = false;
    std::optional<PixelSize> agreed_;
    std::uint64_t sent_ = 0;
};

}  // namespace lumicrate::stage
