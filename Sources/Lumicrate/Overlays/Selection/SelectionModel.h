// SPDX-License-Identifier: GPL-3.0-or-later
// SelectionModel: the selection on one screen while it is picked, drawn, moved and resized.
#pragma once

#include "Lumicrate/Overlays/Selection/AreaToolbarModel.h"
#include "Lumicrate/Overlays/Selection/CoverSelection.h"
#include "Lumicrate/Overlays/Selection/SelectionCursor.h"
#include "Lumicrate/Overlays/Selection/SelectionGeometry.h"
#include "Platform/NSEvent.h"
#include "Support/Geometry.h"
#include "Support/Published.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace lumicrate {

/// What a click picks: a window, or the whole screen.
struct HoverTarget {
    Rect rect;  ///< points, y up from the screen's bottom left corner
    std::string title;
    std::optional<std::uint32_t> windowID;  ///< none for the whole screen
    bool operator==(const HoverTarget&) const = default;
};

/// A text that is shown on its own plate.
struct SelectionLabel {
    std::string text;
    Point center;
    bool operator==(const SelectionLabel&) const = default;
};

/// Everything that is shown of a selection. Points, y up from the screen's bottom left corner.
struct SelectionAppearance {
    std::optional<Rect> selection;  ///< the part of the screen that is not dimmed
    std::vector<Handle> handles;    ///< the visible ones; none while the selection is drawn or covered
    std::vector<SelectionCover> covers;
    std::vector<Handle> coverHandles;  ///< of the chosen cover
    std::optional<Rect> removeButton;  ///< the frame of the button that removes it, while it is visible
    std::optional<HoverTarget> highlighted;
    std::optional<SelectionLabel> highlightLabel;
    std::optional<SelectionLabel> sizeLabel;
    std::optional<SelectionLabel> hint;
    std::optional<Point> magnified;  ///< the point that the magnifier shows, while it is visible
    SelectionCursor cursor;
    std::optional<Rect> toolbar;  ///< its frame, while it is visible
    std::optional<Rect> pickBar;  ///< its frame, while it is visible
    bool operator==(const SelectionAppearance&) const = default;
};

/// Receives pointer and key events, in points, y up from the screen's bottom left corner. Main thread only.
/// Must not be destroyed from inside `onFinish`.
class SelectionModel {
 public:
    struct Settings {
        Size screen;
        double pixelScale = 1;             ///< pixels per point
        std::vector<HoverTarget> targets;  ///< the windows, front-most first
        bool windowsOnly = false;          ///< only a whole window can be picked
        bool hasWindows = true;            ///< false where windows can't be picked here at all
        /// What a click does while only a window can be picked; records it by default.
        std::optional<std::string> windowHint{};
        std::vector<Rect> covers{};  ///< that exist already
        bool coversOnly = false;     ///< cover parts of a selection that can't be changed
    };
    /// Called once: with the rectangle and, if a window is to be recorded, its number; without a rectangle if
    /// the user has cancelled.
    using OnFinish = std::function<void(std::optional<Rect>, std::optional<std::uint32_t> windowID)>;

    struct MouseEvent {
        Point location;
        int clickCount = 1;
        bool snaps = true;  ///< snap edges to those of windows and of the screen
    };

    /// `toolbar` must outlive this. Its callbacks are set here.
    SelectionModel(Settings settings, AreaToolbarModel& toolbar, OnFinish onFinish);
    SelectionModel(const SelectionModel&) = delete;
    SelectionModel& operator=(const SelectionModel&) = delete;

    Published<SelectionAppearance> appearance;
    Size screen() const { return settings_.screen; }
    double pixelScale() const { return settings_.pixelScale; }
    bool windowsOnly() const { return settings_.windowsOnly; }
    bool coversOnly() const { return settings_.coversOnly; }
    /// The covered parts of what would be recorded.
    std::vector<Rect> covers() const;

    /// The preferred sizes of the bars. Call again whenever they change.
    void setBarSizes(const Size& toolbar, const Size& pickBar);
    /// The preferred size of the button that removes a cover.
    void setRemoveButtonSize(const Size& size);
    /// The windows have changed. A picked window is followed; if it is gone, a selection that would record
    /// only the window ends.
    void setTargets(std::vector<HoverTarget> targets);

    /// Selects a rectangle, unless too little of it lies on the screen.
    void preselect(const Rect& rect);
    void selectFullScreen();
    void applyAspect(AspectPreset preset);
    /// Pixels. A side that is not given follows from the aspect ratio, or is kept.
    void applySize(std::optional<int> widthPixels, std::optional<int> heightPixels);
    /// While covering, the pointer and the keys act on covers instead of the selection.
    void setCovering(bool covering);
    void removeCover();
    void confirm();
    void cancel();

    void mouseMoved(Point location);
    /// The pointer is on another screen or on a bar.
    void mouseExited();
    void mouseDown(const MouseEvent& event);
    void mouseDragged(const MouseEvent& event);
    void mouseUp();
    void rightMouseDown() { cancel(); }
    /// Returns false if the key has no meaning here.
    bool keyDown(const NSEvent& event);

    std::optional<HoverTarget> target(Point at) const;
    std::optional<Handle> handle(Point at, const Rect& in) const;

 private:
    struct Drawing {
        Point start;
        bool snaps;
    };
    struct Moving {
        Point start;
        Rect original;
    };
    struct Resizing {
        Handle handle;
        Rect original;
    };
    struct Picking {};
    struct Adjusting {};
    using Mode = std::variant<Drawing, Moving, Resizing, Picking, Adjusting>;

    template <class Which>
    bool isIn() const {
        return std::holds_alternative<Which>(mode_);
    }
    bool isCovering() const { return *toolbar_.covering; }
    SelectionGeometry geometry() const;
    Rect bounds() const { return {0, 0, settings_.screen.width, settings_.screen.height}; }

    void drag(const Drawing& drawing, const MouseEvent& event);
    void drag(const Moving& moving, const MouseEvent& event);
    void drag(const Resizing& resizing, const MouseEvent& event);
    void pressWhileAdjusting(const MouseEvent& event);
    void pickHovered();
    void finishGesture(const Rect& original);
    void adjust(const Rect& selection);
    bool nudge(const NSEvent& event);
    Rect stretched(const Rect& before, double wider, double taller) const;
    Point pixelEdge(Point inside) const;
    void setPickedWindow(std::optional<HoverTarget> window);
    void followPickedWindow();
    void updateCursor();
    void showToolbar();
    void finish(std::optional<Rect> rect, std::optional<std::uint32_t> windowID);

    void publish();
    SelectionAppearance describe() const;
    void describeSelection(SelectionAppearance& seen) const;
    void describeTarget(SelectionAppearance& seen) const;

    Settings settings_;
    AreaToolbarModel& toolbar_;
    OnFinish onFinish_;
    EdgeSnapping snapping_;
    Mode mode_ = Picking{};
    std::optional<Rect> selection_;
    CoverSelection covers_;
    std::optional<HoverTarget> pickedWindow_;
    std::optional<HoverTarget> hovered_;
    std::optional<Point> mouse_;
    SelectionCursor cursor_;
    bool isWindowOnly_ = false;  ///< a window is recorded, which is followed and has no covers
    bool isToolbarShown_ = false;
    bool isPickBarShown_ = true;
    bool isMagnifierOn_ = false;  ///< shown permanently, not only while drawing and resizing
    Size toolbarSize_;
    Size pickBarSize_;
    Size removeButtonSize_;
    Subscription windowOnlyChanges_;
};

}  // namespace lumicrate
