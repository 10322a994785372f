// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/Selection/AreaToolbarView.h"

#include "Lumicrate/Overlays/Selection/RecordOptionsBar.h"
#include "Views/Overlays/BarButton.h"
#include "Views/Overlays/OverlayStyle.h"
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

/// A button that turns one recording option on and off. It shows the stored preference.
class OptionToggle final : public BarToggle {
 public:
    OptionToggle(RecordOptionsBar& bar, const RecordOptionsBar::Toggle& toggle, QWidget* parent)
        : BarToggle(parent) {
        setObjectName(qtText(toggle.key));
        setAccessibleName(qtText(toggle.name));
        connect(this, &QAbstractButton::clicked, this, [&bar, key = toggle.key] { bar.toggle(key); });
        setToggle(toggle);
    }

    void setToggle(const RecordOptionsBar::Toggle& toggle) {
        setSymbol(toggle.symbol);
        setToolTip(qtText(toggle.help));
        setChecked(toggle.isOn);
    }
};

/// A part of the toolbar: resolution, frame rate and the sources that are recorded along with the picture.
class RecordOptionsBarView final : public QWidget {
 public:
    RecordOptionsBarView(RecordOptionsBar& bar, QWidget* parent);

 private:
    void showContent(const RecordOptionsBar::Content& content);

    BarButton* video_;
    std::vector<OptionToggle*> toggles_;
    Subscription subscription_;
};

RecordOptionsBarView::RecordOptionsBarView(RecordOptionsBar& bar, QWidget* parent) : QWidget(parent) {
    setAccessibleName(localizedText("Recording options"));
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    video_ = new BarButton(BarButton::Look::field, this);
    video_->setObjectName(QStringLiteral("video"));
    video_->setHelp(RecordOptionsBar::videoHelp());
    video_->setMenu([&bar] { return bar.videoMenu(); });
    QStringList summaries;
    for (const std::string& each : RecordOptionsBar::summaries())
        summaries << qtText(each);
    video_->setWidestOf(summaries);
    row->addWidget(video_);
    for (const RecordOptionsBar::Toggle& each : bar.content->toggles) {
        row->addSpacing(overlay::control::gap);
        toggles_.push_back(new OptionToggle(bar, each, this));
        row->addWidget(toggles_.back());
        if (each.key != preference::captureMicrophone) continue;
        auto* const opener = new BarButton(BarButton::Look::narrow, this);
        opener->setObjectName(QStringLiteral("microphones"));
        opener->setHelp(RecordOptionsBar::microphoneMenuHelp());
        opener->setMenu([&bar] { return bar.microphoneMenu(); });
        row->addWidget(opener);
    }
    subscription_ =
        bar.content.observe([this](const RecordOptionsBar::Content& content) { showContent(content); });
    showContent(*bar.content);
}

void RecordOptionsBarView::showContent(const RecordOptionsBar::Content& content) {
    video_->setText(qtText(content.summary));
    video_->setAccessibleDescription(video_->text());
    for (std::size_t i = 0; i < toggles_.size(); ++i)
        toggles_[i]->setToggle(content.toggles[i]);
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
    addCover();
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

void AreaToolbarView::addCover() {
    auto* const cover = new BarToggle(this);
    cover->setObjectName(QStringLiteral("cover"));
    cover->setAccessibleName(localizedText("Cover"));
    cover->setSymbol("eye.slash");
    cover->setToolTip(localizedText("Cover parts of the picture (C)"));
    onClick(*cover, *this, [this] { model_.onCovering(!*model_.covering); });
    row().addSpacing(overlay::control::gap);
    row().addWidget(cover);
    cover->setChecked(*model_.covering);
    cover->setEnabled(!*model_.windowOnly);
    subscriptions_.push_back(model_.covering.observe([cover](bool is) { cover->setChecked(is); }));
    subscriptions_.push_back(model_.windowOnly.observe([cover](bool only) { cover->setEnabled(!only); }));
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

CoverBarView::CoverBarView(AreaToolbarModel& model, QWidget* parent) : SelectionBar(parent) {
    setAccessibleName(localizedText("Covers"));
    auto* const done = new BarButton(BarButton::Look::prominent, this);
    done->setObjectName(QStringLiteral("confirm"));
    done->setSymbol("checkmark");
    done->setText(qtText(model.confirmTitle));
    done->setAccessibleName(done->text());
    onClick(*done, *this, [&model] { model.onConfirm(); });
    row().addWidget(done);
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
