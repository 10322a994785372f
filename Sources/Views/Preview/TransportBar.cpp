// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Preview/TransportBar.h"

#include "Views/Overlays/BarButton.h"
#include "Views/Overlays/OverlayStyle.h"
#include "Views/Preview/TimeSlider.h"
#include "Views/Widgets/QtText.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QRegularExpression>
#include <cmath>
#include <cstdint>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr int volumeWidth = 70;

QString rateTitle(double rate) {
    return QString::number(rate) + QStringLiteral("×");
}

QLabel* timeLabel(QWidget* parent, Qt::Alignment alignment) {
    auto* label = new QLabel(parent);
    label->setFont(overlay::controlFont(label->font()));
    label->setAlignment(alignment | Qt::AlignVCenter);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, overlay::control::text);
    label->setPalette(palette);
    return label;
}

/// Wide enough for every time of the recording, so that nothing moves while it plays.
void reserveWidth(QLabel& label, double duration) {
    QString widest = qtText(formatElapsed(duration));
    widest.replace(QRegularExpression(QStringLiteral("[0-9]")), QStringLiteral("0"));
    label.setMinimumWidth(label.fontMetrics().horizontalAdvance(widest));
}

}  // namespace

TransportBar::TransportBar(PlayerModel& player, std::function<void()> toggleFullScreen, QWidget* parent)
    : QWidget(parent), player_(player) {
    setAccessibleRole(*this, QAccessible::ToolBar);
    namespace control = overlay::control;
    // Time runs from left to right in players of all languages.
    setLayoutDirection(Qt::LeftToRight);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(control::barPadding, control::barPadding, control::barPadding,
                            control::barPadding);
    row->setSpacing(control::gap);
    play_ = addButton("play.fill", localizedText("Play"), [this] { player_.togglePlay(); });
    elapsed_ = timeLabel(this, Qt::AlignRight);
    row->addWidget(elapsed_);
    position_ = new TimeSlider(
        [this](double share, TimeSlider::Drag drag) { scrub(share, drag == TimeSlider::Drag::moving); },
        this);
    position_->setAccessibleName(localizedText("Position"));
    row->addWidget(position_, 1);
    duration_ = timeLabel(this, Qt::AlignLeft);
    row->addWidget(duration_);
    speed_ = addButton("", localizedText("Playback Speed"), [this] { openSpeeds(); });
    speed_->setWidestOf({rateTitle(1.25)});
    mute_ = addButton("speaker.wave.2.fill", localizedText("Mute"),
                      [this] { player_.setMuted(!*player_.muted); });
    volume_ = new TimeSlider([this](double share, TimeSlider::Drag) { player_.setVolume(share); }, this);
    volume_->setAccessibleName(localizedText("Volume"));
    volume_->setFixedWidth(volumeWidth);
    volume_->setKeyStep(0.05);
    volume_->setDescription(100, [](double value) { return QStringLiteral("%1%").arg(std::lround(value)); });
    row->addWidget(volume_);
    addButton("rectangle.inset.filled", localizedText("Full Screen"), std::move(toggleFullScreen));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    subscriptions_.push_back(player.observe([this] { showState(); }));
    // The values are still the old ones when an observer is called.
    subscriptions_.push_back(
        player.volume.observe([this](double volume) { showSound(volume, *player_.muted); }));
    subscriptions_.push_back(player.muted.observe([this](bool muted) { showSound(*player_.volume, muted); }));
    subscriptions_.push_back(player.rate.observe([this](double rate) { showRate(rate); }));
    showRate(*player.rate);
    showSound(*player.volume, *player.muted);
    showState();
}

BarButton* TransportBar::addButton(const char* symbol, const QString& name, std::function<void()> act) {
    auto* button = new BarButton(BarButton::Look::plain, this);
    button->setSymbol(symbol);
    button->setHelp(name.toStdString());
    connect(button, &QAbstractButton::clicked, this, [act = std::move(act)] { act(); });
    layout()->addWidget(button);
    return button;
}

void TransportBar::openSpeeds() {
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    for (const double rate : PlayerModel::rates) {
        QAction* action = menu->addAction(rateTitle(rate), this, [this, rate] { player_.setRate(rate); });
        action->setCheckable(true);
        action->setChecked(rate == *player_.rate);
    }
    menu->popup(speed_->mapToGlobal(QPoint(0, -menu->sizeHint().height())));
}

void TransportBar::showRate(double rate) {
    speed_->setText(rateTitle(rate));
    speed_->setAccessibleDescription(speed_->text());
}

void TransportBar::showState() {
    const AVPlayer::State& state = player_.state();
    play_->setSymbol(state.isPlaying ? "pause.fill" : "play.fill");
    play_->setHelp(state.isPlaying ? localized("Pause") : localized("Play"));
    elapsed_->setText(qtText(formatElapsed(state.time)));
    duration_->setText(qtText(formatElapsed(state.duration)));
    reserveWidth(*elapsed_, state.duration);
    position_->setDescription(state.duration, [](double seconds) { return qtText(formatElapsed(seconds)); });
    position_->setValue(state.duration > 0 ? state.time / state.duration : 0);
    setEnabled(state.status == AVPlayer::Status::ready);
}

void TransportBar::showSound(double volume, bool muted) {
    const bool isSilent = muted || volume == 0;
    mute_->setSymbol(isSilent ? "speaker.slash.fill" : "speaker.wave.2.fill");
    mute_->setHelp(muted ? localized("Unmute") : localized("Mute"));
    volume_->setValue(isSilent ? 0 : volume);
}

/// Coarse while the knob moves, exact where it is released; playing goes on from there.
void TransportBar::scrub(double share, bool moving) {
    if (moving && player_.isPlaying()) {
        playsOn_ = true;
        player_.pause();
    }
    player_.seek(CMTime::fromSeconds(share * player_.state().duration),
                 moving ? AVPlayer::Seek::coarse : AVPlayer::Seek::exact);
    if (!moving && std::exchange(playsOn_, false)) player_.play();
}

bool TransportBar::isInUse() const {
    return position_->isDragged() || volume_->isDragged() || underMouse() ||
           isAncestorOf(QApplication::focusWidget());
}

void TransportBar::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    overlay::paintPlate(painter, rect(), overlay::control::barCorner, true);
}

}  // namespace lumicrate::views
