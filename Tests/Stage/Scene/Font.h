// Font: five by seven dots a glyph, enough for the scenes' text where no fonts are installed.
#pragma once

#include <array>
#include <cstdint>

namespace lumicrate::stage {

struct Font {
    static constexpr int glyphWidth = 5;
    static constexpr int glyphHeight = 7;
    // From one glyph, or line, to the next.
    static constexpr int advance = 6;
    static constexpr int lineHeight = 9;

    // Seven rows, top first; the highest of the five low bits is the leftmost dot. What the font lacks is
    // blank.
    using Glyph = std::array<std::uint8_t, glyphHeight>;
    static Glyph glyph(char character);
};

}  // namespace lumicrate::stage
