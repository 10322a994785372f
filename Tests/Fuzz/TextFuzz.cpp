// SPDX-License-Identifier: GPL-3.0-or-later
// Any text typed as a recording's name becomes a valid file name, and any text can be read as a rectangle.
#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Preview/RecordingFiles.h"
#include "Support/Geometry.h"
#include "Tests/Fuzz/Check.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>

namespace lumicrate::fuzz {

namespace {

void checkName(std::string_view typed) {
    const std::string name = cleanedName(typed);
    check(name.size() <= typed.size(), "a name does not grow");
    check(name.find_first_of(std::string_view("/:\0", 3)) == std::string::npos, "it has no separators");
    check(cleanedName(name) == name, "a clean name is unchanged");
    if (name.empty()) return;
    const std::filesystem::path path = std::filesystem::path("/folder") / (name + ".mp4");
    check(path.parent_path() == "/folder" && lowercaseExtension(path) == "mp4", "it stays in its folder");
}

void checkRectangle(std::string_view text) {
    const auto rect = rectFromString(text);
    if (!rect) return;
    for (const double each : {rect->x, rect->y, rect->width, rect->height})
        check(std::isfinite(each), "every number is finite");
    check(rectFromString(stringFromRect(*rect)) == rect, "a rectangle is read as written");
}

}  // namespace

}  // namespace lumicrate::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    lumicrate::fuzz::checkName(text);
    lumicrate::fuzz::checkRectangle(text);
    return 0;
}
