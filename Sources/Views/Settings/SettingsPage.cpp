#include "Views/Settings/SettingsPage.h"

#include "Views/Widgets/Card.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QVBoxLayout>

namespace lumicrate::views {

namespace {

/// In line with the text on the cards.
TintedLabel* indented(TintedLabel* label) {
    label->setContentsMargins(measure::margin, 0, measure::margin, 0);
    return label;
}

}  // namespace

SettingsPage::SettingsPage(const QString& title) {
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFocusPolicy(Qt::NoFocus);
    setAccessibleName(title);
    viewport()->setAutoFillBackground(false);

    auto* inside = new QWidget;
    content_ = new QVBoxLayout(inside);
    content_->setContentsMargins(measure::margin, measure::margin, measure::margin, measure::margin);
    content_->setSpacing(measure::margin);
    content_->addStretch(1);
    setWidget(inside);
    inside->setAutoFillBackground(false);
}

QSize SettingsPage::sizeHint() const {
    const int width = fontMetrics().averageCharWidth() * 76;
    return {width, widget()->layout()->totalHeightForWidth(width)};
}

Card& SettingsPage::addCard() {
    auto* card = new Card;
    add(card);
    return *card;
}

void SettingsPage::addNote(const QString& text) {
    add(indented(new TintedLabel(&ThemeColors::secondary, text)));
}

TintedLabel& SettingsPage::addWarning() {
    TintedLabel* warning = indented(new TintedLabel(&ThemeColors::warning));
    add(warning);
    warning->hide();
    return *warning;
}

void SettingsPage::add(QWidget* widget) {
    content_->insertWidget(content_->count() - 1, widget);
}

}  // namespace lumicrate::views
