#include "Views/Overlays/ControlBarView.h"

#include "Views/Overlays/BarButton.h"
#include "Views/Overlays/OverlayColors.h"
#include "Views/Overlays/Plate.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Theme.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QHBoxLayout>
#include <QPainter>
#include <QScreen>
#include <algorithm>
#include <functional>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr QMargins padding(14, 6, 10, 6);
constexpr int elapsedWidth = 66;
constexpr int elapsedSize = 15;
constexpr int tipSize = 12;
constexpr double tipPadding = 8;
constexpr double tipHeight = 24;
constexpr double tipGap = 6;
/// Room for shadow and tip.
constexpr QMargins room(24, 34, 24, 34);
constexpr double corner = 14;
constexpr double tipCorner = 6;
constexpr double shadowDepth = 20;
constexpr double stopSide = 13;
constexpr double stopCorner = 2.5;
constexpr double symbolOpacity = 0.85;

QFont tipFont(QFont font) {
    font.setPixelSize(tipSize);
    return font;
}

void paintShadow(QPainter& painter, const QRectF& around) {
    // Many faint layers add up to a soft edge: close to each other near the bar, and apart further out.
    constexpr int layers = 16;
    constexpr double layerOpacity = 0.014;
    constexpr double drop = 3;
    painter.setPen(Qt::NoPen);
    painter.setBrush(overlay::black(layerOpacity));
    for (int layer = 1; layer <= layers; ++layer) {
        const double part = double(layer) / layers;
        const double depth = shadowDepth * part * part;
        painter.drawRoundedRect(around.adjusted(-depth, drop - depth, depth, drop + depth), corner + depth,
                                corner + depth);
    }
}

void paintPlate(QPainter& painter, const QRectF& plate, double radius, bool translucent) {
    if (translucent) return paintTranslucentPlate(painter, plate, radius);
    paintOpaquePlate(painter, plate, radius);
}

void paintStop(QPainter& painter, const QRectF& square) {
    QRectF body(0, 0, stopSide, stopSide);
    body.moveCenter(square.center());
    painter.setPen(Qt::NoPen);
    painter.setBrush(overlay::red);
    painter.drawRoundedRect(body, stopCorner, stopCorner);
}

}  // namespace

/// Digits of one width in a place of one width.
class ControlBarView::Elapsed final : public QWidget {
 public:
    explicit Elapsed(QWidget* parent) : QWidget(parent) {
        setFixedWidth(elapsedWidth);
        QFont digits = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        digits.setPixelSize(elapsedSize);
        digits.setWeight(QFont::Medium);
        setFont(digits);
    }
    void setText(const QString& text) {
        if (text == text_) return;
        text_ = text;
        setAccessibleName(localizedText("Elapsed time") + u' ' + text);
        update();
    }

 protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        // Ten hours have a digit more than there is room for.
        QFont font = this->font();
        const double width = QFontMetricsF(font).horizontalAdvance(text_);
        if (width > elapsedWidth) font.setPixelSize(static_cast<int>(elapsedSize * elapsedWidth / width));
        painter.setFont(font);
        painter.setPen(Qt::white);
        painter.drawText(rect(), Qt::AlignLeft | Qt::AlignVCenter, text_);
    }

 private:
    QString text_;
};

ControlBarView::ControlBarView(ControlBarModel& model)
    : level_([this] { microphone_->update(); }), elapsed_(new Elapsed(this)) {
    setAccessibleName(localizedText("Recording controls"));
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(overhang() + padding);
    row->setSpacing(measure::gap);
    row->addWidget(elapsed_);
    divider_ = new QWidget(this);
    divider_->setFixedSize(1, measure::symbol);
    row->addWidget(divider_);
    microphone_ = addButton("microphone", [&model] { model.toggleMicrophoneMute(); });
    microphone_->setIconPainter(
        [this](QPainter& painter, const QRectF& square) { level_.paint(painter, square); });
    pause_ = addButton("pause", [&model] { model.togglePause(); });
    stop_ = addButton("stop", [&model] { model.stop(); });
    stop_->setIconPainter(paintStop);
    subscription_ = model.content.observe([this](const ControlBarModel::Content& content) { show(content); });
    show(*model.content);
}

BarButton* ControlBarView::addButton(const char* name, std::function<void()> action) {
    auto* const button = new BarButton({}, this);
    button->setObjectName(QLatin1String(name));
    button->setOnTip([this, button](bool shown) { showTip(button, shown); });
    // Not within the button's own event: what it does may be the end of the bar.
    connect(
        button, &QAbstractButton::clicked, this, [action = std::move(action)] { action(); },
        Qt::QueuedConnection);
    layout()->addWidget(button);
    return button;
}

void ControlBarView::show(const ControlBarModel::Content& content) {
    const QString tip = tipped_ ? tipped_->help() : QString();
    elapsed_->setText(qtText(content.elapsed));
    microphone_->setVisible(content.showsMicrophone);
    microphone_->setEnabled(content.canMute);
    microphone_->setHelp(content.microphoneHelp);
    level_.setMuted(content.muted);
    level_.setLevel(content.level);
    pause_->setEnabled(content.canPause);
    pause_->setHelp(content.pauseHelp);
    if (showsPaused_ != content.paused) {
        showsPaused_ = content.paused;
        pause_->setIconPainter(barSymbol(content.paused ? "play.fill" : "pause.fill", symbolOpacity));
    }
    stop_->setEnabled(content.canStop);
    stop_->setHelp(content.stopHelp);
    if (tipped_ && tipped_->help() != tip) reshaped();
}

QMargins ControlBarView::overhang() const {
    return room;
}

QPainterPath ControlBarView::silhouette() const {
    QPainterPath path;
    path.addRoundedRect(frameInside(), corner, corner);
    if (tipped_) path.addRoundedRect(tipRect(), tipCorner, tipCorner);
    return path;
}

void ControlBarView::showTip(const BarButton* of, bool shown) {
    const BarButton* const now = shown ? of : nullptr;
    if (!shown && tipped_ != of) return;
    if (std::exchange(tipped_, now) != now) reshaped();
}

/// Above the bar, or below where there is no screen above.
QRectF ControlBarView::tipRect() const {
    const QFontMetricsF metrics(tipFont(font()));
    const double wide = metrics.horizontalAdvance(tipped_->help()) + 2 * tipPadding;
    const double left =
        std::clamp(tipped_->geometry().center().x() + 0.5 - wide / 2, 1.0, std::max(1.0, width() - wide - 1));
    const QRect bar = frameInside();
    const bool hasRoom = mapToGlobal(QPoint(0, 0)).y() >= screen()->geometry().top();
    const double top = hasRoom ? bar.top() - tipGap - tipHeight : bar.bottom() + 1 + tipGap;
    return {left, top, wide, tipHeight};
}

void ControlBarView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRectF bar = frameInside();
    painter.setRenderHint(QPainter::Antialiasing, isComposited());
    if (isComposited()) paintShadow(painter, bar);
    paintPlate(painter, bar, corner, isComposited());
    painter.fillRect(divider_->geometry(), overlay::white(0.15));
    if (!tipped_) return;
    paintPlate(painter, tipRect(), tipCorner, isComposited());
    painter.setFont(tipFont(font()));
    painter.setPen(Qt::white);
    painter.drawText(tipRect(), Qt::AlignCenter, tipped_->help());
}

}  // namespace lumicrate::views
