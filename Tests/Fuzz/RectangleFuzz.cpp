// Any text can be read as a rectangle, and what is read can be written and read again.
#include "Support/Geometry.h"
#include "Tests/Fuzz/Check.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lumicrate;
    const auto rect = rectFromString({reinterpret_cast<const char*>(data), size});
    if (!rect) return 0;
    for (const double each : {rect->x, rect->y, rect->width, rect->height})
        fuzz::check(std::isfinite(each), "every number is finite");
    const auto again = rectFromString(stringFromRect(*rect));
    fuzz::check(again == rect, "a rectangle is read as written");
    return 0;
}
