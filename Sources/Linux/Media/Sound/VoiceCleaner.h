// SPDX-License-Identifier: GPL-3.0-or-later
// VoiceCleaner: reduces the steady noise behind a voice, such as a fan, a hum or the hiss of a microphone.
//
// It learns the noise from the first two seconds before it cleans them, so that the first word is as clean as
// the last. The voice stays where it was, to the sample.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct SpeexPreprocessState_;

namespace lumicrate::media {

/// Interleaved sound at 48000 Hz; full scale is −1 … 1, and up to twice that is kept. One thread. Silence
/// stays silence.
class VoiceCleaner {
 public:
    /// `channels` is 1 or 2; each is cleaned on its own. Throws std::bad_alloc.
    explicit VoiceCleaner(std::size_t channels);
    ~VoiceCleaner();
    VoiceCleaner(const VoiceCleaner&) = delete;
    VoiceCleaner& operator=(const VoiceCleaner&) = delete;

    /// Appends what is clean so far; two seconds at most are held back.
    void process(std::span<const float> sound, std::vector<float>& cleaned);
    /// Appends the rest: altogether as many samples as were processed. Nothing may be processed after that.
    void finish(std::vector<float>& cleaned);

 private:
    struct Free {
        void operator()(SpeexPreprocessState_* state) const;
    };

    void learn();
    void cleanBlocks(std::vector<float>& cleaned);
    void run(std::span<float> block);

    std::vector<std::unique_ptr<SpeexPreprocessState_, Free>> channels_;
    std::vector<float> waiting_;
    bool learned_ = false;
    bool begun_ = false;    ///< the first block, which comes out before any sound, has been dropped
    std::size_t owed_ = 0;  ///< samples that came in but not yet out
    std::vector<std::int16_t> samples_;  ///< of one channel of a block
};

}  // namespace lumicrate::media
