// SPDX-License-Identifier: GPL-3.0-or-later
// AudioSource: captures the system's sound or a microphone.
#pragma once

#include "Linux/PipeWire/AudioGapReport.h"
#include "Linux/PipeWire/PlaybackLinks.h"
#include "Linux/PipeWire/ReconnectingConnection.h"
#include "Linux/PipeWire/SoundSplice.h"
#include "Platform/SampleSource.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace lumicrate::pipewire {

class AudioStream;

/// Delivers interleaved 32-bit float samples at 48 kHz.
///
/// The system's sound comes from the monitor of the default output. While this program plays, it comes from
/// links to the streams of the others, so that this program's sound is not recorded. One application's sound
/// always comes from links.
///
/// A disconnected device or an ended server is not a failure: no samples are delivered until it is available
/// again, and onFailure is never called. Gaps longer than a second are reported by onNotice when the source
/// is stopped.
class AudioSource final : public SampleSource {
 public:
    struct SystemSound {
        int channels = 2;
        bool excludesOwn = false;  ///< leave out the sound of this program
        /// Only the sound of this process and of its descendants, whichever output it plays on.
        std::optional<std::int32_t> process;
    };

    /// What the default output plays, or a part of it; follows changes of the default.
    static std::unique_ptr<SampleSource> systemSound(const SystemSound& sound);
    static std::unique_ptr<SampleSource> systemSound() { return systemSound(SystemSound()); }
    /// The microphone with that id. Without an id, or while it is not connected, the default one.
    static std::unique_ptr<SampleSource> microphone(std::optional<std::string> id, int channels = 1);

    ~AudioSource() override;
    AudioSource(const AudioSource&) = delete;
    AudioSource& operator=(const AudioSource&) = delete;

    /// Waits until sound is delivered, for up to a second. Throws PlatformError when there is no server, no
    /// output or no microphone.
    void start(Handlers handlers) override;
    /// Waits for the sound captured until now, for up to a tenth of a second; some seconds when a restarted
    /// server does not answer.
    void stop() override;
    /// Does nothing: sound has no settings that change during capture.
    void update(const SCStreamConfiguration& configuration) override;

 private:
    enum class Kind { systemSound, microphone };

    AudioSource(Kind kind, std::optional<std::string> id, const SystemSound& sound);

    bool hasDevice(const Graph& graph) const;
    void createStream(Connection& connection);
    void createLinkedStream(Connection& connection);
    void dropStreams();
    std::optional<ReconnectingConnection::Delay> checkOwnSound(Connection& connection);
    void addLinkedSound(const CMSampleBuffer& sample);
    void deliver(const CMSampleBuffer& sample);
    std::optional<ReconnectingConnection::Delay> checkStreams(Connection& connection);
    std::optional<ReconnectingConnection::Delay> checkStream(Connection& connection);
    void noteDevices(bool hasAny, bool hasChosen);
    void serverLost();
    void reportGaps();

    const Kind kind_;
    const std::optional<std::string> id_;
    const SystemSound sound_;  ///< of a microphone only the channels
    Handlers handlers_;
    std::optional<std::uint64_t> serial_;  ///< of the chosen microphone when the stream was created
    bool hadChosen_ = false;               ///< the chosen microphone was connected at the start
    std::optional<std::chrono::nanoseconds>
        stalledSince_;  ///< a device is connected, but no sound is delivered
    std::mutex mutex_;
    std::optional<AudioGapReport> gaps_;  ///< guarded by the mutex
    /// Declared before the stream, which uses its connection. While it runs, only its thread uses the stream.
    std::unique_ptr<ReconnectingConnection> connection_;
    SoundSplice splice_;  ///< of the two streams below; used under the session's lock
    std::unique_ptr<PlaybackLinks> links_;
    std::unique_ptr<AudioStream> stream_;
    /// Records the sound of the other programs while this one has streams.
    std::unique_ptr<AudioStream> linkedStream_;
    std::chrono::nanoseconds linkedSince_{};
};

}  // namespace lumicrate::pipewire
