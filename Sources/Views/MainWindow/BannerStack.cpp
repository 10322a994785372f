// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/MainWindow/BannerStack.h"

#include "Views/Widgets/FlatButton.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"

#include <QAccessible>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QStyle>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

namespace lumicrate::views {

namespace {

using Banner = MessageBanners::Banner;

class BannerView final : public QWidget {
 public:
    BannerView(const Banner& banner, QWidget* parent) : QWidget(parent), kind_(banner.kind) {
        auto* layout = new QHBoxLayout(this);
        const int besideSymbol = measure::symbol + 3 * measure::gap - 4;
        layout->setContentsMargins(isRightToLeft() ? 4 : besideSymbol, 4, isRightToLeft() ? besideSymbol : 4,
                                   4);
        auto* text = new QLabel(qtText(banner.text), this);
        text->setWordWrap(true);
        text->setTextFormat(Qt::PlainText);
        text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        text->setAccessibleName(qtText(banner.text));
        layout->addWidget(text, 1);
        close_ = new FlatButton(FlatButton::Role::plain, this);
        close_->setSymbol("xmark");
        close_->setHelp(localized("Dismiss"));
        layout->addWidget(close_, 0, Qt::AlignTop);
        setAccessibleName(qtText(banner.text));
    }
    FlatButton& closeButton() { return *close_; }

 protected:
    void paintEvent(QPaintEvent*) override {
        const ThemeColors theme = ThemeColors::of(*this);
        const bool error = kind_ == Banner::Kind::error;
        const QColor tone = error ? theme.warning : theme.accent;
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(faded(tone, 0.45));
        painter.setBrush(faded(tone, 0.13));
        const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
        painter.drawRoundedRect(frame, measure::corner, measure::corner);
        const int top = std::min(height() / 2, close_->geometry().center().y()) - measure::symbol / 2;
        const QRect square(measure::gap + 2, top, measure::symbol, measure::symbol);
        paintSymbol(painter, QStyle::visualRect(layoutDirection(), rect(), square),
                    error ? "exclamationmark.triangle.fill" : "info.circle", tone);
    }

 private:
    Banner::Kind kind_;
    FlatButton* close_;
};

}  // namespace

BannerStack::BannerStack(MessageBanners& messages, QWidget* parent)
    : QWidget(parent), messages_(messages), layout_(new QVBoxLayout(this)) {
    layout_->setContentsMargins(0, 0, 0, 0);
    layout_->setSpacing(measure::gap);
    subscription_ = messages.banners.observe([this](const auto& coming) { show(coming); });
    show(*messages.banners);
}

void BannerStack::show(const std::vector<Banner>& banners) {
    std::vector<std::pair<Banner, QWidget*>> next;
    for (const Banner& banner : banners) {
        const auto known = std::find_if(shown_.begin(), shown_.end(),
                                        [&banner](const auto& shown) { return shown.first == banner; });
        if (known != shown_.end()) {
            next.push_back(*known);
            shown_.erase(known);
            continue;
        }
        auto* view = new BannerView(banner, this);
        layout_->insertWidget(static_cast<int>(next.size()), view);
        connect(&view->closeButton(), &QPushButton::clicked, this,
                [this, id = banner.id] { messages_.dismiss(id); });
        next.emplace_back(banner, view);
        QAccessibleEvent announcement(view, QAccessible::Alert);
        QAccessible::updateAccessibility(&announcement);
    }
    for (const auto& [banner, view] : shown_) {
        // Deleted later: its own button may be calling.
        view->hide();
        layout_->removeWidget(view);
        view->deleteLater();
    }
    shown_ = std::move(next);
    setVisible(!shown_.empty());
}

}  // namespace lumicrate::views
