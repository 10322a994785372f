// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/Selection/AreaToolbarModel.h"

#include "Support/Text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <system_error>

namespace lumicrate {

namespace {

constexpr int maxLength = std::numeric_limits<int>::max();

/// Numbers that are too large become the largest one.
std::optional<int> positiveNumber(std::string_view text) {
    constexpr std::string_view space = " \t";
    const std::size_t begin = text.find_first_not_of(space);
    if (begin == std::string_view::npos) return std::nullopt;
    text = text.substr(begin, text.find_last_not_of(space) - begin + 1);
    int number = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, number);
    if (end != last) return std::nullopt;
    if (error == std::errc::result_out_of_range) number = text.front() == '-' ? 0 : maxLength;
    return number > 0 ? std::optional(number) : std::nullopt;
}

}  // namespace

std::string AreaToolbarModel::areaHelp() {
    return localized("Records this part of the screen, including anything that moves over it.");
}

std::string AreaToolbarModel::windowHelp(const std::string& title) {
    return localized(
        "Records just the {} window and follows it if it moves. Other apps' windows on top are left out; "
        "your webcam and click highlights stay in.",
        {title});
}

std::string AreaToolbarModel::label(AspectPreset preset) {
    // The others are ratios.
    return preset == AspectPreset::custom ? localized("Custom") : std::string(rawValue(preset));
}

std::vector<MenuItem> AreaToolbarModel::aspectMenu() {
    std::vector<MenuItem> items;
    for (const AspectPreset each : allCases<AspectPreset>()) {
        items.push_back(MenuItem::command(label(each), [this, each] {
            if (each == *aspect) return;
            aspect = each;
            onAspect(each);
        }));
        items.back().checked = each == *aspect;
    }
    return items;
}

void AreaToolbarModel::resize(Side side, int pixels) const {
    if (side == Side::width) {
        onSize(pixels, std::nullopt);
    } else {
        onSize(std::nullopt, pixels);
    }
}

void AreaToolbarModel::commit(Side side, std::string_view text) const {
    if (const auto typed = positiveNumber(text)) resize(side, *typed);
}

void AreaToolbarModel::step(Side side, std::string_view text, int by) const {
    const std::int64_t wanted = std::int64_t{positiveNumber(text).value_or(*pixels(side))} + by * pixelStep;
    resize(side, static_cast<int>(std::clamp<std::int64_t>(wanted, 1, maxLength)));
}

}  // namespace lumicrate
