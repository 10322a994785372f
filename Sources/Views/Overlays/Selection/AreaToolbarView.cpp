// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/Selection/AreaToolbarView.h"

#include "Views/Overlays/BarButton.h"
#include "Views/Overlays/Selection/RecordOptionsBarView.h"
#include "Views/Overlays/Selection/SegmentedPicker.h"
#include "Views/Overlays/Selection/SizeField.h"
#include "Views/Widgets/QtText.h"

#include <QHBoxLayout>
#include <functional>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr int area = 0;
constexpr int windowOnly = 1;

/// Queued, because the action may end the selection and with it the button whose event this is.
void onClick(const BarButton& button, QWidget& bar, std::function<void()> action) {
    QObject::connect(&button, &QAbstractButton::clicked, &bar, std::move(action), Qt::QueuedConnection);
}

}  // namespace

AreaToolbarView::AreaToolbarView(AreaToolbarModel& model, RecordOptionsBar& options, QWidget* parent)
    : SelectionBar(parent), model_(model) {
    setAccessibleName(localizedText("Selection"));
    addRecordPicker();
    addAspect();
    addDivider();
    addField(AreaToolbarModel::Side::width, localizedText("Width"), localizedText("W"));
    addField(AreaToolbarModel::Side::height, localizedText("Height"), localizedText("H"));
    addDivider();
    row().addWidget(new RecordOptionsBarView(options, this));
    addDivider();
    addActions();
}

void AreaToolbarView::addRecordPicker() {
    record_ = new SegmentedPicker(localizedText("Record"), this);
    record_->addSegment(localizedText("Area"));
    record_->addSegment(localizedText("Window only"));
    record_->setHelp(area, AreaToolbarModel::areaHelp());
    record_->setOnChosen([this](int chosen) { model_.windowOnly = chosen == windowOnly; });
    row().addWidget(record_);
    recordDivider_ = addDivider();
    const auto showChoice = [this](bool only) { record_->setChosen(only ? windowOnly : area); };
    showChoice(*model_.windowOnly);
    showWindow(*model_.windowTitle);
    subscriptions_.push_back(model_.windowOnly.observe(showChoice));
    subscriptions_.push_back(
        model_.windowTitle.observe([this](const std::optional<std::string>& title) { showWindow(title); }));
}

void AreaToolbarView::showWindow(const std::optional<std::string>& title) {
    record_->setVisible(title.has_value());
    recordDivider_->setVisible(title.has_value());
    if (title) record_->setHelp(windowOnly, AreaToolbarModel::windowHelp(*title));
}

void AreaToolbarView::addAspect() {
    aspect_ = new BarButton(BarButton::Look::field, this);
    aspect_->setObjectName(QStringLiteral("aspect"));
    aspect_->setSymbol("aspectratio");
    aspect_->setHelp(localized("Aspect"));
    QStringList labels;
    for (const AspectPreset each : allCases<AspectPreset>())
        labels << qtText(AreaToolbarModel::label(each));
    aspect_->setWidestOf(labels);
    aspect_->setMenu([this] { return model_.aspectMenu(); });
    row().addWidget(aspect_);
    showAspect(*model_.aspect);
    subscriptions_.push_back(model_.aspect.observe([this](AspectPreset preset) { showAspect(preset); }));
}

void AreaToolbarView::showAspect(AspectPreset preset) {
    aspect_->setText(qtText(AreaToolbarModel::label(preset)));
    aspect_->setAccessibleDescription(aspect_->text());
}

void AreaToolbarView::addField(AreaToolbarModel::Side side, const QString& name, const QString& mark) {
    auto* const field =
        new SizeField(name, mark,
                      {[this, side](const std::string& typed) { model_.commit(side, typed); },
                       [this, side](const std::string& typed, int by) { model_.step(side, typed, by); }},
                      this);
    row().addWidget(field);
    field->setValue(*model_.pixels(side));
    subscriptions_.push_back(model_.pixels(side).observe([field](int pixels) { field->setValue(pixels); }));
}

void AreaToolbarView::addActions() {
    auto* const cancel = new BarButton(BarButton::Look::plain, this);
    cancel->setObjectName(QStringLiteral("cancel"));
    cancel->setSymbol("xmark");
    cancel->setHelp(localized("Cancel (Esc)"));
    auto* const confirm = new BarButton(BarButton::Look::prominent, this);
    confirm->setObjectName(QStringLiteral("confirm"));
    confirm->setSymbol("record.circle.fill");
    confirm->setText(qtText(model_.confirmTitle));
    confirm->setAccessibleName(confirm->text());
    onClick(*cancel, *this, [this] { model_.onCancel(); });
    onClick(*confirm, *this, [this] { model_.onConfirm(); });
    row().addWidget(cancel);
    row().addWidget(confirm);
}

PickBarView::PickBarView(AreaToolbarModel& model, bool offersFullScreen, QWidget* parent)
    : SelectionBar(parent) {
    setAccessibleName(localizedText("Selection"));
    const auto addButton = [this](const char* name, const QString& label) {
        auto* const button = new BarButton(BarButton::Look::plain, this);
        button->setObjectName(QLatin1String(name));
        button->setText(label);
        button->setAccessibleName(label);
        button->setPressedByReturn(true);
        row().addWidget(button);
        return button;
    };
    if (offersFullScreen) {
        BarButton* const full = addButton("fullScreen", localizedText("Full Screen"));
        full->setSymbol("rectangle.inset.filled");
        full->setToolTip(localizedText("Select the whole screen (F)"));
        onClick(*full, *this, [&model] { model.onFullScreen(); });
        addDivider();
    }
    onClick(*addButton("cancel", localizedText("Cancel")), *this, [&model] { model.onCancel(); });
}

}  // namespace lumicrate::views
