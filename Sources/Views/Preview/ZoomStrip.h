// SPDX-License-Identifier: GPL-3.0-or-later
// ZoomStrip: the recording as a strip, with a block for each zoom.
#pragma once

#include "Lumicrate/Preview/ZoomBlocks.h"
#include "Support/Published.h"
#include "Views/Preview/RecordingStrip.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace lumicrate::views {

/// Visible only while zooms are edited. Blocks and their ends are dragged; a double click elsewhere adds a
/// block, a click moves the position there. Blocks are reached by Tab: the arrow keys move them by a tenth of
/// a second, with Shift by a second, with Ctrl they move the end; Up and Down change the scale, Del removes
/// the block.
class ZoomStrip final : public RecordingStrip {
 public:
    /// All must outlive it.
    ZoomStrip(ZoomBlocks& blocks, PlayerModel& player, StripPictures& content, QWidget* parent);

 protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

 private:
    class Handle;
    enum class Part { body, start, end };
    struct Grip {
        std::size_t block;
        Part part;
        double offset;  ///< seconds from the block's start to where it was taken
    };

    const std::vector<ZoomBlock>& blocks() const;
    QRectF rectOf(const ZoomBlock& block) const;
    std::optional<Grip> gripAt(double x) const;
    void drag(double x);
    void show(const std::optional<ZoomBlocks::State>& state);
    void placeHandles(const std::vector<ZoomBlock>& blocks);
    void paintBlock(QPainter& painter, const ZoomBlock& block, bool isSelected) const;
    void paintTimes(QPainter& painter, const ZoomBlock& block) const;

    ZoomBlocks& model_;
    std::optional<Grip> grip_;
    std::vector<Handle*> handles_;  ///< one for each block
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate::views
