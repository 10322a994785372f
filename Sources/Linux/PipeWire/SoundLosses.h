// SoundLosses: keeps account of the sound that a recording misses, and tells it in sentences.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::pipewire {

/// Counts the gaps between stretches of sound that last longer than a second. Not thread-safe; pure.
class SoundLosses {
 public:
    using Time = std::chrono::nanoseconds;  ///< on the host clock

    /// Whose sound is counted.
    struct Track {
        bool isMicrophone = false;
        /// The name of the microphone that the user chose; without one, any that is the default will do.
        std::optional<std::string> chosen;
    };
    /// What keeps sound away. Where several do in turn, the last of these names tells the reason.
    enum class Obstacle { none, noDevice, noServer };

    explicit SoundLosses(Track track) : track_(std::move(track)) {}

    /// What is missing before does not count. Sound may have come already.
    void expectFrom(Time start);
    /// Sound came for that time.
    void heard(Time from, Time until);
    /// From now on this is in the way, whether sound comes or not.
    void setObstacle(Obstacle obstacle);
    /// From now on another microphone is heard in the place of the chosen one, or no longer.
    void setReplaced(bool replaced) { replaced_ = replaced; }
    /// No more sound is expected from `end` on.
    void finish(Time end);

    /// What was missing, a sentence for each reason, with its time in all.
    std::vector<std::string> sentences() const;

 private:
    void countGap(Time until);

    const Track track_;
    std::optional<Time> until_;  ///< the end of what was heard; nothing before sound is expected
    Obstacle obstacle_ = Obstacle::none;
    Obstacle reason_ = Obstacle::none;  ///< the worst obstacle since then
    bool replaced_ = false;
    std::map<Obstacle, Time> missing_;
    Time replacedFor_{};
};

}  // namespace lumicrate::pipewire
