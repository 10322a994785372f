// SPDX-License-Identifier: GPL-3.0-or-later
// Overlay contents and panels that only record what happens to them.
#pragma once

#include "Lumicrate/Overlays/OverlayContents.h"
#include "Platform/NSEvent.h"
#include "Platform/SCScreenshotManager.h"
#include "Support/Error.h"
#include "Support/Task.h"
#include "Tests/Lumicrate/FakePlatform.h"

#include <string_view>
#include <utility>

namespace lumicrate::test {

/// Awaits a task as its caller would, and adds the result to `results`.
template <class Result>
Task<void> collect(Task<Result> task, std::vector<Result>& results) {
    const Result result = co_await task;
    results.push_back(result);
}

struct PanelRecord {
    std::string content;
    NSPanel::Settings settings;
    bool shown = false;
    bool key = false;
    bool gone = false;  ///< the panel has been destroyed
};

class FakeOverlayContents final : public OverlayContents {
 public:
    std::unique_ptr<OverlayContent> countdown(const CountdownModel& model) override {
        countdownModel = &model;
        return content("countdown");
    }
    std::unique_ptr<OverlayContent> controlBar(ControlBarModel& model) override {
        barModel = &model;
        return content("bar");
    }
    std::unique_ptr<OverlayContent> clickRings(const ClickRings& model) override {
        ringsModel = &model;
        return content("rings");
    }
    std::unique_ptr<OverlayContent> keystrokes(const Keystrokes& model) override {
        keystrokesModel = &model;
        return content("keys");
    }
    std::unique_ptr<OverlayContent> webcamBubble(WebcamBubbleModel& model) override {
        bubbleModel = &model;
        return content("bubble");
    }
    std::unique_ptr<OverlayContent> areaFrame() override { return content("frame"); }
    std::unique_ptr<OverlayContent> selection(AreaSelection& model) override {
        selectionModel = &model;
        return content("selection");
    }
    std::unique_ptr<OverlayContent> screenChoice(ScreenChoice& model) override {
        screenChoices.push_back(&model);
        return content("screen");
    }

    std::size_t shownPanels() const {
        std::size_t count = 0;
        for (const auto& each : panels)
            count += each->shown && !each->gone ? 1 : 0;
        return count;
    }
    PanelRecord& last() { return *panels.back(); }
    /// The newest panel with that content, if it is on the screen.
    const PanelRecord* visible(std::string_view name) const {
        for (auto each = panels.rbegin(); each != panels.rend(); ++each)
            if ((*each)->content == name && (*each)->shown && !(*each)->gone) return each->get();
        return nullptr;
    }

    std::vector<std::shared_ptr<PanelRecord>> panels;
    const CountdownModel* countdownModel = nullptr;
    ControlBarModel* barModel = nullptr;
    const ClickRings* ringsModel = nullptr;
    const Keystrokes* keystrokesModel = nullptr;
    WebcamBubbleModel* bubbleModel = nullptr;
    AreaSelection* selectionModel = nullptr;
    std::vector<ScreenChoice*> screenChoices;
    Size fittingSize{200, 40};
    /// Window numbers by content. The number of other panels is their position in `panels`, counted from 1.
    std::map<std::string, std::uint32_t> windowNumbers;

 private:
    struct Panel final : public NSPanel {
        Panel(std::shared_ptr<PanelRecord> of, std::uint32_t id) : record(std::move(of)), number(id) {}
        ~Panel() override { record->gone = true; }
        void orderFrontRegardless() override { record->shown = true; }
        void makeKeyAndOrderFront() override { record->shown = record->key = true; }
        void orderOut() override { record->shown = false; }
        Rect frame() const override { return record->settings.frame; }
        void setFrame(const Rect& frame) override { record->settings.frame = frame; }
        std::uint32_t windowNumber() const override { return number; }
        std::shared_ptr<PanelRecord> record;
        std::uint32_t number;
    };
    struct Content final : public OverlayContent {
        Content(FakeOverlayContents& in, std::string called) : owner(in), name(std::move(called)) {}
        Size fittingSize() const override { return owner.fittingSize; }
        std::unique_ptr<NSPanel> makePanel(NSPanel::Settings settings) override {
            owner.panels.push_back(std::make_shared<PanelRecord>(PanelRecord{name, std::move(settings)}));
            const auto given = owner.windowNumbers.find(name);
            const auto counted = static_cast<std::uint32_t>(owner.panels.size());
            return std::make_unique<Panel>(owner.panels.back(),
                                           given == owner.windowNumbers.end() ? counted : given->second);
        }
        FakeOverlayContents& owner;
        std::string name;
    };

    std::unique_ptr<OverlayContent> content(std::string name) {
        return std::make_unique<Content>(*this, std::move(name));
    }
};

/// Pictures of windows, and of displays, taken while no panel of `contents` covers a screen.
struct FakeDisplayPictures final : public SCScreenshotManager {
    explicit FakeDisplayPictures(const FakeOverlayContents& shown) : contents(shown) {}
    std::optional<CGImage> captureImage(std::uint32_t windowID, Size size) override {
        taken.push_back(windowID);
        if (closed.contains(windowID)) return std::nullopt;
        // A shade for each window.
        return CGImage{int(size.width), int(size.height),
                       std::vector<std::uint8_t>(std::size_t(3 * size.width * size.height),
                                                 static_cast<std::uint8_t>(windowID * 41))};
    }
    std::optional<CGImage> captureDisplay(std::uint32_t displayID) override {
        EXPECT_FALSE(contents.visible("selection") || contents.visible("screen"));
        const auto found = pictures.find(displayID);
        return found == pictures.end() ? std::nullopt : std::optional(found->second);
    }
    const FakeOverlayContents& contents;
    std::map<std::uint32_t, CGImage> pictures;  ///< of displays
    std::vector<std::uint32_t> taken;           ///< the windows
    std::set<std::uint32_t> closed;
};

struct FakeMouse final : public NSMouseMonitoring {
    std::unique_ptr<NSEventMonitor> addMouseDownMonitor(std::function<void(bool)> onMouseDown) override {
        press = std::move(onMouseDown);
        return std::make_unique<Counted<NSEventMonitor>>(monitors);
    }
    std::function<void(bool secondary)> press;
    int monitors = 0;
};

struct FakePointer final : public NSPointerMonitoring {
    std::unique_ptr<NSEventMonitor> addPointerMonitor(
        std::function<void(const NSPointerEvent&)> onEvent) override {
        if (refused) throw PlatformError("There is no pointer.");
        report = std::move(onEvent);
        report(first);
        return std::make_unique<Counted<NSEventMonitor>>(monitors);
    }

    bool refused = false;
    NSPointerEvent first;
    std::function<void(const NSPointerEvent&)> report;
    int monitors = 0;
};

struct FakePresses final : public NSGlobalMonitoring {
    std::unique_ptr<NSEventMonitor> addGlobalMonitor(
        std::function<void(const NSGlobalEvent&)> onDown) override {
        if (!refusal.empty()) throw PlatformError(refusal);
        press = std::move(onDown);
        return std::make_unique<Counted<NSEventMonitor>>(monitors);
    }
    std::function<void(const NSGlobalEvent&)> press;
    std::string refusal;
    int monitors = 0;
};

}  // namespace lumicrate::test
