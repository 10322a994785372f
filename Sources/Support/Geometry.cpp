// SPDX-License-Identifier: GPL-3.0-or-later
#include "Support/Geometry.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace lumicrate {

bool Rect::contains(Point point) const {
    return point.x >= minX() && point.x < maxX() && point.y >= minY() && point.y < maxY();
}

Rect Rect::intersection(const Rect& other) const {
    const double left = std::max(minX(), other.minX());
    const double top = std::max(minY(), other.minY());
    const double right = std::min(maxX(), other.maxX());
    const double bottom = std::min(maxY(), other.maxY());
    if (right <= left || bottom <= top) return {};
    return {left, top, right - left, bottom - top};
}

Rect Rect::shiftedInside(const Rect& bounds) const {
    return {std::max(std::min(x, bounds.maxX() - width), bounds.minX()),
            std::max(std::min(y, bounds.maxY() - height), bounds.minY()), width, height};
}

Rect Rect::integral() const {
    const double left = std::floor(minX());
    const double top = std::floor(minY());
    return {left, top, std::ceil(maxX()) - left, std::ceil(maxY()) - top};
}

PixelRect PixelRect::intersection(const PixelRect& other) const {
    const int left = std::max(x, other.x);
    const int top = std::max(y, other.y);
    const int right = std::min(maxX(), other.maxX());
    const int bottom = std::min(maxY(), other.maxY());
    if (right <= left || bottom <= top) return {};
    return {left, top, right - left, bottom - top};
}

PixelRect PixelRect::boundingUnion(const PixelRect& other) const {
    if (isEmpty()) return other;
    if (other.isEmpty()) return *this;
    const int left = std::min(x, other.x);
    const int top = std::min(y, other.y);
    return {left, top, std::max(maxX(), other.maxX()) - left, std::max(maxY(), other.maxY()) - top};
}

namespace {

std::string shortest(double number) {
    std::array<char, 32> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
    return {buffer.data(), result.ptr};
}

/// Consumes a text from left to right. Each step returns whether it found what it expected.
class Scanner {
 public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    bool skip(char wanted) {
        skipSpace();
        if (rest_.empty() || rest_.front() != wanted) return false;
        rest_.remove_prefix(1);
        return true;
    }

    bool read(double& number) {
        skipSpace();
        const auto result = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
        if (result.ec != std::errc{} || !std::isfinite(number)) return false;
        rest_.remove_prefix(static_cast<std::size_t>(result.ptr - rest_.data()));
        return true;
    }

    bool readPair(double& first, double& second) {
        return skip('{') && read(first) && skip(',') && read(second) && skip('}');
    }

    bool atEnd() {
        skipSpace();
        return rest_.empty();
    }

 private:
    void skipSpace() {
        while (!rest_.empty() && (rest_.front() == ' ' || rest_.front() == '\t'))
            rest_.remove_prefix(1);
    }

    std::string_view rest_;
};

}  // namespace

int wholePixels(double points, double scale) {
    constexpr double tolerance = 1e-6;
    return static_cast<int>(points * scale + tolerance);
}

std::string stringFromRect(const Rect& rect) {
    return "{{" + shortest(rect.x) + ", " + shortest(rect.y) + "}, {" + shortest(rect.width) + ", " +
           shortest(rect.height) + "}}";
}

std::optional<Rect> rectFromString(std::string_view text) {
    Scanner scanner(text);
    Rect rect;
    const bool understood = scanner.skip('{') && scanner.readPair(rect.x, rect.y) && scanner.skip(',') &&
                            scanner.readPair(rect.width, rect.height) && scanner.skip('}') && scanner.atEnd();
    if (!understood) return std::nullopt;
    return rect;
}

std::string stringFromPoint(Point point) {
    return "{" + shortest(point.x) + ", " + shortest(point.y) + "}";
}

std::optional<Point> pointFromString(std::string_view text) {
    Scanner scanner(text);
    Point point;
    if (!scanner.readPair(point.x, point.y) || !scanner.atEnd()) return std::nullopt;
    return point;
}

}  // namespace lumicrate
