// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/CameraFormats.h"

#include <spa/param/format-utils.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/iter.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace lumicrate::pipewire {

namespace {

constexpr std::array commonSizes{spa_rectangle{640, 480}, spa_rectangle{1280, 720}, spa_rectangle{1920, 1080},
                                 spa_rectangle{3840, 2160}};
constexpr std::array commonRates{spa_fraction{30, 1}, spa_fraction{60, 1}};
constexpr double assumedRate = 30;
/// More values in one object are an error of the camera's driver.
constexpr std::uint32_t maxValues = 256;

std::optional<CameraPixels> pixelsOf(std::uint32_t videoFormat) {
    switch (videoFormat) {
        case SPA_VIDEO_FORMAT_NV12:
            return CameraPixels::nv12;
        case SPA_VIDEO_FORMAT_NV21:
            return CameraPixels::nv21;
        case SPA_VIDEO_FORMAT_I420:
            return CameraPixels::i420;
        case SPA_VIDEO_FORMAT_YV12:
            return CameraPixels::yv12;
        case SPA_VIDEO_FORMAT_YUY2:
            return CameraPixels::yuy2;
        case SPA_VIDEO_FORMAT_YVYU:
            return CameraPixels::yvyu;
        case SPA_VIDEO_FORMAT_UYVY:
            return CameraPixels::uyvy;
        case SPA_VIDEO_FORMAT_BGRx:
        case SPA_VIDEO_FORMAT_BGRA:
            return CameraPixels::bgrx;
        case SPA_VIDEO_FORMAT_RGBx:
        case SPA_VIDEO_FORMAT_RGBA:
            return CameraPixels::rgbx;
        case SPA_VIDEO_FORMAT_xRGB:
        case SPA_VIDEO_FORMAT_ARGB:
            return CameraPixels::xrgb;
        case SPA_VIDEO_FORMAT_xBGR:
        case SPA_VIDEO_FORMAT_ABGR:
            return CameraPixels::xbgr;
        case SPA_VIDEO_FORMAT_RGB:
            return CameraPixels::rgb;
        case SPA_VIDEO_FORMAT_BGR:
            return CameraPixels::bgr;
        case SPA_VIDEO_FORMAT_GRAY8:
            return CameraPixels::gray;
        default:
            return std::nullopt;
    }
}

/// The values of a property: one, or those of a choice.
template <class Value>
struct Values {
    bool isRange = false;  ///< then the values are the default, the smallest and the largest
    std::vector<Value> values;
};

/// `type` is the type of one value, which has the memory layout of `Value`.
template <class Value>
Values<Value> valuesOf(const spa_pod* object, std::uint32_t key, std::uint32_t type) {
    static_assert(std::is_trivially_copyable_v<Value>);
    Values<Value> found;
    const spa_pod_prop* property = spa_pod_find_prop(object, nullptr, key);
    if (!property) return found;
    std::uint32_t count = 0;
    std::uint32_t choice = SPA_CHOICE_None;
    const spa_pod* first = spa_pod_get_values(&property->value, &count, &choice);
    if (!first || SPA_POD_TYPE(first) != type || SPA_POD_BODY_SIZE(first) < sizeof(Value)) return found;
    found.isRange = (choice == SPA_CHOICE_Range || choice == SPA_CHOICE_Step) && count >= 3;
    if (choice == SPA_CHOICE_None || choice == SPA_CHOICE_Flags) count = std::min(count, 1U);
    count = std::min(count, found.isRange ? 3U : maxValues);
    // The values follow each other; the first of an enumeration is its default, which is repeated.
    const auto* bytes = static_cast<const std::byte*>(SPA_POD_BODY_CONST(first));
    for (std::uint32_t i = choice == SPA_CHOICE_Enum && count > 1 ? 1 : 0; i < count; ++i) {
        Value value;
        std::memcpy(&value, bytes + std::size_t{i} * SPA_POD_BODY_SIZE(first), sizeof value);
        found.values.push_back(value);
    }
    return found;
}

std::vector<spa_rectangle> sizesIn(const spa_pod* object) {
    auto [isRange, values] = valuesOf<spa_rectangle>(object, SPA_FORMAT_VIDEO_size, SPA_TYPE_Rectangle);
    if (!isRange) return values;
    const auto [smallest, largest] = std::pair(values[1], values[2]);
    for (const spa_rectangle& each : commonSizes) {
        if (each.width >= smallest.width && each.height >= smallest.height && each.width <= largest.width &&
            each.height <= largest.height)
            values.push_back(each);
    }
    return values;
}

double perSecond(const spa_fraction& rate) {
    if (rate.denom == 0) return 0;
    return rate.num == 0 ? assumedRate : static_cast<double>(rate.num) / rate.denom;
}

std::vector<spa_fraction> ratesIn(const spa_pod* object) {
    auto [isRange, values] = valuesOf<spa_fraction>(object, SPA_FORMAT_VIDEO_framerate, SPA_TYPE_Fraction);
    if (values.empty()) return {{0, 1}};
    if (!isRange) return values;
    const auto [smallest, largest] = std::pair(values[1], values[2]);
    for (const spa_fraction& each : commonRates) {
        if (perSecond(each) >= perSecond(smallest) && perSecond(each) <= perSecond(largest))
            values.push_back(each);
    }
    return values;
}

struct DestroyNode {
    void operator()(pw_node* node) const { pw_proxy_destroy(reinterpret_cast<pw_proxy*>(node)); }
};

const pw_node_events& nodeEvents() {
    static const pw_node_events events = [] {
        pw_node_events handlers{};
        handlers.version = PW_VERSION_NODE_EVENTS;
        handlers.param = [](void* formats, int, std::uint32_t id, std::uint32_t, std::uint32_t,
                            const spa_pod* object) {
            if (id != SPA_PARAM_EnumFormat && id != SPA_PARAM_Format) return;
            auto& all = *static_cast<std::vector<OfferedFormat>*>(formats);
            const auto more = formatsIn(object);
            all.insert(all.end(), more.begin(), more.end());
        };
        return handlers;
    }();
    return events;
}

}  // namespace

std::vector<OfferedFormat> formatsIn(const spa_pod* object) {
    std::vector<OfferedFormat> formats;
    std::uint32_t type = 0;
    std::uint32_t subtype = 0;
    if (!object || spa_format_parse(object, &type, &subtype) < 0 || type != SPA_MEDIA_TYPE_video)
        return formats;
    // Pixels, and how the server calls them.
    std::vector<std::pair<CameraPixels, std::uint32_t>> kinds;
    if (subtype == SPA_MEDIA_SUBTYPE_mjpg) kinds.emplace_back(CameraPixels::mjpg, 0);
    if (subtype == SPA_MEDIA_SUBTYPE_raw) {
        for (const std::uint32_t each :
             valuesOf<std::uint32_t>(object, SPA_FORMAT_VIDEO_format, SPA_TYPE_Id).values) {
            if (const auto pixels = pixelsOf(each)) kinds.emplace_back(*pixels, each);
        }
    }
    const auto sizes = sizesIn(object);
    const auto rates = ratesIn(object);
    for (const auto& [pixels, videoFormat] : kinds) {
        for (const spa_rectangle& size : sizes) {
            for (const spa_fraction& rate : rates) {
                const PixelSize pixelSize{static_cast<int>(std::min(size.width, 1U << 16)),
                                          static_cast<int>(std::min(size.height, 1U << 16))};
                formats.push_back({{pixels, pixelSize, perSecond(rate)}, videoFormat, rate});
            }
        }
    }
    return formats;
}

std::vector<OfferedFormat> queryFormats(Session& session, const GraphWatch& watch, std::uint32_t node,
                                        FormatQuery query) {
    std::vector<OfferedFormat> formats;
    const Session::Lock lock(session);
    if (!watch.registry()) return formats;
    const std::unique_ptr<pw_node, DestroyNode> proxy(static_cast<pw_node*>(
        pw_registry_bind(watch.registry(), node, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0)));
    if (!proxy) return formats;
    spa_hook listener{};
    pw_node_add_listener(proxy.get(), &listener, &nodeEvents(), &formats);
    const auto id = query == FormatQuery::running ? SPA_PARAM_Format : SPA_PARAM_EnumFormat;
    pw_node_enum_params(proxy.get(), 0, id, 0, UINT32_MAX, nullptr);
    const bool isAnswered = session.roundTrip(Session::answerTimeout);
    spa_hook_remove(&listener);
    return isAnswered ? formats : std::vector<OfferedFormat>();
}

const spa_pod* buildFormat(spa_pod_builder& builder, const OfferedFormat& offered) {
    const spa_rectangle size{static_cast<std::uint32_t>(offered.format.size.width),
                             static_cast<std::uint32_t>(offered.format.size.height)};
    const bool isCompressed = offered.format.isCompressed();
    spa_pod_frame frame{};
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    spa_pod_builder_add(&builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
                        SPA_FORMAT_mediaSubtype,
                        SPA_POD_Id(isCompressed ? SPA_MEDIA_SUBTYPE_mjpg : SPA_MEDIA_SUBTYPE_raw), 0);
    if (!isCompressed)
        spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_format, SPA_POD_Id(offered.videoFormat), 0);
    spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size), SPA_FORMAT_VIDEO_framerate,
                        SPA_POD_Fraction(&offered.rate), 0);
    return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
}

}  // namespace lumicrate::pipewire
