// Random: the same numbers from the same seed with every compiler and library.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace lumicrate::stage {

class Random {
 public:
    explicit Random(std::uint64_t seed) : state_(seed * 2 + 1) {}

    /// 0 … bound − 1
    int below(int bound) {
        // xorshift64*
        state_ ^= state_ >> 12;
        state_ ^= state_ << 25;
        state_ ^= state_ >> 27;
        return static_cast<int>((state_ * 0x2545F4914F6CDD1DULL >> 33) % static_cast<std::uint64_t>(bound));
    }

    /// Words separated by spaces, cut to this many characters.
    std::string words(int characters) {
        static constexpr std::string_view list[] = {
            "window", "light", "record",  "the",  "screen", "and",    "picture", "sound",
            "of",     "a",     "quickly", "over", "time",   "frame",  "while",   "reader",
            "Page",   "with",  "number",  "in",   "moves",  "quiet",  "Every",   "line",
            "keeps",  "its",   "place",   "12",   "2048",   "(maybe)"};
        std::string text;
        while (static_cast<int>(text.size()) < characters) {
            text += list[below(std::size(list))];
            const int end = below(12);
            text += end == 0 ? ". " : end == 1 ? ", " : " ";
        }
        text.resize(static_cast<std::size_t>(characters));
        return text;
    }

 private:
    std::uint64_t state_;
};

}  // namespace lumicrate::stage
