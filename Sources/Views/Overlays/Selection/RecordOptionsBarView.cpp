// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/Selection/RecordOptionsBarView.h"

#include "Views/Overlays/BarButton.h"
#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/QtText.h"

#include <QHBoxLayout>

namespace lumicrate::views {

/// A button that turns one recording option on and off. It shows the stored preference: a click requests the
/// change, and the button follows when the change has been stored.
class OptionToggle final : public BarButton {
 public:
    OptionToggle(RecordOptionsBar& bar, const RecordOptionsBar::Toggle& toggle, QWidget* parent)
        : BarButton(Look::plain, parent) {
        setCheckable(true);
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

 protected:
    void nextCheckState() override {}
    QColor symbolColor() const override {
        constexpr double offOpacity = 0.42;
        return isChecked() ? QColor(Qt::white) : overlay::white(offOpacity);
    }
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

}  // namespace lumicrate::views
