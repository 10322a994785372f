// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/PanelContents.h"

#include "Lumicrate/Overlays/Selection/AreaSelector.h"
#include "Views/Overlays/ControlBarView.h"
#include "Views/Overlays/CountdownView.h"
#include "Views/Overlays/KeystrokesView.h"
#include "Views/Overlays/MarkViews.h"
#include "Views/Overlays/ScreenChoiceView.h"
#include "Views/Overlays/Selection/AreaToolbarView.h"
#include "Views/Overlays/Selection/SelectionView.h"
#include "Views/Overlays/WebcamBubbleView.h"
#include "Views/Widgets/Pictures.h"

#include <utility>

namespace lumicrate::views {

namespace {

class WidgetContent final : public OverlayContent {
 public:
    WidgetContent(std::unique_ptr<OverlayWidget> widget, PanelStack& stack,
                  const CompositionWatch& composition)
        : widget_(std::move(widget)), stack_(stack), composition_(composition) {}

    Size fittingSize() const override {
        const QSize size = widget_->sizeHint().shrunkBy(widget_->overhang());
        return {double(size.width()), double(size.height())};
    }
    std::unique_ptr<NSPanel> makePanel(NSPanel::Settings settings) override {
        return std::make_unique<OverlayPanel>(std::move(widget_), std::move(settings), stack_, composition_);
    }

 private:
    std::unique_ptr<OverlayWidget> widget_;
    PanelStack& stack_;
    const CompositionWatch& composition_;
};

}  // namespace

std::unique_ptr<OverlayContent> PanelContents::content(std::unique_ptr<OverlayWidget> widget) {
    return std::make_unique<WidgetContent>(std::move(widget), stack_, composition_);
}

std::unique_ptr<OverlayContent> PanelContents::countdown(const CountdownModel& model) {
    return content(std::make_unique<CountdownView>(model));
}

std::unique_ptr<OverlayContent> PanelContents::controlBar(ControlBarModel& model) {
    return content(std::make_unique<ControlBarView>(model));
}

std::unique_ptr<OverlayContent> PanelContents::clickRings(const ClickRings& model) {
    return content(std::make_unique<ClickRingsView>(model));
}

std::unique_ptr<OverlayContent> PanelContents::keystrokes(const Keystrokes& model) {
    return content(std::make_unique<KeystrokesView>(model));
}

std::unique_ptr<OverlayContent> PanelContents::webcamBubble(WebcamBubbleModel& model) {
    return content(std::make_unique<WebcamBubbleView>(model));
}

std::unique_ptr<OverlayContent> PanelContents::areaFrame() {
    return content(std::make_unique<AreaFrameView>());
}

std::unique_ptr<OverlayContent> PanelContents::selection(AreaSelection& model) {
    QImage still;
    if (model.snapshot) still = sharedImage(*model.snapshot);
    std::unique_ptr<QWidget> toolbar;
    if (model.selection.coversOnly()) {
        toolbar = std::make_unique<CoverBarView>(model.toolbar, nullptr);
    } else {
        toolbar = std::make_unique<AreaToolbarView>(model.toolbar, model.options, nullptr);
    }
    return content(std::make_unique<SelectionView>(
        model.selection, std::move(still), keys_, std::move(toolbar),
        std::make_unique<PickBarView>(model.toolbar, !model.selection.windowsOnly(), nullptr),
        model.isFrozen));
}

std::unique_ptr<OverlayContent> PanelContents::screenChoice(ScreenChoice& model) {
    return content(std::make_unique<ScreenChoiceView>(model));
}

}  // namespace lumicrate::views
