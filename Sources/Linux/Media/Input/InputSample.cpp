// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Input/InputSample.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>

namespace lumicrate::media {

namespace {

using Json = nlohmann::ordered_json;
using Kind = RecordedInput::Kind;

constexpr std::array<std::string_view, 3> kindNames = {"pointer", "press", "keys"};  // as in Kind
constexpr std::size_t maxKeys = 256;
/// In pictures, around the recorded one.
constexpr double maxDistance = 1000;

double rounded(double coordinate) {
    constexpr double decimals = 1e5;
    return std::round(coordinate * decimals) / decimals;
}

std::optional<Kind> readKind(const Json& object) {
    const auto kind = object.find("kind");
    if (kind == object.end() || !kind->is_string()) return std::nullopt;
    const auto found = std::ranges::find(kindNames, kind->get_ref<const std::string&>());
    if (found == kindNames.end()) return std::nullopt;
    return static_cast<Kind>(found - kindNames.begin());
}

std::optional<double> readCoordinate(const Json& object, const char* name) {
    const auto value = object.find(name);
    if (value == object.end() || !value->is_number()) return std::nullopt;
    const auto number = value->get<double>();
    return std::abs(number) <= maxDistance ? std::optional(number) : std::nullopt;
}

bool readPosition(const Json& object, RecordedInput& input) {
    const auto x = readCoordinate(object, "x");
    const auto y = readCoordinate(object, "y");
    if (!x || !y) return false;
    input.position = {*x, *y};
    return true;
}

bool readButton(const Json& object, RecordedInput& input) {
    const auto button = object.find("button");
    if (button == object.end() || !button->is_number_unsigned()) return false;
    const auto number = button->get<std::uint64_t>();
    input.button = number <= 3 ? static_cast<int>(number) : 0;
    return input.button > 0;
}

/// Text without control characters, which could do harm where it is shown.
bool readKeys(const Json& object, RecordedInput& input) {
    const auto keys = object.find("keys");
    if (keys == object.end() || !keys->is_string()) return false;
    input.keys = keys->get<std::string>();
    const auto isControl = [](char each) { return static_cast<unsigned char>(each) < ' ' || each == 0x7F; };
    return !input.keys.empty() && input.keys.size() <= maxKeys && std::ranges::none_of(input.keys, isControl);
}

}  // namespace

isobmff::TrackDescription inputTrackDescription() {
    return {isobmff::MetadataDescription{std::string(inputMimeType)}, "Input", inputTimescale, 0};
}

std::string inputSample(const RecordedInput& input) {
    Json object;
    object["kind"] = kindNames.at(static_cast<std::size_t>(input.kind));
    if (input.kind == Kind::keys) {
        object["keys"] = input.keys;
    } else {
        object["x"] = rounded(input.position.x);
        object["y"] = rounded(input.position.y);
    }
    if (input.kind == Kind::press) object["button"] = input.button;
    return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::optional<RecordedInput> readInputSample(std::span<const std::uint8_t> bytes) {
    if (bytes.size() > maxInputSample) return std::nullopt;
    const Json object = Json::parse(bytes.begin(), bytes.end(), nullptr, false);
    if (!object.is_object()) return std::nullopt;
    const auto kind = readKind(object);
    if (!kind) return std::nullopt;
    RecordedInput input;
    input.kind = *kind;
    const bool isComplete = *kind == Kind::keys ? readKeys(object, input) : readPosition(object, input);
    if (!isComplete || (*kind == Kind::press && !readButton(object, input))) return std::nullopt;
    return input;
}

}  // namespace lumicrate::media
