// SPDX-License-Identifier: GPL-3.0-or-later
// PreviewTools: the row below a preview's picture: facts about the file, its tools, and long work.
#pragma once

#include "Lumicrate/Preview/PreviewModel.h"
#include "Support/Published.h"

#include <QWidget>
#include <cstdint>
#include <functional>
#include <vector>

class QLabel;
class QMenu;
class QProgressBar;
class QStackedLayout;

namespace lumicrate::views {

class FlatButton;
class TintedLabel;

/// Four faces: the tools, a long operation with its progress and Cancel, trimming with Save and Cancel, and
/// ZoomTools.
class PreviewTools final : public QWidget {
 public:
    /// `model` must outlive it.
    PreviewTools(PreviewModel& model, QWidget* parent);

    QSize sizeHint() const override;
    /// Offers the sizes of a GIF, above its button.
    void openGIFMenu();

 private:
    enum Page { tools, busy, trimming, zooming };

    QWidget* makeTools();
    QWidget* makeBusy();
    QWidget* makeTrimming();
    /// `key` is the shortcut that the window handles, for the tool tip; may be empty.
    FlatButton* addTool(QWidget* parent, const char* symbol, const QString& name, const char* key,
                        std::function<void()> act);
    void openShareMenu();
    void addAnimations(QMenu& menu, AnimationEncoding::Format format);
    void addSizes(QMenu& menu, const std::function<void(std::uint64_t)>& choose);
    void openRename();
    void choosePage(bool isBusy, bool isTrimming, bool isZooming);

    PreviewModel& model_;
    QStackedLayout* pages_;
    TintedLabel* info_ = nullptr;
    FlatButton* trim_ = nullptr;
    FlatButton* zoom_ = nullptr;
    FlatButton* rename_ = nullptr;
    FlatButton* gif_ = nullptr;
    FlatButton* share_ = nullptr;
    QLabel* label_ = nullptr;
    QProgressBar* progress_ = nullptr;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
