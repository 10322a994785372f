#include "Linux/PipeWire/Graph.h"

#include <spa/utils/json.h>

#include <algorithm>
#include <tuple>

namespace lumicrate::pipewire {

NodeRole roleOf(std::string_view mediaClass) {
    NodeRole role;
    // A duplex device is one node for both directions.
    role.isMicrophone =
        mediaClass == "Audio/Source" || mediaClass == "Audio/Source/Virtual" || mediaClass == "Audio/Duplex";
    role.isOutput = mediaClass == "Audio/Sink" || mediaClass == "Audio/Duplex";
    role.isCamera = mediaClass == "Video/Source";
    return role;
}

std::optional<std::string> defaultNameFrom(std::string_view metadata) {
    spa_json text{};
    spa_json object{};
    spa_json_init(&text, metadata.data(), metadata.size());
    if (spa_json_enter_object(&text, &object) <= 0) return std::nullopt;
    char key[64];
    while (spa_json_get_string(&object, key, sizeof key) > 0) {
        const char* raw = nullptr;
        const int length = spa_json_next(&object, &raw);
        if (length <= 0) break;
        if (std::string_view(key) != "name") continue;
        if (!spa_json_is_string(raw, length)) break;
        std::string name(static_cast<std::size_t>(length) + 1, '\0');
        if (spa_json_parse_stringn(raw, length, name.data(), static_cast<int>(name.size())) <= 0) break;
        name.resize(name.find('\0'));
        return name;
    }
    return std::nullopt;
}

void sortDevices(std::vector<CaptureDevice>& devices, const std::optional<std::string>& defaultId) {
    std::ranges::sort(devices, [&](const auto& a, const auto& b) {
        const bool aFirst = a.id == defaultId;
        const bool bFirst = b.id == defaultId;
        if (aFirst != bFirst) return aFirst;
        return std::tie(a.name, a.id) < std::tie(b.name, b.id);
    });
}

}  // namespace lumicrate::pipewire
