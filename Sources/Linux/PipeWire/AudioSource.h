// AudioSource: the samples of the system's sound or of a microphone.
#pragma once

#include "Platform/SampleSource.h"

#include <memory>
#include <optional>
#include <string>

namespace lumicrate::pipewire {

class AudioStream;

/// Delivers interleaved 32-bit float samples at 48 kHz.
///
/// Sound that ceases, because a device was unplugged or the server ended, is no failure: no samples come
/// until it is there again, and onFailure is never called.
class AudioSource final : public SampleSource {
 public:
    /// What the default output plays, also when another becomes the default.
    static std::unique_ptr<SampleSource> systemSound(int channels = 2);
    /// The microphone of that id or, without an id or when none of that id is connected, the default one.
    static std::unique_ptr<SampleSource> microphone(std::optional<std::string> id, int channels = 1);

    ~AudioSource() override;
    AudioSource(const AudioSource&) = delete;
    AudioSource& operator=(const AudioSource&) = delete;

    /// Returns when sound flows, or after a second: it may come later. Throws PlatformError when there is no
    /// server, no output or no microphone.
    void start(Handlers handlers) override;
    /// Waits up to a tenth of a second for the sound captured until now.
    void stop() override;
    /// Nothing of a configuration can change while sound is captured.
    void update(const SCStreamConfiguration& configuration) override;

 private:
    enum class Kind { systemSound, microphone };

    AudioSource(Kind kind, std::optional<std::string> id, int channels);

    const Kind kind_;
    const std::optional<std::string> id_;
    const int channels_;
    std::unique_ptr<AudioStream> stream_;
};

}  // namespace lumicrate::pipewire
