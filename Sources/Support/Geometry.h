// Plane geometry in double precision: points, sizes and rectangles, and whole-pixel rectangles.
//
// The types do not know which way y grows or whether they hold points or pixels; whoever passes them says so.
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
    /// The common part, or an empty rectangle where there is none.
    Rect intersection(const Rect& other) const;
    /// The smallest rectangle with whole-number edges that holds this one.
    Rect integral() const;

    bool operator==(const Rect&) const = default;
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
    /// The smallest rectangle that holds both; an empty one adds nothing.
    PixelRect boundingUnion(const PixelRect& other) const;

    bool operator==(const PixelRect&) const = default;
};

/// The pixels of a length in points, truncated, but for a hair that dividing and multiplying may have taken;
/// `scale` is the number of pixels in a point.
int wholePixels(double points, double scale);

/// "{{x, y}, {width, height}}", the textual form in which rectangles are stored.
std::string stringFromRect(const Rect& rect);

/// Reads the form that stringFromRect writes, white space being free; nothing when the text has another form
/// or a number that is not finite.
std::optional<Rect> rectFromString(std::string_view text);

}  // namespace lumicrate
