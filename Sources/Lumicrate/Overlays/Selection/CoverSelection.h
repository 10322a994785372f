// SPDX-License-Identifier: GPL-3.0-or-later
// CoverSelection: the covered parts of a selection, while they are drawn, moved and resized.
#pragma once

#include "Lumicrate/Overlays/Selection/SelectionCursor.h"
#include "Lumicrate/Overlays/Selection/SelectionGeometry.h"
#include "Platform/NSEvent.h"
#include "Support/Geometry.h"

#include <cstddef>
#include <optional>
#include <variant>
#include <vector>

namespace lumicrate {

/// A part of the screen that the recording shows in one plain colour.
struct SelectionCover {
    Rect rect;
    bool isChosen = false;  ///< the keys act on it, and it has handles
    bool operator==(const SelectionCover&) const = default;
};

/// Covers stay where they are on the screen when the selected area is moved, because what they hide stays
/// there too. Only their parts inside the area are seen, edited and recorded. In whole points, y up. Main
/// thread only.
class CoverSelection {
 public:
    /// The minimum length of each side, points.
    static constexpr double minSide = 8;

    explicit CoverSelection(std::vector<Rect> covers = {}) : covers_(std::move(covers)) {}

    /// Covers can be drawn in it; nowhere without one.
    void setArea(const std::optional<Rect>& area) { area_ = area.value_or(Rect()); }
    /// The parts inside the area, bottom to top.
    std::vector<SelectionCover> seen() const;
    /// The visible handles of the chosen cover.
    std::vector<Handle> handles() const;
    /// A button of that size beside the chosen cover, where there is room on the screen; none without one.
    std::optional<Rect> removeButton(const Size& button, const Rect& screen) const;
    SelectionCursor cursorAt(Point at) const;

    /// On a handle or inside a cover, begins to resize or move it; elsewhere in the area, to draw another
    /// one.
    void mouseDown(Point at);
    void mouseDragged(Point to);
    /// What is too small to have been drawn on purpose disappears.
    void mouseUp();
    /// N adds a cover, the space bar chooses the next one, Delete removes the chosen one; arrows move it by a
    /// point, with Option its right and bottom edges; with Shift by ten. Returns false for other keys.
    bool keyDown(const NSEvent& event);
    void removeChosen();
    /// None is chosen any more.
    void chooseNone();

 private:
    struct Drawing {
        Point start;
        bool hasBegun = false;  ///< the cover exists, and is the chosen one
    };
    struct Moving {
        Point start;
        Rect original;
    };
    struct Resizing {
        Handle handle;
        Rect original;
    };

    Rect visible(std::size_t index) const { return covers_[index].intersection(area_); }
    std::optional<std::size_t> coverAt(Point at) const;
    std::optional<Handle> handleAt(Point at) const;
    SelectionGeometry geometry() const { return {area_, std::nullopt, minSide}; }
    bool add(const Rect& cover);
    bool addInTheMiddle();
    bool chooseNext();
    bool nudge(const NSEvent& event);
    void draw(Drawing& drawing, Point to);

    std::vector<Rect> covers_;
    Rect area_;
    std::optional<std::size_t> chosen_;
    std::variant<std::monostate, Drawing, Moving, Resizing> gesture_;
};

}  // namespace lumicrate
