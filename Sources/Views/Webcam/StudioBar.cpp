// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Webcam/StudioBar.h"

#include "Views/Overlays/BarButton.h"
#include "Views/Widgets/QtText.h"

#include <QFontMetrics>
#include <QHBoxLayout>
#include <utility>

namespace lumicrate::views {

namespace {

/// So that the bar fits into the smallest window.
constexpr int maxNameWidth = 170;

}  // namespace

/// It shows what the studio records.
class StudioBar::MicrophoneToggle final : public BarToggle {
 public:
    explicit MicrophoneToggle(QWidget* parent) : BarToggle(parent) {
        setAccessibleName(localizedText("Microphone"));
    }

    void setOn(bool on, const std::string& name) {
        setSymbol(on ? "mic.fill" : "mic.slash.fill");
        setChecked(on);
        setToolTip(on ? qtText(localized("Microphone: {}", {name}))
                      : localizedText("The microphone is not recorded"));
    }
};

StudioBar::StudioBar(WebcamStudio& studio, std::function<void()> cancel, QWidget* parent)
    : SelectionBar(parent), studio_(studio) {
    setAccessibleName(localizedText("Webcam"));
    addCamera();
    addMicrophone();
    divider_ = addDivider();
    addActions(std::move(cancel));
}

void StudioBar::addCamera() {
    camera_ = new BarButton(BarButton::Look::field, this);
    camera_->setObjectName(QStringLiteral("camera"));
    camera_->setSymbol("video.fill");
    camera_->setAccessibleName(localizedText("Camera"));
    camera_->setMenu([this] { return studio_.cameraMenu(); });
    row().addWidget(camera_);
}

void StudioBar::addMicrophone() {
    microphone_ = new MicrophoneToggle(this);
    microphone_->setObjectName(QStringLiteral("microphone"));
    connect(microphone_, &QAbstractButton::clicked, this, [this] {
        const WebcamStudio::Content& content = *studio_.content;
        studio_.setMicrophone(!content.microphoneOn, content.microphoneID);
    });
    microphones_ = new BarButton(BarButton::Look::narrow, this);
    microphones_->setObjectName(QStringLiteral("microphones"));
    microphones_->setHelp(localized("Choose a microphone"));
    microphones_->setMenu([this] { return studio_.microphoneMenu(); });
    row().addWidget(microphone_);
    row().addWidget(microphones_);
}

void StudioBar::addActions(std::function<void()> cancel) {
    auto* const cancelButton = new BarButton(BarButton::Look::plain, this);
    cancelButton->setObjectName(QStringLiteral("cancel"));
    cancelButton->setText(localizedText("Cancel"));
    cancelButton->setToolTip(localizedText("Cancel (Esc)"));
    connect(cancelButton, &QAbstractButton::clicked, this, std::move(cancel));
    record_ = new BarButton(BarButton::Look::prominent, this);
    record_->setObjectName(QStringLiteral("record"));
    record_->setSymbol("record.circle.fill");
    record_->setText(localizedText("Record"));
    record_->setToolTip(localizedText("Record (Return)"));
    connect(record_, &QAbstractButton::clicked, this, [this] { studio_.confirm(); });
    row().addWidget(cancelButton);
    row().addWidget(record_);
}

void StudioBar::showContent(const WebcamStudio::Content& content) {
    const bool isFraming = content.phase == WebcamStudio::Phase::framing;
    const QString name = qtText(content.cameraName());
    camera_->setText(QFontMetrics(font()).elidedText(name, Qt::ElideRight, maxNameWidth));
    camera_->setToolTip(name);
    camera_->setAccessibleDescription(name);
    camera_->setEnabled(!content.cameras.empty());
    camera_->updateGeometry();
    microphone_->setOn(content.microphoneOn, content.microphoneName());
    record_->setEnabled(content.canRecord);
    for (QWidget* each :
         std::initializer_list<QWidget*>{camera_, microphone_, microphones_, divider_, record_})
        each->setVisible(isFraming);
    setVisible(content.phase != WebcamStudio::Phase::recording);
}

}  // namespace lumicrate::views
