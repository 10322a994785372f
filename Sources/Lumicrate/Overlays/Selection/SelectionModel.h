// SelectionModel: the selection on one screen, as it is picked, drawn, moved and resized.
#pragma once

#include "Lumicrate/Overlays/Selection/AreaToolbarModel.h"
#include "Lumicrate/Overlays/Selection/EdgeSnapping.h"
#include "Lumicrate/Overlays/Selection/HoverTarget.h"
#include "Lumicrate/Overlays/Selection/SelectionGeometry.h"
#include "Platform/AVAsset.h"
#include "Platform/NSEvent.h"
#include "Support/Geometry.h"
#include "Support/Published.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace lumicrate {

/// A text on a plate of its own.
struct SelectionLabel {
    std::string text;
    Point center;
    bool operator==(const SelectionLabel&) const = default;
};

struct SelectionCursor {
    enum class Kind { crosshair, openHand, closedHand, resize };
    Kind kind = Kind::crosshair;
    Handle handle = Handle::topLeft;  ///< that a resize cursor is for
    bool operator==(const SelectionCursor&) const = default;
};

/// All that is seen of a selection. Points, y up from the screen's bottom left corner.
struct SelectionAppearance {
    std::optional<Rect> selection;  ///< where the screen is not dimmed
    std::vector<Handle> handles;    ///< that are shown; none while it is drawn
    std::optional<HoverTarget> highlighted;
    std::optional<SelectionLabel> highlightLabel;
    std::optional<SelectionLabel> sizeLabel;
    std::optional<SelectionLabel> hint;
    std::optional<Point> magnified;  ///< what the magnifier shows the surroundings of, while it is shown
    SelectionCursor cursor;
    std::optional<Rect> toolbar;  ///< the frames of the bars, while they are shown
    std::optional<Rect> pickBar;
    bool operator==(const SelectionAppearance&) const = default;
};

/// Fed with what the pointer and the keys do; everything is in points, y up from the screen's bottom left
/// corner. Main thread only. It must not be destroyed from inside `onFinish`.
class SelectionModel {
 public:
    struct Settings {
        Size screen;
        double pixelScale = 1;             ///< pixels in a point
        std::vector<HoverTarget> targets;  ///< front-most first
        bool windowsOnly = false;          ///< only a whole window can be picked
    };
    /// Called once: with the rectangle and, where a window is to be recorded, its number; with nothing when
    /// the user has cancelled.
    using OnFinish = std::function<void(std::optional<Rect>, std::optional<std::uint32_t> windowID)>;

    struct MouseEvent {
        Point location;
        int clickCount = 1;
        bool snaps = true;  ///< edges near those of windows and of the screen come to lie on them
    };

    /// `model` must outlive it; its callbacks are taken.
    SelectionModel(Settings settings, AreaToolbarModel& model, OnFinish onFinish);
    SelectionModel(const SelectionModel&) = delete;
    SelectionModel& operator=(const SelectionModel&) = delete;

    Published<SelectionAppearance> appearance;
    Size screen() const { return settings_.screen; }
    double pixelScale() const { return settings_.pixelScale; }
    bool windowsOnly() const { return settings_.windowsOnly; }

    /// How large the bars like to be; whenever that changes.
    void setToolbarSize(const Size& size);
    void setPickBarSize(const Size& size);

    /// Selects a rectangle, if enough of it lies on the screen.
    void preselect(const Rect& rect);
    void selectFullScreen();
    void applyAspect(AspectPreset preset);
    /// Pixels; a side that is not given follows from the ratio, or stays.
    void applySize(std::optional<int> widthPixels, std::optional<int> heightPixels);
    void confirm();
    void cancel();

    void mouseMoved(Point location);
    /// The pointer is on another screen, or on a bar.
    void mouseExited();
    void mouseDown(const MouseEvent& event);
    void mouseDragged(const MouseEvent& event);
    void mouseUp();
    void rightMouseDown() { cancel(); }
    /// False for a key that means nothing here.
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
    SelectionGeometry geometry() const;
    Rect bounds() const { return {0, 0, settings_.screen.width, settings_.screen.height}; }

    void drag(const Drawing& drawing, const MouseEvent& event);
    void drag(const Moving& moving, const MouseEvent& event);
    void drag(const Resizing& resizing, const MouseEvent& event);
    void pressAdjusting(const MouseEvent& event);
    void pickBase();
    void endGesture(const Rect& original);
    void adjust(const Rect& selection);
    bool nudge(const NSEvent& event);
    Rect stretched(const Rect& before, double wider, double taller) const;
    Point pixelEdge(Point inside) const;
    void setPickedWindow(std::optional<HoverTarget> window);
    void updateCursor();
    void showToolbar();
    void finish(std::optional<Rect> rect, std::optional<std::uint32_t> windowID);

    void publish();
    SelectionAppearance describe() const;

    Settings settings_;
    AreaToolbarModel& model_;
    OnFinish onFinish_;
    EdgeSnapping snapping_;
    Mode mode_ = Picking{};
    std::optional<Rect> selection_;
    std::optional<HoverTarget> pickedWindow_;
    std::optional<HoverTarget> hovered_;
    std::optional<Point> mouse_;
    SelectionCursor cursor_;
    bool toolbarShown_ = false;
    bool pickBarShown_ = true;
    bool magnifies_ = false;  ///< also where nothing is drawn or resized
    Size toolbarSize_;
    Size pickBarSize_;
};

}  // namespace lumicrate
