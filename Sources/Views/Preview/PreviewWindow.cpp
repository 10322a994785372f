// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Preview/PreviewWindow.h"

#include "Views/Preview/PlayerView.h"
#include "Views/Preview/PreviewTools.h"
#include "Views/Preview/TrimStrip.h"
#include "Views/Preview/ZoomStrip.h"
#include "Views/Widgets/AlertSheet.h"
#include "Views/Widgets/Pictures.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"
#include "Views/Widgets/TintedLabel.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDrag>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPixmap>
#include <QUrl>
#include <QVBoxLayout>
#include <memory>
#include <utility>

namespace lumicrate::views {

namespace {

std::unique_ptr<QMimeData> mimeDataOf(const std::filesystem::path& url) {
    auto data = std::make_unique<QMimeData>();
    data->setUrls({QUrl::fromLocalFile(QString::fromStdString(url.string()))});
    return data;
}

}  // namespace

PreviewWindow::PreviewWindow(PreviewModel& model) : model_(model) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    player_ = new PlayerView(
        model.playerView, [this] { toggleFullScreen(); }, this);
    column->addWidget(player_, 1);
    strip_ = new TrimStrip(model.playerView, model.strip, this);
    column->addWidget(strip_);
    zoomStrip_ = new ZoomStrip(model.zoom, model.playerView, model.strip, this);
    column->addWidget(zoomStrip_);
    error_ = new TintedLabel(&ThemeColors::warning);
    error_->setContentsMargins(measure::margin, measure::gap, measure::margin, 0);
    error_->hide();
    column->addWidget(error_);
    tools_ = new PreviewTools(model, this);
    column->addWidget(tools_);
    model.showSheet = [this](const NSAlert& alert, std::function<void(NSAlertResponse)> answered) {
        showAlertSheet(this, alert, std::move(answered));
    };
    followModel();
}

void PreviewWindow::followModel() {
    subscriptions_.push_back(model_.url.observe([this](const auto& url) { showURL(url); }));
    subscriptions_.push_back(model_.errorMessage.observe([this](const std::optional<std::string>& message) {
        error_->showMessage(qtText(message.value_or("")));
    }));
    subscriptions_.push_back(model_.playerView.error.observe([this](const std::string& message) {
        if (!*model_.errorMessage) error_->showMessage(qtText(message));
    }));
    subscriptions_.push_back(model_.videoSize.observe([this](const std::optional<Size>& size) {
        player_->setVideoSize(size ? QSizeF(size->width, size->height).toSize() : QSize());
    }));
    subscriptions_.push_back(model_.playerView.trim.observe(
        [this](const std::optional<TrimRange>& range) { makeRoomForStrip(range.has_value()); }));
    subscriptions_.push_back(model_.zoom.state.observe([this](const auto& zoom) { showZoom(zoom); }));
    showURL(*model_.url);
}

/// The picture is shown as the zoomed copy will show it.
void PreviewWindow::showZoom(const std::optional<ZoomBlocks::State>& zoom) {
    makeRoomForStrip(zoom.has_value());
    if (!zoom) return player_->setView(nullptr);
    player_->setView([&blocks = model_.zoom](double seconds) { return blocks.plan().viewAt(seconds); });
}

/// A window that is as low as that of a recording of sound grows while the strip is there.
void PreviewWindow::makeRoomForStrip(bool isShown) {
    const int strip = strip_->sizeHint().height();
    if (isShown && grown_ == 0 && player_->height() - strip < player_->minimumSizeHint().height()) {
        grown_ = strip;
        resize(width(), height() + grown_);
    } else if (!isShown && grown_ != 0) {
        resize(width(), height() - std::exchange(grown_, 0));
    }
}

void PreviewWindow::showURL(const std::filesystem::path& url) {
    setWindowTitle(qtText(url.filename().string()));
    setWindowFilePath(QString::fromStdString(url.string()));
}

void PreviewWindow::closeEvent(QCloseEvent* event) {
    model_.playerView.pause();
    DocumentWindow::closeEvent(event);
}

void PreviewWindow::toggleFullScreen() {
    setWindowState(windowState() ^ Qt::WindowFullScreen);
    const bool isEditing = model_.playerView.trim->has_value() || model_.zoom.isEditing();
    tools_->setVisible(!isFullScreen() || isEditing);
}

void PreviewWindow::keyPressEvent(QKeyEvent* event) {
    if (!handleKey(*event)) QWidget::keyPressEvent(event);
}

bool PreviewWindow::focusNextPrevChild(bool next) {
    player_->showBar();
    return DocumentWindow::focusNextPrevChild(next);
}

bool PreviewWindow::handleTrimKey(int key) {
    PlayerModel& player = model_.playerView;
    if (!*player.trim) return false;
    switch (key) {
        case Qt::Key_I:
            player.setTrimStart(player.time());
            return true;
        case Qt::Key_O:
            // The picture that is shown is the last one to keep.
            player.setTrimEnd(player.pictures().pictureEnd(player.time()));
            return true;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            player.endTrimming(true);
            return true;
        case Qt::Key_Escape:
            player.endTrimming(false);
            return true;
        default:
            return false;
    }
}

bool PreviewWindow::handleZoomKey(int key) {
    if (!model_.zoom.isEditing() || *model_.busy) return false;
    switch (key) {
        case Qt::Key_Delete:
            // Never the recording, also without a selected block.
            if (const auto selected = (*model_.zoom.state)->selected) model_.zoom.remove(*selected);
            return true;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            model_.saveZoomedCopy();
            return true;
        case Qt::Key_Escape:
            model_.zoom.end();
            return true;
        default:
            return false;
    }
}

bool PreviewWindow::handleKey(const QKeyEvent& event) {
    PlayerModel& player = model_.playerView;
    if (event.matches(QKeySequence::Copy)) return copyFile(), true;
    if (event.matches(QKeySequence::Close)) return close(), true;
    if (handleTrimKey(event.key()) || handleZoomKey(event.key())) return true;
    const bool bySecond = (event.modifiers() & Qt::ShiftModifier) != 0;
    switch (event.key()) {
        case Qt::Key_Space:
            if (!event.isAutoRepeat()) player.togglePlay();
            return true;
        case Qt::Key_Left:
            bySecond ? player.jump(-1) : player.step(-1);
            return true;
        case Qt::Key_Right:
            bySecond ? player.jump(1) : player.step(1);
            return true;
        case Qt::Key_Home:
            player.seek(CMTime::zero());
            return true;
        case Qt::Key_End:
            player.seek(player.pictures().duration());
            return true;
        case Qt::Key_F:
            toggleFullScreen();
            return true;
        case Qt::Key_Escape:
            if (*model_.busy) return model_.cancel(), true;
            if (!isFullScreen()) return false;
            toggleFullScreen();
            return true;
        case Qt::Key_M:
            player.setMuted(!*player.muted);
            return true;
        case Qt::Key_T:
            model_.trim();
            return true;
        case Qt::Key_Z:
            model_.beginZoom();
            return true;
        case Qt::Key_G:
            if (!*model_.busy && !*player.trim && *model_.videoSize) tools_->openGIFMenu();
            return true;
        case Qt::Key_F2:
            model_.beginRename();
            return true;
        case Qt::Key_Delete:
            model_.moveToTrash();
            return true;
        default:
            return false;
    }
}

void PreviewWindow::copyFile() const {
    QGuiApplication::clipboard()->setMimeData(mimeDataOf(*model_.url).release());
}

void PreviewWindow::mousePressEvent(QMouseEvent* event) {
    pressed_ = event->pos();
}

/// The file can be dragged out by the row of tools.
void PreviewWindow::mouseMoveEvent(QMouseEvent* event) {
    if ((event->buttons() & Qt::LeftButton) == 0 || !tools_->geometry().contains(pressed_)) return;
    if ((event->pos() - pressed_).manhattanLength() < QApplication::startDragDistance()) return;
    // Qt deletes the drag when it is over.
    auto* drag = new QDrag(this);
    drag->setMimeData(mimeDataOf(*model_.url).release());
    if (!model_.strip.pictures->empty())
        drag->setPixmap(QPixmap::fromImage(sharedImage(*model_.strip.pictures->front())));
    drag->exec(Qt::CopyAction);
}

}  // namespace lumicrate::views
