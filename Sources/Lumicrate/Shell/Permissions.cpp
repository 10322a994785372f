// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shell/Permissions.h"

#include "Support/Text.h"

#include <utility>

namespace lumicrate {

namespace {

using Missing = Permissions::Missing;

Missing screen(bool usesPortal) {
    Missing missing{"display", localized("The screen can’t be reached"), {}, {}};
    if (usesPortal) {
        missing.advice = localized(
            "This desktop offers no screen sharing through its portal. Install xdg-desktop-portal and the "
            "part for your desktop (xdg-desktop-portal-gnome, xdg-desktop-portal-kde or "
            "xdg-desktop-portal-wlr), then log in again.");
    } else {
        missing.advice = localized(
            "No X11 display answers at the address in DISPLAY. Start Lumicrate from inside "
            "your desktop; over SSH, name its display first.");
        missing.command = "export DISPLAY=:0";
    }
    return missing;
}

Missing sound() {
    return {"speaker.slash.fill", localized("Sound can’t be reached"),
            localized("PipeWire does not answer, so neither system audio nor a microphone can be recorded. "
                      "Starting it usually helps:"),
            "systemctl --user start pipewire wireplumber"};
}

Missing camera() {
    return {"video.slash.fill", localized("No camera can be reached"),
            localized("Plug one in, or close the program that is using it. This lists the cameras that "
                      "PipeWire knows:"),
            "wpctl status"};
}

std::vector<Missing> findMissing(const Permissions::Facts& facts) {
    std::vector<Missing> missing;
    if (!facts.screenReachable) missing.push_back(screen(facts.usesPortal));
    if (!facts.soundReachable) missing.push_back(sound());
    if (!facts.cameraReachable) missing.push_back(camera());
    return missing;
}

}  // namespace

Permissions::Permissions(const Facts& facts, std::function<void()> check)
    : missing(findMissing(facts)), check_(std::move(check)) {}

std::string Permissions::headline() {
    return localized("Lumicrate can’t reach everything it needs");
}

void Permissions::checkAgain() {
    if (checking_) return;
    checking_ = true;
    outcome = localized("Checking…");
    check_();
}

void Permissions::update(const Facts& facts) {
    auto now = findMissing(facts);
    if (std::exchange(checking_, false)) {
        outcome = now.empty()                         ? localized("Everything can be reached now.")
                  : now.size() < missing.get().size() ? localized("Better, but not everything is there yet.")
                                                      : localized("Nothing has changed yet.");
    }
    if (now != *missing) missing = std::move(now);
}

}  // namespace lumicrate
