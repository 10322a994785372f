// AudioSource: the samples of the system's sound or of a microphone.
#pragma once

#include "Linux/PipeWire/LastingConnection.h"
#include "Linux/PipeWire/SoundLosses.h"
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
/// Sound that ceases, because a device was unplugged or the server ended, is no failure: no samples come
/// until it is there again, and onFailure is never called. What is missing longer than a second is told by
/// onNotice when the source is stopped.
class AudioSource final : public SampleSource {
 public:
    /// What the default output plays, also when another becomes the default.
    static std::unique_ptr<SampleSource> systemSound(int channels = 2);
    /// The microphone of that id or, without an id or while none of that id is connected, the default one.
    static std::unique_ptr<SampleSource> microphone(std::optional<std::string> id, int channels = 1);

    ~AudioSource() override;
    AudioSource(const AudioSource&) = delete;
    AudioSource& operator=(const AudioSource&) = delete;

    /// Returns when sound flows, or after a second: it may come later. Throws PlatformError when there is no
    /// server, no output or no microphone.
    void start(Handlers handlers) override;
    /// Waits up to a tenth of a second for the sound captured until now; some seconds when a server that has
    /// come back does not answer.
    void stop() override;
    /// Nothing of a configuration can change while sound is captured.
    void update(const SCStreamConfiguration& configuration) override;

 private:
    enum class Kind { systemSound, microphone };

    AudioSource(Kind kind, std::optional<std::string> id, int channels);

    bool isThereADevice(const Graph& graph) const;
    void makeStream(Connection& connection);
    void deliver(const CMSampleBuffer& sample);
    std::optional<LastingConnection::Patience> keepUp(Connection& connection);
    void noteDevices(bool areThere, bool isChosenThere);
    void giveUpStream();
    void tellLosses();

    const Kind kind_;
    const std::optional<std::string> id_;
    const int channels_;
    Handlers handlers_;
    std::optional<std::uint64_t> arrival_;  ///< of the chosen microphone that the stream was made for
    bool hadChosen_ = false;                ///< the chosen microphone was there in the beginning
    std::optional<std::chrono::nanoseconds> stalledSince_;  ///< there is a device and no sound comes
    std::mutex mutex_;
    std::optional<SoundLosses> losses_;  ///< guarded by the mutex
    /// Before the stream, which lives on its connection. The stream is touched on the connection's thread
    /// only, but before that begins and after it has ended.
    std::unique_ptr<LastingConnection> lasting_;
    std::unique_ptr<AudioStream> stream_;
};

}  // namespace lumicrate::pipewire
