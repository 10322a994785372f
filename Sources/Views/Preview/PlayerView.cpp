// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Preview/PlayerView.h"

#include "Views/Preview/TransportBar.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"

#include <QApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr std::chrono::milliseconds barTime(2500);
constexpr int barMargin = 12;
constexpr int widestBar = 720;
constexpr int soundSymbol = 40;

}  // namespace

PlayerView::PlayerView(PlayerModel& player, std::function<void()> toggleFullScreen, QWidget* parent)
    : QWidget(parent),
      player_(player),
      toggleFullScreen_(std::move(toggleFullScreen)),
      bar_(new TransportBar(player, toggleFullScreen_, this)),
      idle_(new QTimer(this)) {
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    idle_->setSingleShot(true);
    connect(idle_, &QTimer::timeout, this, [this] { hideBarWhenIdle(); });
    subscriptions_.push_back(player.observe([this] { followPlayer(); }));
    followPlayer();
}

void PlayerView::setVideoSize(QSize size) {
    if (size == videoSize_) return;
    videoSize_ = size;
    requestPictures();
    update();
}

void PlayerView::setView(std::function<Rect(double seconds)> view) {
    view_ = std::move(view);
    update();
}

QRect PlayerView::pictureRect() const {
    if (videoSize_.isEmpty()) return {};
    const QSize size = videoSize_.scaled(this->size(), Qt::KeepAspectRatio);
    return {QPoint((width() - size.width()) / 2, (height() - size.height()) / 2), size};
}

/// Each file has a player of its own.
void PlayerView::followPlayer() {
    if (player_.player() != shown_) {
        shown_ = player_.player();
        pictures_ = shown_ ? shown_->observePictures([this] { update(pictureRect()); }) : Subscription();
        requestPictures();
        update();
    }
    // The view moves also while the picture stands still.
    if (view_) update(pictureRect());
    const bool isPlaying = player_.isPlaying();
    if (std::exchange(wasPlaying_, isPlaying) != isPlaying) showBar();
}

void PlayerView::requestPictures() {
    if (!shown_) return;
    const QSize pixels = isVisible() ? pictureRect().size() * devicePixelRatioF() : QSize(0, 0);
    shown_->setPictureSize(std::max(pixels.width(), 0), std::max(pixels.height(), 0));
}

void PlayerView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), pictureBackdrop);
    const RenderedPicture picture = shown_ ? shown_->picture() : RenderedPicture();
    if (picture.pixels && !videoSize_.isEmpty()) {
        const QImage image(picture.pixels.get(), picture.width, picture.height,
                           static_cast<qsizetype>(picture.bytesPerRow), QImage::Format_RGB32);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        const Rect view = view_ ? view_(player_.state().time) : Rect{0, 0, 1, 1};
        const Rect part{view.x * picture.width, view.y * picture.height, view.width * picture.width,
                        view.height * picture.height};
        painter.drawImage(QRectF(pictureRect()), image, {part.x, part.y, part.width, part.height});
    } else if (videoSize_.isEmpty() && player_.state().status == AVPlayer::Status::ready) {
        QRect square(0, 0, soundSymbol, soundSymbol);
        square.moveCenter(QPoint(width() / 2, bar_->y() / 2));
        if (bar_->y() >= soundSymbol) paintSymbol(painter, square, "waveform", QColor(255, 255, 255, 150));
    }
}

void PlayerView::resizeEvent(QResizeEvent*) {
    const int barWidth = std::min(width() - 2 * barMargin, widestBar);
    const int barHeight = bar_->sizeHint().height();
    bar_->setGeometry((width() - barWidth) / 2, height() - barHeight - barMargin, barWidth, barHeight);
    requestPictures();
}

void PlayerView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) player_.togglePlay();
}

/// Takes back what the first click did.
void PlayerView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    player_.togglePlay();
    toggleFullScreen_();
}

void PlayerView::mouseMoveEvent(QMouseEvent*) {
    showBar();
}

void PlayerView::leaveEvent(QEvent*) {
    idle_->start(barTime / 4);
}

void PlayerView::hideEvent(QHideEvent*) {
    requestPictures();
}

void PlayerView::showEvent(QShowEvent*) {
    requestPictures();
    showBar();
}

void PlayerView::showBar() {
    unsetCursor();
    bar_->show();
    idle_->start(barTime);
}

void PlayerView::hideBarWhenIdle() {
    const bool isUntouched = !player_.isPlaying() && player_.state().time == 0;
    const bool isNeeded = isUntouched || bar_->isInUse() || videoSize_.isEmpty() ||
                          QApplication::activePopupWidget() != nullptr;
    if (isNeeded) return idle_->start(barTime);
    bar_->hide();
    setCursor(Qt::BlankCursor);
}

}  // namespace lumicrate::views
