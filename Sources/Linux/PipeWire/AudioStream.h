// SPDX-License-Identifier: GPL-3.0-or-later
// AudioStream: a capture stream of the sound server.
#pragma once

#include "Linux/PipeWire/CycleQueue.h"
#include "Linux/PipeWire/GraphWatch.h"
#include "Linux/PipeWire/Session.h"
#include "Linux/PipeWire/TimestampSmoother.h"
#include "Platform/SampleSource.h"

#include <spa/param/latency.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace lumicrate::pipewire {

class PlaybackLinks;

/// Captures from construction to destruction. Delivers interleaved float samples at 48 kHz. Each buffer's
/// timestamp is the host time at which its first frame reached the microphone, or leaves the loudspeaker.
/// Silence may be delivered some 85 ms later than sound would be (see CycleQueue).
///
/// A stream without a device delivers what is linked to its node's inputs (see PlaybackLinks), and silence
/// while nothing is linked.
///
/// When the device is disconnected, delivery pauses; when another device replaces it, delivery continues, and
/// the timestamps show the gap. When the server ends or the stream fails, nothing more is delivered.
class AudioStream {
 public:
    static constexpr int sampleRate = 48000;

    /// What is recorded: a device that the session manager links, or what this program links itself.
    enum class Input { microphone, output, links };

    struct Format {
        Input input = Input::microphone;
        int channels = 1;  ///< 1 or 2; the device's channels are mixed to that
        /// The node to record; nothing for the default device, which is followed when it changes.
        std::optional<std::string> device;
        /// Links the stream from construction until its end; set for links only. Must outlive the stream.
        PlaybackLinks* links = nullptr;
    };

    /// Throws PlatformError when the server refuses the stream. `onSample` is called on the session's thread.
    /// Both references must outlive the stream.
    AudioStream(Session& session, const GraphWatch& watch, const Format& format,
                SampleSource::SampleHandler onSample);
    /// Delivers what was captured until now, waiting for it for up to a tenth of a second.
    ~AudioStream();
    AudioStream(const AudioStream&) = delete;
    AudioStream& operator=(const AudioStream&) = delete;

    /// Waits until sound is delivered, for up to a second.
    void awaitSound() const;
    /// Whether sound is being delivered. Changes call the session's noteChange().
    bool isFlowing() const;
    /// The stream's node in the server's graph; nothing until it exists. Session's lock held.
    std::optional<std::uint32_t> node() const;
    /// For links: the time from the streams that are linked until their sound is audible. Session's lock
    /// held.
    void setPlaybackDelay(const spa_latency_info& delay) { playbackDelay_ = delay; }

 private:
    using Nanoseconds = std::chrono::nanoseconds;

    struct DestroyStream {
        void operator()(pw_stream* stream) const { pw_stream_destroy(stream); }
    };

    static const pw_stream_events events;

    void connect();
    void destroyStream();
    void stateChanged(pw_stream_state state);
    void positionChanged(const spa_io_position* position);
    void deliver(const CycleQueue::Cycle& cycle);
    void deliverPiece(Nanoseconds timestamp, std::span<const std::byte> sound);
    void noteJump();
    bool isUnwanted() const;
    /// The path between a device and this stream.
    struct Path {
        Nanoseconds delay{};
        bool outputDrives = false;  ///< the output times the server's cycles
    };

    bool skippedCycles(const pw_time& time, std::int64_t frames);
    bool isOutputADriver() const;
    Path pathAt(const pw_time& time) const;
    bool pathChanged(const pw_time& time);
    Nanoseconds playbackDelay(Nanoseconds cycle) const;
    Nanoseconds reportedTime(const pw_time& time, std::int64_t frames) const;
    std::size_t frameSize() const { return static_cast<std::size_t>(format_.channels) * sizeof(float); }
    std::size_t bytesOf(std::int64_t frames) const { return static_cast<std::size_t>(frames) * frameSize(); }
    std::int64_t framesIn(std::size_t bytes) const { return static_cast<std::int64_t>(bytes / frameSize()); }
    bool isStreaming() const { return state_ == PW_STREAM_STATE_STREAMING; }

    const Format format_;
    const SampleSource::SampleHandler onSample_;
    TimestampSmoother smoother_{sampleRate};
    pw_stream_state state_ = PW_STREAM_STATE_UNCONNECTED;
    std::optional<std::uint32_t> driverNode_;  ///< times the cycles of this stream
    std::optional<std::uint64_t> lastTicks_;   ///< the server's frame counter at the last delivery
    std::optional<Path> lastPath_;
    spa_latency_info playbackDelay_{};
    Nanoseconds deliveredUntil_{};
    spa_hook listener_{};
    Session& session_;
    const GraphWatch& watch_;
    std::unique_ptr<CycleQueue> cycles_;                ///< of the stream, which is destroyed before it
    std::unique_ptr<pw_stream, DestroyStream> stream_;  ///< used only under the session's lock
};

}  // namespace lumicrate::pipewire
