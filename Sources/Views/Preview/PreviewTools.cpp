// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Preview/PreviewTools.h"

#include "Lumicrate/Preview/PreviewWindows.h"
#include "Views/Preview/ZoomTools.h"
#include "Views/Widgets/FlatButton.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedLayout>
#include <QVBoxLayout>
#include <cmath>
#include <string>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr int toolsHeight = PreviewWindows::toolsHeight;
constexpr int renameWidth = 300;

/// A small window below a button, closed by Esc and by a click elsewhere.
QFrame* makePopover(QWidget& button) {
    auto* popover = new QFrame(&button, Qt::Popup);
    popover->setAttribute(Qt::WA_DeleteOnClose);
    popover->setFrameShape(QFrame::StyledPanel);
    return popover;
}

QHBoxLayout* pageRow(QWidget* page) {
    auto* row = new QHBoxLayout(page);
    row->setContentsMargins(measure::margin, 0, measure::gap, 0);
    row->setSpacing(measure::gap);
    return row;
}

}  // namespace

PreviewTools::PreviewTools(PreviewModel& model, QWidget* parent)
    : QWidget(parent), model_(model), pages_(new QStackedLayout(this)) {
    setFixedHeight(toolsHeight);
    pages_->addWidget(makeTools());
    pages_->addWidget(makeBusy());
    pages_->addWidget(makeTrimming());
    pages_->addWidget(new ZoomTools(model, this));
    subscriptions_.push_back(model.info.observe([this](const std::string& info) {
        info_->setText(qtText(info));
        info_->setToolTip(qtText(info + "\n" + localized("Drag this to put the file into another window.")));
    }));
    subscriptions_.push_back(model.busy.observe([this](const std::optional<std::string>& label) {
        if (label) label_->setText(qtText(*label));
        choosePage(label.has_value(), model_.playerView.trim->has_value(), model_.zoom.isEditing());
    }));
    subscriptions_.push_back(model.progress.observe([this](double share) {
        progress_->setValue(static_cast<int>(std::lround(share * progress_->maximum())));
    }));
    subscriptions_.push_back(model.playerView.trim.observe([this](const auto& range) {
        choosePage(model_.busy->has_value(), range.has_value(), model_.zoom.isEditing());
    }));
    subscriptions_.push_back(model.zoom.state.observe([this](const auto& state) {
        choosePage(model_.busy->has_value(), model_.playerView.trim->has_value(), state.has_value());
    }));
    subscriptions_.push_back(
        model.playerView.observe([this] { trim_->setEnabled(model_.playerView.canTrim()); }));
    const auto enable = [this](const std::optional<Size>& size) {
        zoom_->setEnabled(size.has_value());
        gif_->setEnabled(size.has_value());
    };
    subscriptions_.push_back(model.videoSize.observe(enable));
    trim_->setEnabled(model.playerView.canTrim());
    enable(*model.videoSize);
    subscriptions_.push_back(model.renaming.observe([this](bool renaming) {
        if (renaming) openRename();
    }));
}

QSize PreviewTools::sizeHint() const {
    return {520, toolsHeight};
}

FlatButton* PreviewTools::addTool(QWidget* parent, const char* symbol, const QString& name, const char* key,
                                  std::function<void()> act) {
    auto* button = new FlatButton(FlatButton::Role::plain, parent);
    button->setSymbol(symbol);
    button->setAccessibleName(name);
    const QString shortcut = QKeySequence(key).toString(QKeySequence::NativeText);
    button->setToolTip(shortcut.isEmpty() ? name : QStringLiteral("%1 (%2)").arg(name, shortcut));
    connect(button, &QAbstractButton::clicked, this, [act = std::move(act)] { act(); });
    parent->layout()->addWidget(button);
    return button;
}

QWidget* PreviewTools::makeTools() {
    auto* page = new QWidget(this);
    auto* row = pageRow(page);
    row->setSpacing(2);
    info_ = new TintedLabel(&ThemeColors::secondary, page);
    info_->setCursor(Qt::OpenHandCursor);
    info_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    row->addWidget(info_, 1);
    trim_ = addTool(page, "scissors", localizedText("Trim"), "T", [this] { model_.trim(); });
    zoom_ = addTool(page, "plus.magnifyingglass", localizedText("Zoom on Clicks"), "Z",
                    [this] { model_.beginZoom(); });
    rename_ = addTool(page, "pencil", localizedText("Rename"), "F2", [this] { model_.beginRename(); });
    gif_ = addTool(page, "film", localizedText("Make GIF"), "G", [this] { openGIFMenu(); });
    share_ =
        addTool(page, "paperplane", localizedText("Share a Small Copy"), "", [this] { openShareMenu(); });
    addTool(page, "arrow.up.forward.app", localizedText("Open in QuickTime Player"), "",
            [this] { model_.openInQuickTime(); });
    addTool(page, "folder", localizedText("Show in Folder"), "", [this] { model_.showInFolder(); });
    addTool(page, "trash", localizedText("Move to Trash"), "Del", [this] { model_.moveToTrash(); });
    return page;
}

QWidget* PreviewTools::makeBusy() {
    auto* page = new QWidget(this);
    auto* row = pageRow(page);
    label_ = new QLabel(page);
    row->addWidget(label_);
    progress_ = new QProgressBar(page);
    progress_->setRange(0, 1000);
    progress_->setTextVisible(false);
    row->addWidget(progress_, 1);
    auto* cancel = new QPushButton(localizedText("Cancel"), page);
    connect(cancel, &QPushButton::clicked, this, [this] { model_.cancel(); });
    row->addWidget(cancel);
    return page;
}

QWidget* PreviewTools::makeTrimming() {
    auto* page = new QWidget(this);
    auto* row = pageRow(page);
    auto* hint = new TintedLabel(&ThemeColors::secondary, page);
    hint->setText(localizedText("Drag the ends, or set them with I and O."));
    hint->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    row->addWidget(hint, 1);
    const auto add = [&](const QString& text, bool accept) {
        auto* button = new QPushButton(text, page);
        button->setFocusPolicy(Qt::TabFocus);
        // Return presses the focused button. Elsewhere it is a key of the window, which accepts.
        button->setAutoDefault(true);
        connect(button, &QPushButton::clicked, this,
                [this, accept] { model_.playerView.endTrimming(accept); });
        row->addWidget(button);
        return button;
    };
    add(localizedText("Cancel"), false);
    add(localizedText("Trim"), true)->setDefault(true);
    return page;
}

void PreviewTools::choosePage(bool isBusy, bool isTrimming, bool isZooming) {
    pages_->setCurrentIndex(isBusy ? busy : isTrimming ? trimming : isZooming ? zooming : tools);
}

void PreviewTools::openGIFMenu() {
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    addAnimations(*menu, AnimationEncoding::Format::gif);
    menu->addSeparator();
    addAnimations(*menu->addMenu(localizedText("Animated WebP")), AnimationEncoding::Format::webp);
    menu->popup(gif_->mapToGlobal(QPoint(0, -menu->sizeHint().height())));
}

void PreviewTools::openShareMenu() {
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    addSizes(*menu, [this](std::uint64_t size) { model_.shareSmallCopy(size); });
    if (*model_.hasData) {
        menu->addSeparator();
        QAction* const remove =
            menu->addAction(localizedText("Remove Data"), this, [this] { model_.removeData(); });
        remove->setToolTip(localizedText("Pointer, clicks and shown keys"));
        menu->setToolTipsVisible(true);
    }
    menu->popup(share_->mapToGlobal(QPoint(0, -menu->sizeHint().height())));
}

void PreviewTools::addAnimations(QMenu& menu, AnimationEncoding::Format format) {
    for (const PreviewModel::GIFChoice& choice : PreviewModel::gifChoices)
        menu.addAction(localizedText(choice.title), this, [this, format, width = choice.width] {
            model_.exportAnimation({format, width});
        });
    menu.addSeparator();
    addSizes(menu, [this, format](std::uint64_t size) {
        model_.exportAnimation({.format = format, .maxBytes = size});
    });
}

/// Offers the limits for the size of a file.
void PreviewTools::addSizes(QMenu& menu, const std::function<void(std::uint64_t)>& choose) {
    for (const std::uint64_t size : PreviewModel::sizeLimits)
        menu.addAction(qtText(localized("Below {} MB", {std::to_string(size / 1'000'000)})), this,
                       [choose, size] { choose(size); });
}

/// Return renames; Esc, Cancel and a click elsewhere leave the name as it is.
void PreviewTools::openRename() {
    QFrame* popover = makePopover(*rename_);
    auto* column = new QVBoxLayout(popover);
    auto* field = new QLineEdit(qtText(*model_.newName), popover);
    field->setAccessibleName(localizedText("Name"));
    field->setMinimumWidth(renameWidth);
    column->addWidget(field);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    auto* cancel = new QPushButton(localizedText("Cancel"), popover);
    auto* rename = new QPushButton(localizedText("Rename"), popover);
    rename->setDefault(true);
    for (QPushButton* const button : {cancel, rename})
        button->setAutoDefault(true);
    buttons->addWidget(cancel);
    buttons->addWidget(rename);
    column->addLayout(buttons);
    const auto commit = [this, popover, field] {
        model_.newName = field->text().toStdString();
        popover->close();
        model_.commitRename();
    };
    connect(field, &QLineEdit::returnPressed, this, commit);
    connect(rename, &QPushButton::clicked, this, commit);
    connect(cancel, &QPushButton::clicked, popover, &QWidget::close);
    connect(popover, &QObject::destroyed, this, [this] { model_.renaming = false; });
    popover->adjustSize();
    const int left = isRightToLeft() ? 0 : rename_->width() - popover->width();
    popover->move(rename_->mapToGlobal(QPoint(left, -popover->height() - measure::gap / 2)));
    popover->show();
    field->selectAll();
    field->setFocus();
}

}  // namespace lumicrate::views
