#include "Lumicrate/Overlays/Selection/ScreenChooser.h"

#include "Support/Text.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace lumicrate {

namespace {

constexpr std::int64_t escapeKey = 53;

/// 1 … 9. By what the key types, which is all that a number pad tells, or by what it stands for: there are
/// keyboards whose digits need Shift.
std::optional<int> digit(const NSEvent& event) {
    constexpr std::array<std::int64_t, 9> digitKeys{18, 19, 20, 21, 23, 22, 26, 28, 25};
    constexpr std::uint64_t others = NSEvent::commandFlag | NSEvent::optionFlag | NSEvent::controlFlag;
    if ((event.modifierFlags & others) != 0) return std::nullopt;
    const std::string& typed = event.charactersIgnoringModifiers;
    if (typed.size() == 1 && typed[0] >= '1' && typed[0] <= '9') return typed[0] - '0';
    const auto found = std::find(digitKeys.begin(), digitKeys.end(), event.keyCode);
    if (found == digitKeys.end()) return std::nullopt;
    return static_cast<int>(std::distance(digitKeys.begin(), found)) + 1;
}

}  // namespace

/// Ends its choice, and no later one, when the caller no longer waits.
class ScreenChooser::EndOfChoice {
 public:
    explicit EndOfChoice(ScreenChooser& owner) : owner_(owner), choice_(owner.choices_) {}
    ~EndOfChoice() {
        if (owner_.choices_ == choice_) owner_.close();
    }
    EndOfChoice(const EndOfChoice&) = delete;
    EndOfChoice& operator=(const EndOfChoice&) = delete;

 private:
    ScreenChooser& owner_;
    std::uint64_t choice_;
};

ScreenChooser::ScreenChooser(Executor& executor, const NSScreens& screens, SCScreenshotManager& pictures,
                             NSKeyMonitoring& keys, OverlayContents& contents)
    : executor_(executor), screens_(screens), pictures_(pictures), keys_(keys), contents_(contents) {}

Task<std::optional<std::uint32_t>> ScreenChooser::choose() {
    finish(std::nullopt);
    close();
    ++choices_;
    const EndOfChoice end(*this);
    const Completion<std::optional<std::uint32_t>> result(executor_);
    continuation_ = result;
    begin();
    const std::optional<std::uint32_t> chosen = co_await result;
    co_return chosen;
}

void ScreenChooser::begin() {
    for (const NSScreen& each : screens_.screens()) {
        if (each.displayID) shown_.push_back(describe(each, static_cast<int>(shown_.size()) + 1));
    }
    if (shown_.empty()) return finish(std::nullopt);
    // All pictures have been taken before the first panel is seen.
    for (const auto& each : shown_)
        show(*each);
    const auto pointed = std::find_if(shown_.begin(), shown_.end(), [this](const auto& each) {
        return each->frame.contains(screens_.mouseLocation());
    });
    (pointed == shown_.end() ? shown_.front() : *pointed)->panel->makeKeyAndOrderFront();
    keyMonitor_ = keys_.addKeyDownMonitor([this](const NSEvent& event) { return keyDown(event); });
}

std::unique_ptr<ScreenChooser::Screen> ScreenChooser::describe(const NSScreen& screen, int number) {
    const std::uint32_t displayID = *screen.displayID;
    auto described = std::make_unique<Screen>();
    described->displayID = displayID;
    described->frame = screen.frame;
    // A panel that is on its way out must not end another choice.
    const auto ends = [this, choice = choices_](std::optional<std::uint32_t> chosen) {
        return [this, choice, chosen] {
            if (choices_ == choice) finish(chosen);
        };
    };
    described->model = {number,
                        screen.localizedName,
                        formatPixels(screen.frame.size(), screen.backingScaleFactor),
                        pictures_.captureDisplay(displayID),
                        ends(displayID),
                        ends(std::nullopt)};
    return described;
}

void ScreenChooser::show(Screen& screen) {
    NSPanel::Settings settings;
    settings.frame = screen.frame;
    settings.level = NSPanel::screenSaverLevel;
    settings.canBecomeKey = true;
    screen.panel = contents_.screenChoice(screen.model)->makePanel(std::move(settings));
    screen.panel->orderFrontRegardless();
}

bool ScreenChooser::keyDown(const NSEvent& event) {
    if (event.keyCode == escapeKey) {
        finish(std::nullopt);
        return true;
    }
    const auto number = digit(event);
    if (!number || static_cast<std::size_t>(*number) > shown_.size()) return false;
    finish(shown_[static_cast<std::size_t>(*number) - 1]->displayID);
    return true;
}

/// From inside a panel's own handlers, so the panels go later, with the task that waits.
void ScreenChooser::finish(std::optional<std::uint32_t> displayID) {
    keyMonitor_.reset();
    if (const auto waiting = std::exchange(continuation_, std::nullopt)) waiting->resolve(displayID);
}

void ScreenChooser::close() {
    keyMonitor_.reset();
    shown_.clear();
}

}  // namespace lumicrate
