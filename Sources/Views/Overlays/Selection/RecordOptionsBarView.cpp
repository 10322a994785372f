#include "Views/Overlays/Selection/RecordOptionsBarView.h"

#include "Views/Overlays/Selection/OptionToggle.h"
#include "Views/Overlays/Selection/PlateButton.h"
#include "Views/Overlays/Selection/PlateParts.h"
#include "Views/Widgets/QtText.h"

#include <QHBoxLayout>

namespace lumicrate::views {

RecordOptionsBarView::RecordOptionsBarView(RecordOptionsBar& bar, QWidget* parent) : QWidget(parent) {
    setAccessibleName(localizedText("Recording options"));
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    video_ = new PlateButton(PlateButton::Look::field, this);
    video_->setObjectName(QStringLiteral("video"));
    video_->setHelp(RecordOptionsBar::videoHelp());
    video_->setMenu([&bar] { return bar.videoMenu(); });
    QStringList summaries;
    for (const std::string& each : RecordOptionsBar::summaries())
        summaries << qtText(each);
    video_->setWidestOf(summaries);
    row->addWidget(video_);
    for (const RecordOptionsBar::Toggle& each : bar.content->toggles) {
        row->addSpacing(plate::controlGap);
        toggles_.push_back(new OptionToggle(bar, each, this));
        row->addWidget(toggles_.back());
        if (each.key != preference::captureMicrophone) continue;
        auto* const opener = new PlateButton(PlateButton::Look::narrow, this);
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
