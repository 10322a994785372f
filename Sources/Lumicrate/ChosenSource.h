// ChosenSource: answers the recorder's question of what to record with what is chosen in the main window.
#pragma once

#include "Lumicrate/Overlays/RecorderOverlays.h"
#include "Lumicrate/ScreenRecorder.h"
#include "Lumicrate/SourceBar.h"
#include "Support/Executor.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// So a shortcut or a menu records what the window's own button would. Where nothing is chosen yet, the
/// window is shown for it. Main thread only.
class ChosenSource final : public AreaChoosing, public ScreenChoosing, public AudioWindowShowing {
 public:
    explicit ChosenSource(Executor& executor) : executor_(executor) {}

    /// Whose choice counts; all must outlive the recorder's last question.
    void connect(ScreenRecorder& recorder, SourceBar& sources, std::function<void()> showMain);

    Task<std::optional<PickedArea>> select(NSScreen screen, std::string confirmTitle,
                                           std::optional<Rect> initialArea,
                                           std::vector<CaptureDevice> microphones, bool windowsOnly) override;
    Task<std::optional<std::uint32_t>> choose() override;
    /// Records sound, as there is nothing to choose.
    void show() override;

 private:
    void askInWindow(CaptureMode mode);

    Executor& executor_;
    ScreenRecorder* recorder_ = nullptr;
    SourceBar* sources_ = nullptr;
    std::function<void()> showMain_;
};

}  // namespace lumicrate
