// SPDX-License-Identifier: GPL-3.0-or-later
// PreviewWindow: the window of one recording: player, trimming strip and tools, and the keys for all of them.
#pragma once

#include "Lumicrate/Preview/PreviewModel.h"
#include "Support/Published.h"
#include "Views/Shell/DocumentWindow.h"

#include <QPoint>
#include <optional>
#include <vector>

namespace lumicrate::views {

class PlayerView;
class PreviewTools;
class TintedLabel;
class TrimStrip;
class ZoomStrip;

/// Keys: Space plays and pauses; the arrows move by a picture, with Shift by a second; Home and End; T trims,
/// I and O set the ends, Return saves, Esc leaves trimming or full screen or cancels long work; F is full
/// screen, M mutes; G makes a GIF; Z shows the zooms, where Del removes the selected one and Return saves;
/// Ctrl+C copies the file, F2 renames, Delete moves to the Trash, Ctrl+W closes.
class PreviewWindow final : public DocumentWindow {
 public:
    /// `model` must outlive it.
    explicit PreviewWindow(PreviewModel& model);

 protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    /// The Tab key also reaches the bar over the picture, which may have disappeared.
    bool focusNextPrevChild(bool next) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

 private:
    void followModel();
    void showURL(const std::filesystem::path& url);
    void showZoom(const std::optional<ZoomBlocks::State>& zoom);
    void makeRoomForStrip(bool isShown);
    void toggleFullScreen();
    bool handleKey(const QKeyEvent& event);
    bool handleTrimKey(int key);
    bool handleZoomKey(int key);
    void copyFile() const;

    PreviewModel& model_;
    PlayerView* player_;
    TrimStrip* strip_;
    ZoomStrip* zoomStrip_;
    TintedLabel* error_;
    PreviewTools* tools_;
    QPoint pressed_;
    int grown_ = 0;  ///< points that the strip has added to the height
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
