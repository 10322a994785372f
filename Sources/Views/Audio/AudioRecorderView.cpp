// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Audio/AudioRecorderView.h"

#include "Views/Audio/LevelMeter.h"
#include "Views/Overlays/BarButton.h"
#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"

#include <QCloseEvent>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QStackedLayout>
#include <QVBoxLayout>

namespace lumicrate::views {

namespace {

using Content = AudioRecorderModel::Content;

constexpr double groundLevel = 0.11;
/// The left one is narrow for a button without a visible edge. Its symbol is aligned with the other rows.
constexpr QMargins margins(20 - overlay::control::padding, 12, 20, 14);
constexpr QMargins rowMargins(overlay::control::padding, 0, 0, 0);
constexpr int rowGap = 10;
constexpr int buttonGap = 12;
constexpr int clockSize = 36;
constexpr int messageSize = 12;
/// Leaves room for the rest of its row.
constexpr int maxNameWidth = 130;

QFont clockFont() {
    return overlay::font(clockSize, QFont::Normal, QFontDatabase::systemFont(QFontDatabase::FixedFont));
}

QPalette darkPalette(QPalette palette) {
    palette.setColor(QPalette::Window, QColor::fromRgbF(groundLevel, groundLevel, groundLevel));
    palette.setColor(QPalette::WindowText, overlay::control::text);
    return palette;
}

void setTextColor(QLabel& label, const QColor& color) {
    QPalette palette = label.palette();
    palette.setColor(QPalette::WindowText, color);
    label.setPalette(palette);
}

}  // namespace

/// A ring around a red circle, which becomes a square while recording.
class AudioRecorderView::MainButton final : public SymbolButton {
 public:
    explicit MainButton(QWidget* parent) : SymbolButton(parent) {
        setObjectName(QStringLiteral("main"));
        setFocusPolicy(Qt::TabFocus);
        setFixedSize(side, side);
    }

    void showContent(const Content& content) {
        action_ = content.mainButton;
        setEnabled(content.mainEnabled);
        setToolTip(qtText(content.mainHelp));
        setAccessibleName(qtText(content.mainTitle));
        setAccessibleDescription(qtText(content.mainHelp));
        update();
    }

 protected:
    /// The window handles the keys that press it.
    void keyPressEvent(QKeyEvent* event) override { event->ignore(); }
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        if (!isEnabled()) painter.setOpacity(disabledOpacity);
        painter.setPen(QPen(hasFocus() ? overlay::control::focus : overlay::control::text, ring));
        painter.setBrush(Qt::NoBrush);
        const QRectF outer = QRectF(rect()).adjusted(ring, ring, -ring, -ring);
        painter.drawEllipse(outer);
        const QColor red = isDown()      ? overlay::red.darker(120)
                           : isHovered() ? overlay::red.lighter(112)
                                         : overlay::red;
        paintAction(painter, outer, red);
    }

 private:
    static constexpr int side = 48;
    static constexpr double ring = 2.5;
    static constexpr double ringGap = 4;
    static constexpr double squareSide = 18;
    static constexpr double squareCorner = 4;
    static constexpr double crossSide = 20;
    static constexpr double disabledOpacity = 0.35;

    void paintAction(QPainter& painter, const QRectF& outer, const QColor& red) const {
        const auto centered = [&outer](double length) {
            return QRectF(outer.center() - QPointF(length, length) / 2, QSizeF(length, length));
        };
        switch (action_) {
            case AudioRecorderModel::MainButton::record:
                overlay::paintGround(painter, centered(outer.width() - 2 * ringGap), red, outer.width());
                return;
            case AudioRecorderModel::MainButton::stop:
                overlay::paintGround(painter, centered(squareSide), red, squareCorner);
                return;
            case AudioRecorderModel::MainButton::cancel:
                paintSymbol(painter, centered(crossSide), "xmark", overlay::control::text);
                return;
        }
    }

    AudioRecorderModel::MainButton action_ = AudioRecorderModel::MainButton::record;
};

AudioRecorderView::AudioRecorderView(AudioRecorderWindow& owner) : owner_(owner) {
    setWindowTitle(localizedText("Audio Recorder"));
    setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                   Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint);
    setPalette(darkPalette(palette()));
    setAutoFillBackground(true);
    setFont(overlay::controlFont(font()));
    requestDarkTitleBar();
    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(margins);
    column->setSpacing(rowGap);
    addClock(*column);
    addMeter(*column);
    addChoices(*column);
    AudioRecorderModel& model = owner_.model();
    subscriptions_.push_back(model.content.observe([this](const Content& content) { showContent(content); }));
    subscriptions_.push_back(model.meterLevel.observe([this](float level) { meter_->setLevel(level); }));
    showContent(*model.content);
}

void AudioRecorderView::addClock(QVBoxLayout& column) {
    AudioRecorderModel& model = owner_.model();
    auto* const row = new QHBoxLayout;
    row->setSpacing(buttonGap);
    row->setContentsMargins(rowMargins);
    clock_ = new QLabel(this);
    clock_->setObjectName(QStringLiteral("clock"));
    clock_->setFont(clockFont());
    row->addWidget(clock_, 1);
    pause_ = new BarButton(BarButton::Look::plain, this);
    pause_->setObjectName(QStringLiteral("pause"));
    connect(pause_, &QAbstractButton::clicked, this, [&model] { model.togglePause(); });
    row->addWidget(pause_);
    main_ = new MainButton(this);
    connect(main_, &QAbstractButton::clicked, this, [&model] { model.press(); });
    row->addWidget(main_);
    column.addLayout(row);
}

void AudioRecorderView::addMeter(QVBoxLayout& column) {
    auto* const row = new QHBoxLayout;
    row->setContentsMargins(rowMargins);
    meterOrMessage_ = new QStackedLayout;
    meter_ = new LevelMeter(LevelMeter::Look::scale, this);
    meter_->setAccessibleName(localizedText("Microphone level"));
    meterOrMessage_->addWidget(meter_);
    message_ = new QLabel(this);
    message_->setObjectName(QStringLiteral("message"));
    message_->setFont(overlay::font(messageSize, QFont::Normal, font()));
    message_->setWordWrap(true);
    message_->setTextFormat(Qt::PlainText);
    message_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
    meterOrMessage_->addWidget(message_);
    row->addLayout(meterOrMessage_);
    column.addLayout(row);
}

void AudioRecorderView::addChoices(QVBoxLayout& column) {
    AudioRecorderModel& model = owner_.model();
    auto* const row = new QHBoxLayout;
    row->setSpacing(overlay::control::gap);
    systemAudio_ = new BarToggle(this);
    systemAudio_->setObjectName(QStringLiteral("systemAudio"));
    systemAudio_->setText(localizedText("System Sound"));
    systemAudio_->setAccessibleName(localizedText("System sound"));
    connect(systemAudio_, &QAbstractButton::clicked, this, [&model] { model.toggleSystemAudio(); });
    row->addWidget(systemAudio_);
    row->addStretch();
    microphone_ = new BarToggle(this);
    microphone_->setObjectName(QStringLiteral("microphone"));
    microphone_->setAccessibleName(localizedText("Microphone"));
    connect(microphone_, &QAbstractButton::clicked, this, [&model] { model.toggleMicrophone(); });
    row->addWidget(microphone_);
    microphones_ = new BarButton(BarButton::Look::field, this);
    microphones_->setObjectName(QStringLiteral("microphones"));
    microphones_->setAccessibleName(localizedText("Choose a microphone"));
    microphones_->setMenu([&model] { return model.microphoneMenu(); });
    row->addWidget(microphones_);
    column.addLayout(row);
}

void AudioRecorderView::setContentSize(Size size) {
    setFixedSize(QSizeF(size.width, size.height).toSize());
}

void AudioRecorderView::showContent(const Content& content) {
    clock_->setText(qtText(content.timerText));
    setTextColor(*clock_, content.paused ? overlay::control::faintText : overlay::control::text);
    pause_->setVisible(content.canPause);
    pause_->setSymbol(content.paused ? "play.fill" : "pause.fill");
    pause_->setHelp(content.pauseHelp);
    main_->showContent(content);
    meter_->setLive(content.metersMicrophone);
    showMessage(content);
    const auto show = [](BarToggle& toggle, const AudioRecorderModel::Toggle& state, const char* on,
                         const char* off) {
        toggle.setChecked(state.on);
        toggle.setEnabled(state.enabled);
        toggle.setSymbol(state.on ? on : off);
        toggle.setToolTip(qtText(state.help));
    };
    show(*systemAudio_, content.systemAudio, "speaker.wave.2.fill", "speaker.slash.fill");
    show(*microphone_, content.microphone, "mic.fill", "mic.slash.fill");
    const QString name = qtText(content.microphoneName);
    microphones_->setText(microphones_->fontMetrics().elidedText(name, Qt::ElideRight, maxNameWidth));
    microphones_->setToolTip(name);
    microphones_->setAccessibleDescription(name);
    microphones_->setEnabled(content.canChooseMicrophone);
    microphones_->updateGeometry();
}

void AudioRecorderView::showMessage(const Content& content) {
    const QString text = qtText(content.message);
    message_->setText(text);
    message_->setToolTip(text);
    setTextColor(*message_, content.isError ? overlay::yellow : overlay::control::faintText);
    meterOrMessage_->setCurrentWidget(text.isEmpty() ? static_cast<QWidget*>(meter_) : message_);
}

void AudioRecorderView::closeEvent(QCloseEvent* event) {
    if (!owner_.windowShouldClose()) return event->ignore();
    DocumentWindow::closeEvent(event);
}

void AudioRecorderView::keyPressEvent(QKeyEvent* event) {
    AudioRecorderModel& model = owner_.model();
    if (event->isAutoRepeat()) return;
    if (event->matches(QKeySequence::Close)) {
        close();
        return;
    }
    if (event->modifiers() & ~Qt::KeyboardModifiers(Qt::KeypadModifier)) return;
    switch (event->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
        case Qt::Key_Space:
            return model.press();
        case Qt::Key_M:
            return model.toggleMicrophone();
        case Qt::Key_Escape:
            return model.cancelCountdown();
        default:
            QWidget::keyPressEvent(event);
    }
}

bool AudioRecorderView::event(QEvent* event) {
    const bool handled = DocumentWindow::event(event);
    const QEvent::Type type = event->type();
    if (type == QEvent::Show || type == QEvent::Hide || type == QEvent::WindowStateChange)
        owner_.setVisible(isVisible() && !isMinimized());
    return handled;
}

}  // namespace lumicrate::views
