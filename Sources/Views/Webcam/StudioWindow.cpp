// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Webcam/StudioWindow.h"

#include "Views/Desktop/XcbConnection.h"
#include "Views/Overlays/OverlayStyle.h"
#include "Views/Webcam/StudioBar.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"

#include <QCloseEvent>
#include <QFontMetricsF>
#include <QImage>
#include <QKeyEvent>
#include <QPainter>
#include <QWindow>
#include <array>
#include <cstdint>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr int barMargin = 16;
constexpr double veilOpacity = 0.6;
constexpr int messageSize = 14;
constexpr int messageSymbol = 36;
constexpr int messageGap = 14;
constexpr double messageWidth = 0.75;  ///< of the window
constexpr int numberSize = 96;
constexpr double numberGround = 160;
constexpr double numberGroundOpacity = 0.5;
constexpr double recordingDot = 12;
constexpr double dotMargin = 14;
constexpr double dotEdge = 4;  ///< sets the dot off from the picture
constexpr std::uint32_t aspectWidth = 16;
constexpr std::uint32_t aspectHeight = 9;

/// Adds the proportions to the size hints that the toolkit has set; it offers no such hint.
void keepAspectRatio(xcb_window_t window) {
    using Hints = std::array<std::uint32_t, 18>;
    constexpr std::uint32_t hasAspect = 1U << 7;
    constexpr std::size_t firstAspect = 11;  // the minimum and the maximum, each as width and height
    xcb_connection_t* const x = xcbConnection();
    const auto cookie =
        xcb_get_property(x, 0, window, XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 0, Hints().size());
    const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(x, cookie, nullptr));
    Hints hints{};
    if (!reply || reply->format != 32 || reply->value_len != hints.size()) return;
    const auto* const values = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    std::copy_n(values, hints.size(), hints.begin());
    hints[0] |= hasAspect;
    for (const std::size_t at : {firstAspect, firstAspect + 2}) {
        hints.at(at) = aspectWidth;
        hints.at(at + 1) = aspectHeight;
    }
    xcb_change_property(x, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS,
                        32, hints.size(), hints.data());
}

}  // namespace

StudioWindow::StudioWindow(WebcamStudio& studio)
    : studio_(studio),
      bar_(new StudioBar(
          studio, [this] { close(); }, this)) {
    setWindowTitle(localizedText("Webcam"));
    setAttribute(Qt::WA_OpaquePaintEvent);
    subscription_ =
        studio.content.observe([this](const WebcamStudio::Content& content) { showContent(content); });
    studio.session().setOnPreview([this] { update(); });
    showContent(*studio.content);
}

StudioWindow::~StudioWindow() {
    studio_.session().setOnPreview({});
    studio_.session().setPreviewSize({});
}

void StudioWindow::closeEvent(QCloseEvent* event) {
    event->ignore();
    reportClose();
}

void StudioWindow::keyPressEvent(QKeyEvent* event) {
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    const bool isRecording = content_.phase == WebcamStudio::Phase::recording;
    if (isReturn && !event->isAutoRepeat()) {
        studio_.confirm();
    } else if (event->matches(QKeySequence::Close) || (event->key() == Qt::Key_Escape && !isRecording)) {
        close();
    } else {
        QWidget::keyPressEvent(event);
    }
}

void StudioWindow::showContent(const WebcamStudio::Content& content) {
    content_ = content;
    bar_->showContent(content);
    setAccessibleDescription(qtText(content.message));
    placeBar();
    update();
}

void StudioWindow::placeBar() {
    bar_->adjustSize();
    bar_->move((width() - bar_->width()) / 2, height() - bar_->height() - barMargin);
}

void StudioWindow::resizeEvent(QResizeEvent*) {
    placeBar();
    requestPictures();
}

void StudioWindow::showEvent(QShowEvent*) {
    requestPictures();
    // Later: the toolkit sets its own hints while it shows the window.
    QMetaObject::invokeMethod(
        this, [this] { tellWindowManager(); }, Qt::QueuedConnection);
}

void StudioWindow::hideEvent(QHideEvent*) {
    requestPictures();
}

bool StudioWindow::event(QEvent* event) {
    if (event->type() == QEvent::LayoutRequest) placeBar();
    if (event->type() == QEvent::WindowStateChange) requestPictures();
    return QWidget::event(event);
}

void StudioWindow::requestPictures() {
    const bool isSeen = isVisible() && !isMinimized();
    const QSize pixels = isSeen ? (QSizeF(size()) * devicePixelRatioF()).toSize() : QSize(0, 0);
    studio_.session().setPreviewSize({pixels.width(), pixels.height()});
}

void StudioWindow::tellWindowManager() {
    if (!xcbConnection() || !windowHandle()) return;
    const auto window = static_cast<xcb_window_t>(windowHandle()->winId());
    keepAspectRatio(window);
    requestDarkTitleBar();
    xcb_flush(xcbConnection());
}

void StudioWindow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    paintPicture(painter);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!content_.message.empty()) {
        paintMessage(painter, qtText(content_.message));
    } else if (!studio_.session().preview().pixels) {
        paintMessage(painter, localizedText("Starting the camera…"));
    }
    if (content_.countdown) paintCountdown(painter, *content_.countdown);
    if (content_.phase == WebcamStudio::Phase::recording) {
        const QRectF dot(dotMargin, dotMargin, recordingDot, recordingDot);
        const QRectF edge = dot.adjusted(-dotEdge, -dotEdge, dotEdge, dotEdge);
        overlay::paintGround(painter, edge, overlay::black(numberGroundOpacity), edge.width() / 2);
        overlay::paintGround(painter, dot, overlay::red, recordingDot / 2);
    }
}

void StudioWindow::paintPicture(QPainter& painter) const {
    const RenderedPicture picture = studio_.session().preview();
    if (!picture.pixels) return;
    const QImage image(picture.pixels.get(), picture.width, picture.height,
                       static_cast<qsizetype>(picture.bytesPerRow), QImage::Format_RGB32);
    QRectF place(QPointF(), QSizeF(image.size()).scaled(QSizeF(size()), Qt::KeepAspectRatioByExpanding));
    place.moveCenter(QRectF(rect()).center());
    painter.save();
    if (studio_.mirrored()) {
        painter.translate(width(), 0);
        painter.scale(-1, 1);
    }
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(place, image);
    painter.restore();
}

/// In the middle of the part above the bar.
void StudioWindow::paintMessage(QPainter& painter, const QString& message) const {
    painter.fillRect(rect(), overlay::black(veilOpacity));
    const QFont font = overlay::font(messageSize);
    const double textWidth = width() * messageWidth;
    const QRectF wanted = QFontMetricsF(font).boundingRect(QRectF(0, 0, textWidth, height()),
                                                           Qt::AlignHCenter | Qt::TextWordWrap, message);
    const bool isProblem = !content_.message.empty();
    const double symbol = isProblem ? messageSymbol + messageGap : 0;
    const double top = (bar_->y() - wanted.height() - symbol) / 2;
    if (isProblem) {
        paintSymbol(painter, QRectF((width() - messageSymbol) / 2.0, top, messageSymbol, messageSymbol),
                    "video.slash.fill", overlay::control::faintText);
    }
    painter.setFont(font);
    painter.setPen(overlay::control::text);
    painter.drawText(QRectF((width() - textWidth) / 2, top + symbol, textWidth, wanted.height() + 1),
                     Qt::AlignHCenter | Qt::TextWordWrap, message);
}

void StudioWindow::paintCountdown(QPainter& painter, int number) const {
    QRectF ground(0, 0, numberGround, numberGround);
    ground.moveCenter(QRectF(rect()).center());
    overlay::paintGround(painter, ground, overlay::black(numberGroundOpacity), numberGround / 2);
    const QFont font = overlay::font(numberSize, QFont::Bold);
    const QFontMetricsF metrics(font);
    const QString text = QString::number(number);
    // Digits have no descenders: they look centred by their cap height.
    const QPointF start(ground.center().x() - metrics.horizontalAdvance(text) / 2,
                        ground.center().y() + metrics.capHeight() / 2);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(start, text);
}

}  // namespace lumicrate::views
