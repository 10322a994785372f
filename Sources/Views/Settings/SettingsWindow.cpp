// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Settings/SettingsWindow.h"

#include "Views/Settings/SettingsPage.h"
#include "Views/Shell/MessageParts.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QIcon>
#include <QListWidget>
#include <QPainter>
#include <QScreen>
#include <QStackedWidget>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

namespace lumicrate::views {

namespace {

/// A symbol and a name per line; the current line has a rounded background.
class SidebarDelegate final : public QStyledItemDelegate {
 public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        const ThemeColors colors = ThemeColors::of(*option.widget);
        const bool chosen = option.state.testFlag(QStyle::State_Selected);
        const bool focused = option.state.testFlag(QStyle::State_HasFocus);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(Qt::NoPen);
        painter->setBrush(chosen && focused ? colors.selection
                          : chosen || option.state.testFlag(QStyle::State_MouseOver)
                              ? colors.cardHover
                              : QColor(Qt::transparent));
        const QRect line = option.rect.adjusted(0, 1, 0, -1);
        painter->drawRoundedRect(line, measure::corner - 2, measure::corner - 2);

        QRect symbolSquare(0, 0, measure::symbol, measure::symbol);
        const int inset = measure::gap;
        const bool mirrored = option.direction == Qt::RightToLeft;
        symbolSquare.moveCenter(line.center());
        if (mirrored) {
            symbolSquare.moveRight(line.right() - inset);
        } else {
            symbolSquare.moveLeft(line.left() + inset);
        }
        index.data(Qt::DecorationRole)
            .value<QIcon>()
            .paint(painter, symbolSquare, Qt::AlignCenter,
                   chosen && focused ? QIcon::Selected : QIcon::Normal);

        const int beside = inset + measure::symbol + measure::gap;
        painter->setPen(
            option.palette.color(chosen && focused ? QPalette::HighlightedText : QPalette::WindowText));
        painter->setFont(option.font);
        painter->drawText(line.adjusted(mirrored ? inset : beside, 0, mirrored ? -beside : -inset, 0),
                          // Where writing begins: mirrored by the painter.
                          Qt::AlignVCenter | Qt::AlignLeft, index.data().toString());
        painter->restore();
    }

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        const int text = option.fontMetrics.horizontalAdvance(index.data().toString());
        return {text + measure::symbol + 4 * measure::gap,
                qMax(option.fontMetrics.height(), measure::symbol) + 2 * measure::gap};
    }
};

}  // namespace

SettingsWindow::SettingsWindow(std::unique_ptr<SettingsModel> model)
    : model_(std::move(model)),
      content_(std::make_unique<QWidget>()),
      sidebar_(new QListWidget),
      pages_(new QStackedWidget) {
    prepareWindow(*this, localizedText("Lumicrate Settings"));
    for (const SettingsModel::Page page : SettingsModel::pages)
        pages_->addWidget(new SettingsPage(*model_, page));
    makeSidebar();

    auto* columns = new QHBoxLayout(content_.get());
    columns->setContentsMargins(measure::gap, 0, 0, 0);
    columns->setSpacing(0);
    auto* side = new QVBoxLayout;
    side->setContentsMargins(0, measure::margin, 0, measure::margin);
    side->addWidget(sidebar_);
    columns->addLayout(side);
    columns->addWidget(pages_, 1);
    auto* whole = new QHBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(content_.get());
    sidebar_->setFocus();
    // On a small screen the pages scroll.
    resize(sizeHint().boundedTo(screen()->availableSize() * 0.9));
}

SettingsWindow::~SettingsWindow() = default;

void SettingsWindow::makeSidebar() {
    sidebar_->setAccessibleName(localizedText("Pages of the settings"));
    sidebar_->setItemDelegate(new SidebarDelegate(sidebar_));
    sidebar_->setFrameShape(QFrame::NoFrame);
    sidebar_->setMouseTracking(true);
    sidebar_->viewport()->setAutoFillBackground(false);
    sidebar_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    for (const SettingsModel::Page page : SettingsModel::pages)
        new QListWidgetItem(symbol(SettingsModel::symbolName(page)), qtText(SettingsModel::title(page)),
                            sidebar_);
    connect(sidebar_, &QListWidget::currentRowChanged, pages_, &QStackedWidget::setCurrentIndex);
    sidebar_->setFixedWidth(sidebar_->sizeHintForColumn(0) + 2 * measure::gap);
    sidebar_->setCurrentRow(0);
}

void SettingsWindow::showPage(SettingsModel::Page page) {
    sidebar_->setCurrentRow(static_cast<int>(page));
}

void SettingsWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) model_->loginItem.refresh();
}

}  // namespace lumicrate::views
