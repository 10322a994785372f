// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Settings/ShortcutFieldView.h"

#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QHideEvent>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

namespace lumicrate::views {

namespace {

constexpr int maxMessageWidth = 50;  ///< characters; longer messages wrap

}  // namespace

ShortcutFieldView::ShortcutFieldView(ShortcutField& field)
    : field_(field),
      button_(new QPushButton),
      restore_(new QToolButton),
      message_(new TintedLabel(&ThemeColors::warning)) {
    auto* lines = new QVBoxLayout(this);
    lines->setContentsMargins(0, 0, 0, 0);
    lines->setSpacing(2);
    auto* row = new QHBoxLayout;
    row->setSpacing(measure::gap / 2);
    row->addStretch();
    row->addWidget(button_);
    row->addWidget(restore_);
    lines->addLayout(row);
    lines->addWidget(message_);

    // Wide enough for every text, so that its width does not change.
    button_->setMinimumWidth(fontMetrics().horizontalAdvance(localizedText("Type shortcut…")) +
                             4 * measure::gap);
    restore_->setAutoRaise(true);
    restore_->setFocusPolicy(Qt::StrongFocus);
    restore_->setIcon(symbol("arrow.uturn.backward"));
    restore_->setIconSize({measure::symbol, measure::symbol});
    message_->setAlignment(Qt::AlignRight);
    message_->hide();
    setFocusProxy(button_);

    connect(button_, &QPushButton::clicked, this, [this] { field_.press(); });
    connect(restore_, &QToolButton::clicked, this, [this] { field_.restoreDefault(); });
    changes_ = field.content.observe([this](const ShortcutField::Content& content) { showContent(content); });
    showContent(*field.content);
}

void ShortcutFieldView::showContent(const ShortcutField::Content& content) {
    // The symbols of keys have one order in all languages.
    constexpr QChar leftToRightMark(0x200e);
    const QString label = qtText(content.label);
    button_->setText(isRightToLeft() ? leftToRightMark + label : label);
    button_->setToolTip(qtText(content.help));
    button_->setAccessibleName(qtText(lumicrate::label(field_.action()) + ": " + content.spelledOut));
    button_->setAccessibleDescription(qtText(content.help));
    restore_->setToolTip(qtText(content.restoreHelp));
    restore_->setAccessibleName(qtText(lumicrate::label(field_.action()) + ": " + content.restoreHelp));
    restore_->setEnabled(content.canRestore);
    const QString message = qtText(content.message);
    message_->setMinimumWidth(qMin(fontMetrics().horizontalAdvance(message) + measure::gap,
                                   fontMetrics().averageCharWidth() * maxMessageWidth));
    message_->showMessage(message);
    tint(content.tone);
}

void ShortcutFieldView::tint(ShortcutField::Tone tone) {
    if (tone == ShortcutField::Tone::primary) {
        button_->setPalette({});
        return;
    }
    const ThemeColors colors = ThemeColors::of(*this);
    QPalette palette = button_->palette();
    palette.setColor(QPalette::ButtonText,
                     tone == ShortcutField::Tone::accent ? colors.accent : colors.secondary);
    button_->setPalette(palette);
}

void ShortcutFieldView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) tint(field_.content->tone);
}

bool ShortcutFieldView::event(QEvent* event) {
    // While the field listens, the global shortcuts are off: turn them on again for other windows.
    if (event->type() == QEvent::WindowDeactivate && field_.isListening()) field_.stopListening();
    return QWidget::event(event);
}

void ShortcutFieldView::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    if (!event->spontaneous()) field_.stopListening();
}

}  // namespace lumicrate::views
