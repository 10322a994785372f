// SPDX-License-Identifier: GPL-3.0-or-later
// Plane geometry in double precision: points, sizes and rectangles, and whole-pixel rectangles.
//
// The types do not state whether y grows up or down, or whether they hold points or pixels; each interface
// that passes them documents it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lumicrate {

struct Point {
    double x = 0;
    double y = 0;
    bool operator==(const Point&) const = default;
};

struct Size {
    double width = 0;
    double height = 0;
    bool operator==(const Size&) const = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double minX() const { return x; }
    double minY() const { return y; }
    double maxX() const { return x + width; }
    double maxY() const { return y + height; }
    double midX() const { return x + width / 2; }
    double midY() const { return y + height / 2; }
    double area() const { return isEmpty() ? 0 : width * height; }
    Size size() const { return {width, height}; }
    /// No extent in at least one direction.
    bool isEmpty() const { return !(width > 0 && height > 0); }
    /// The left and top edges belong to the rectangle, the right and bottom ones do not.
    bool contains(Point point) const;
    Rect offsetBy(double dx, double dy) const { return {x + dx, y + dy, width, height}; }
    Rect scaledBy(double factor) const { return {x * factor, y * factor, width * factor, height * factor}; }
    /// The overlap, or an empty rectangle if there is none.
    Rect intersection(const Rect& other) const;
    /// The same size, moved as little as needed to lie in `bounds`; at their lower edges if it is larger.
    Rect shiftedInside(const Rect& bounds) const;
    /// The smallest rectangle with whole-number edges that contains this one.
    Rect integral() const;

    bool operator==(const Rect&) const = default;
};

struct PixelSize {
    int width = 0;
    int height = 0;

    bool operator==(const PixelSize&) const = default;
};

/// A rectangle of whole pixels, y downwards.
struct PixelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    int maxX() const { return x + width; }
    int maxY() const { return y + height; }
    std::int64_t area() const { return isEmpty() ? 0 : std::int64_t{width} * height; }
    bool isEmpty() const { return width <= 0 || height <= 0; }
    PixelRect offsetBy(int dx, int dy) const { return {x + dx, y + dy, width, height}; }
    PixelRect intersection(const PixelRect& other) const;
    /// The smallest rectangle that contains both; an empty one is ignored.
    PixelRect boundingUnion(const PixelRect& other) const;

    bool operator==(const PixelRect&) const = default;
};

/// A length in points as whole pixels, truncated. Tolerates rounding errors of earlier divisions: 2.9999999
/// pixels are 3. `scale` is the number of pixels per point.
int wholePixels(double points, double scale);

/// "{{x, y}, {width, height}}", the textual form in which rectangles are stored.
std::string stringFromRect(const Rect& rect);

/// Parses the form that stringFromRect writes, with any white space between its parts. None if the text has
/// another form or a number is not finite.
std::optional<Rect> rectFromString(std::string_view text);

/// The same for points: "{x, y}".
std::string stringFromPoint(Point point);
std::optional<Point> pointFromString(std::string_view text);

}  // namespace lumicrate
