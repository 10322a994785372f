// AudioStream: one running capture stream of the sound server.
#pragma once

#include "Linux/PipeWire/GraphWatch.h"
#include "Linux/PipeWire/Session.h"
#include "Linux/PipeWire/StampSmoother.h"
#include "Platform/SampleSource.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::pipewire {

/// Captures from when it is made until it is destroyed and hands on interleaved float samples at 48 kHz, each
/// stretch with the host time of its first frame: when it reached a microphone, or when it leaves the
/// loudspeaker.
///
/// When the device goes, no more sound comes; should another take its place, sound comes again, and the
/// stamps tell how long it was missing. When the server goes, or the stream fails, nothing comes any more.
class AudioStream {
 public:
    static constexpr int sampleRate = 48000;

    struct Format {
        /// Record what an output plays instead of what a microphone hears.
        bool fromOutput = false;
        int channels = 1;  ///< 1 or 2; what the device gives is mixed to that
        /// The node to record; without one, the default device, also when the default changes.
        std::optional<std::string> device;
    };

    /// Throws PlatformError when the stream is refused. `onSample` is called on the session's thread. Both
    /// references must outlive the stream.
    AudioStream(Session& session, const GraphWatch& watch, const Format& format,
                SampleSource::SampleHandler onSample);
    /// Hands on what was captured up to now, as far as it comes within a tenth of a second.
    ~AudioStream();
    AudioStream(const AudioStream&) = delete;
    AudioStream& operator=(const AudioStream&) = delete;

    /// Returns when sound flows, or after a second: it may come later.
    void awaitSound() const;
    /// Whether sound comes. Each turn of this is a change of the session's.
    bool flows() const;

 private:
    using Nanoseconds = std::chrono::nanoseconds;

    struct DestroyStream {
        void operator()(pw_stream* stream) const { pw_stream_destroy(stream); }
    };

    static const pw_stream_events events;
    static void onStateChanged(void* self, pw_stream_state old, pw_stream_state state, const char* error);
    static void onIoChanged(void* self, std::uint32_t id, void* area, std::uint32_t size);
    static void onProcess(void* self);

    void connect();
    void deliver();
    void handOn(Nanoseconds stamp);
    void takeBuffers();
    void noteJump();
    bool isOthersSound() const;
    /// What lies between a device and this stream.
    struct Path {
        Nanoseconds delay{};
        bool outputDrives = false;
    };

    bool lostSoundBefore(std::int64_t frames, const pw_time& time);
    bool isOutputADriver() const;
    Path pathAt(const pw_time& time) const;
    bool pathChanged(const pw_time& time);
    Nanoseconds reportedTime(const pw_time& time) const;
    std::size_t frameSize() const { return static_cast<std::size_t>(format_.channels) * sizeof(float); }
    std::int64_t framesIn(std::size_t bytes) const { return static_cast<std::int64_t>(bytes / frameSize()); }
    bool isStreaming() const { return state_ == PW_STREAM_STATE_STREAMING; }

    const Format format_;
    const SampleSource::SampleHandler onSample_;
    StampSmoother smoother_{sampleRate};
    pw_stream_state state_ = PW_STREAM_STATE_UNCONNECTED;
    std::vector<std::byte> taken_;               ///< out of the server's buffers, not yet handed on
    std::size_t newestBufferSize_ = 0;           ///< bytes at the end of it that came last
    std::optional<std::uint32_t> driverNumber_;  ///< of the node that times the cycles this stream is in
    std::optional<std::uint64_t> lastTicks_;     ///< the server's count of frames when sound last came
    std::optional<Path> lastPath_;
    Nanoseconds deliveredUntil_{};
    spa_hook listener_{};
    Session& session_;
    const GraphWatch& watch_;
    std::unique_ptr<pw_stream, DestroyStream> stream_;  ///< touched only under the session's lock
};

}  // namespace lumicrate::pipewire
