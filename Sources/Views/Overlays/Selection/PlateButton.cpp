#include "Views/Overlays/Selection/PlateButton.h"

#include "Views/Overlays/Selection/PlateMenu.h"
#include "Views/Overlays/Selection/PlateParts.h"
#include "Views/Widgets/Menus.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"

#include <QFontMetrics>
#include <QKeyEvent>
#include <QPainter>
#include <algorithm>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr int symbolGap = 6;
constexpr int chevronGap = 5;
constexpr int narrowPadding = 4;

}  // namespace

PlateButton::PlateButton(Look look, QWidget* parent) : QAbstractButton(parent), look_(look) {
    setFocusPolicy(Qt::TabFocus);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void PlateButton::setSymbol(std::string_view name) {
    if (symbol_ == name) return;
    symbol_ = name;
    updateGeometry();
    update();
}

void PlateButton::setHelp(const std::string& help) {
    setAccessibleName(qtText(help));
    setToolTip(accessibleName());
}

void PlateButton::setWidestOf(const QStringList& texts) {
    texts_ = texts;
    updateGeometry();
}

void PlateButton::setMenu(Items items) {
    items_ = std::move(items);
    menu_ = makeMenu(*this);
    updateGeometry();
    connect(this, &QAbstractButton::pressed, this, [this] { openMenu(); });
}

void PlateButton::openMenu() {
    fillMenu(*menu_, items_());
    setDown(true);
    popUp(*menu_, *this);
}

QFont PlateButton::textFont() const {
    return plate::font(font(), look_ == Look::prominent ? QFont::DemiBold : QFont::Normal);
}

int PlateButton::textWidth() const {
    const QFontMetrics metrics(textFont());
    int widest = text().isEmpty() ? 0 : metrics.horizontalAdvance(text());
    for (const QString& each : texts_)
        widest = std::max(widest, metrics.horizontalAdvance(each));
    return widest;
}

QSize PlateButton::sizeHint() const {
    if (look_ == Look::narrow) return {plate::chevron + 2 * narrowPadding, plate::controlHeight};
    const int text = textWidth();
    if (text == 0) return {plate::controlHeight, plate::controlHeight};
    const int before = symbol_.empty() ? 0 : measure::symbol + symbolGap;
    const int behind = menu_ ? chevronGap + plate::chevron : 0;
    return {2 * plate::controlPadding + before + text + behind, plate::controlHeight};
}

QColor PlateButton::symbolColor() const {
    if (look_ == Look::prominent) return Qt::white;
    return look_ == Look::narrow && !isHovered() && !isDown() ? plate::faintText : plate::text;
}

QColor PlateButton::groundColor() const {
    if (look_ == Look::prominent) {
        // White text is read on it, so it is a little darker than the colour of a dot.
        return overlay::red.darker(isDown() ? 135 : isHovered() ? 105 : 115);
    }
    if (isDown()) return plate::pressed;
    if (look_ == Look::field) return isHovered() ? plate::fieldHover : plate::field;
    return isHovered() ? plate::hover : QColor(Qt::transparent);
}

void PlateButton::paintParts(QPainter& painter) const {
    const double middle = height() / 2.0;
    const auto square = [middle](double left, double side) {
        return QRectF(left, middle - side / 2, side, side);
    };
    if (text().isEmpty()) {
        const double side = look_ == Look::narrow ? plate::chevron : measure::symbol;
        const char* const alone = look_ == Look::narrow ? "chevron.down" : symbol_.c_str();
        return paintSymbol(painter, square((width() - side) / 2, side), alone, symbolColor());
    }
    int x = plate::controlPadding;
    if (!symbol_.empty()) {
        paintSymbol(painter, square(x, measure::symbol), symbol_, symbolColor());
        x += measure::symbol + symbolGap;
    }
    painter.setFont(textFont());
    painter.setPen(look_ == Look::prominent ? QColor(Qt::white) : plate::text);
    painter.drawText(QRect(x, 0, textWidth() + 1, height()), Qt::AlignLeft | Qt::AlignVCenter, text());
    if (!menu_) return;
    paintSymbol(painter, square(width() - plate::controlPadding - plate::chevron, plate::chevron),
                "chevron.down", plate::faintText);
}

void PlateButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    plate::paintGround(painter, rect(), groundColor());
    paintParts(painter);
    if (hasFocus())
        plate::paintFocus(painter, rect(), look_ == Look::prominent ? QColor(Qt::white) : plate::focus);
}

void PlateButton::keyPressEvent(QKeyEvent* event) {
    const int key = event->key();
    const bool isReturn = key == Qt::Key_Return || key == Qt::Key_Enter;
    // On some desktops Return presses buttons, and arrows move among them. Here both belong to the selection.
    if (key == Qt::Key_Space || key == Qt::Key_Select) {
        QAbstractButton::keyPressEvent(event);
    } else if (isReturn && pressedByReturn_) {
        if (!event->isAutoRepeat()) click();
    } else if (key == Qt::Key_Down && menu_) {
        openMenu();
    } else {
        event->ignore();
    }
}

}  // namespace lumicrate::views
