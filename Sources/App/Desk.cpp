#include "App/Desk.h"

#include "Support/Error.h"

#include <algorithm>

namespace lumicrate::app {

namespace {

/// The toolkit and the capture know screens by the same names.
views::Screens::DisplayIDs displayIDs(const capture::CaptureKit& capture) {
    return [&capture](const std::string& name) -> std::optional<std::uint32_t> {
        try {
            for (const SCDisplay& each : capture.displays()) {
                if (each.localizedName == name) return each.displayID;
            }
        } catch (const PlatformError&) {
            // Without the server there are no screens either.
        }
        return std::nullopt;
    };
}

}  // namespace

Desk::Desk(Machine& machine)
    : screens(displayIDs(machine.capture)),
      keys(machine.executor),
      buttons(machine.executor),
      keyMonitor({[this](std::uint32_t key) { return keys.keysymOf(key); },
                  [this](std::uint32_t key) { return keys.virtualKeyCodeOf(key); }}),
      contents_([this](const QKeyEvent& event) { return keyMonitor.translated(event); }),
      controlBar(screens, machine.defaults, contents_),
      areaSelector({machine.executor, machine.capture, pictures, machine.process, screens, machine.defaults,
                    contents_}),
      audioAtOnce(machine.executor),
      screenChooser_(machine.executor, screens, pictures, keyMonitor, contents_),
      countdown_(machine.executor, screens, machine.defaults, contents_),
      clickHighlighter_(machine.executor, screens, buttons, contents_),
      areaFrame_(contents_) {}

DesktopParts Desk::parts() {
    RecorderOverlays overlays;
    overlays.areaSelector = &areaSelector;
    overlays.screenChooser = &screenChooser_;
    overlays.audioWindow = &audioAtOnce;
    overlays.countdown = &countdown_;
    overlays.controlBar = &controlBar;
    overlays.clickHighlighter = &clickHighlighter_;
    overlays.areaFrame = &areaFrame_;
    return {screens, keys, overlays};
}

}  // namespace lumicrate::app
