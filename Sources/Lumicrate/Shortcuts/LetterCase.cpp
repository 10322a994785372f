#include "Lumicrate/Shortcuts/LetterCase.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace lumicrate {

namespace {

/// Capital letters whose small letters follow at a fixed distance. Where that distance is 1, capitals and
/// small letters take turns.
struct CapitalLetters {
    char32_t first, last, distance;
};
constexpr CapitalLetters capitalLetters[] = {
    {U'A', U'Z', 32},    {U'À', U'Ö', 32},   {U'Ø', U'Þ', 32},   {U'Ā', U'Į', 1},    {U'Ĳ', U'Ķ', 1},
    {U'Ĺ', U'Ň', 1},     {U'Ŋ', U'Ŷ', 1},    {U'Ź', U'Ž', 1},    {U'Ș', U'Ț', 1},    {0x386, 0x386, 38},
    {0x388, 0x38A, 37},  {0x38C, 0x38C, 64}, {0x38E, 0x38F, 63}, {0x391, 0x3A1, 32}, {0x3A3, 0x3AB, 32},
    {0x400, 0x40F, 80},  {0x410, 0x42F, 32}, {0x48A, 0x4BE, 1},  {0x4D0, 0x52E, 1},  {0x531, 0x556, 48},
    {0x1EA0, 0x1EF8, 1},
};

bool isCapitalOf(const CapitalLetters& block, char32_t character) {
    return character >= block.first && character <= block.last &&
           (block.distance != 1 || (character - block.first) % 2 == 0);
}

struct Range {
    char32_t first, last;
};
constexpr Range controlCharacters[] = {
    {0x00, 0x1F},       {0x7F, 0x9F},       {0xAD, 0xAD},       {0x600, 0x605},     {0x61C, 0x61C},
    {0x6DD, 0x6DD},     {0x70F, 0x70F},     {0x890, 0x891},     {0x8E2, 0x8E2},     {0x180E, 0x180E},
    {0x200B, 0x200F},   {0x202A, 0x202E},   {0x2060, 0x2064},   {0x2066, 0x206F},   {0xFEFF, 0xFEFF},
    {0xFFF9, 0xFFFB},   {0x110BD, 0x110BD}, {0x110CD, 0x110CD}, {0x13430, 0x1343F}, {0x1BCA0, 0x1BCA3},
    {0x1D173, 0x1D17A}, {0xE0001, 0xE0001}, {0xE0020, 0xE007F},
};

/// How a lead byte begins, and the least character that needs as many bytes.
struct LeadByte {
    unsigned mask, pattern;
    char32_t least;
};
constexpr LeadByte leadBytes[] = {
    {0x80, 0x00, 0}, {0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}};

}  // namespace

std::optional<std::u32string> decodeUtf8(std::string_view text) {
    std::u32string characters;
    for (std::size_t i = 0; i < text.size();) {
        const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
        const auto* lead =
            std::find_if(std::begin(leadBytes), std::end(leadBytes),
                         [&](const LeadByte& each) { return (byte(i) & each.mask) == each.pattern; });
        const auto more = static_cast<std::size_t>(lead - std::begin(leadBytes));
        if (lead == std::end(leadBytes) || i + more >= text.size()) return std::nullopt;
        char32_t character = byte(i) & ~lead->mask;
        for (std::size_t follow = i + 1; follow <= i + more; ++follow) {
            if ((byte(follow) & 0xC0U) != 0x80U) return std::nullopt;
            character = (character << 6U) | (byte(follow) & 0x3FU);
        }
        const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
        if (character < lead->least || character > 0x10FFFF || surrogate) return std::nullopt;
        characters += character;
        i += more + 1;
    }
    return characters;
}

std::string encodeUtf8(std::u32string_view characters) {
    std::string text;
    for (const char32_t character : characters) {
        std::size_t more = 0;
        while (more + 1 < std::size(leadBytes) && character >= leadBytes[more + 1].least)
            ++more;
        text += static_cast<char>(leadBytes[more].pattern | (character >> (6 * more)));
        while (more-- > 0)
            text += static_cast<char>(0x80U | ((character >> (6 * more)) & 0x3FU));
    }
    return text;
}

char32_t smallLetter(char32_t character) {
    for (const CapitalLetters& block : capitalLetters) {
        if (isCapitalOf(block, character)) return character + block.distance;
    }
    return character == U'Ÿ' ? U'ÿ' : character;
}

char32_t capitalLetter(char32_t character) {
    for (const CapitalLetters& block : capitalLetters) {
        if (character > block.distance && isCapitalOf(block, character - block.distance))
            return character - block.distance;
    }
    if (character == U'ı') return U'I';
    if (character == U'ς') return U'Σ';
    return character == U'ÿ' ? U'Ÿ' : character;
}

bool isControlCharacter(char32_t character) {
    return std::any_of(std::begin(controlCharacters), std::end(controlCharacters), [&](const Range& range) {
        return character >= range.first && character <= range.last;
    });
}

}  // namespace lumicrate
