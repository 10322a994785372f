// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Wayland/Outputs.h"

#include "Linux/Wayland/Connection.h"
#include "Support/DisplayNames.h"

#include <wayland-client.h>
#include <xdg-output-unstable-v1-client.h>

#include <algorithm>
#include <cmath>
#include <list>
#include <optional>
#include <string_view>
#include <utility>

namespace lumicrate::wayland {

namespace {

constexpr std::uint32_t outputVersion = 4;         // with names and descriptions
constexpr std::uint32_t logicalOutputVersion = 3;  // completed by wl_output.done

/// Compositors fill the model of a monitor without a readable EDID with something.
bool isModel(std::string_view text) {
    return !text.empty() && !text.starts_with("Unknown") && !text.starts_with("unknown") &&
           !text.starts_with("0x");
}

/// An output while its compositor describes it.
class BoundOutput {
 public:
    BoundOutput(wl_registry* registry, std::uint32_t global, std::uint32_t version)
        : global_(global),
          version_(std::min(version, outputVersion)),
          object_(
              static_cast<wl_output*>(wl_registry_bind(registry, global, &wl_output_interface, version_))) {
        static constexpr wl_output_listener listener{
            .geometry =
                [](void* self, wl_output*, std::int32_t x, std::int32_t y, std::int32_t, std::int32_t,
                   std::int32_t, const char*, const char* model, std::int32_t transform) {
                    static_cast<BoundOutput*>(self)->setGeometry(x, y, model, transform);
                },
            .mode =
                [](void* self, wl_output*, std::uint32_t flags, std::int32_t width, std::int32_t height,
                   std::int32_t) {
                    if ((flags & WL_OUTPUT_MODE_CURRENT) != 0)
                        static_cast<BoundOutput*>(self)->mode_ = {width, height};
                },
            .done = [](void*, wl_output*) {},
            .scale = [](void* self, wl_output*,
                        std::int32_t scale) { static_cast<BoundOutput*>(self)->wholeScale_ = scale; },
            .name = [](void* self, wl_output*,
                       const char* name) { static_cast<BoundOutput*>(self)->facts_.name = name; },
            .description =
                [](void* self, wl_output*, const char* description) {
                    static_cast<BoundOutput*>(self)->facts_.description = description;
                }};
        wl_output_add_listener(object_, &listener, this);
    }
    BoundOutput(const BoundOutput&) = delete;
    BoundOutput& operator=(const BoundOutput&) = delete;
    ~BoundOutput() {
        if (logical_ != nullptr) zxdg_output_v1_destroy(logical_);
        if (version_ >= WL_OUTPUT_RELEASE_SINCE_VERSION) {
            wl_output_release(object_);
        } else {
            wl_output_destroy(object_);
        }
    }

    std::uint32_t global() const { return global_; }

    /// Asks for its place in the desktop, once.
    void requestLogicalOutput(zxdg_output_manager_v1* manager) {
        if (logical_ != nullptr) return;
        logical_ = zxdg_output_manager_v1_get_xdg_output(manager, object_);
        static constexpr zxdg_output_v1_listener listener{
            .logical_position =
                [](void* self, zxdg_output_v1*, std::int32_t x, std::int32_t y) {
                    auto& frame = static_cast<BoundOutput*>(self)->logicalFrame_;
                    frame.x = x;
                    frame.y = y;
                },
            .logical_size =
                [](void* self, zxdg_output_v1*, std::int32_t width, std::int32_t height) {
                    auto& frame = static_cast<BoundOutput*>(self)->logicalFrame_;
                    frame.width = width;
                    frame.height = height;
                },
            .done = [](void*, zxdg_output_v1*) {},
            .name = [](void* self, zxdg_output_v1*,
                       const char* name) { static_cast<BoundOutput*>(self)->facts_.name = name; },
            .description =
                [](void* self, zxdg_output_v1*, const char* description) {
                    static_cast<BoundOutput*>(self)->facts_.description = description;
                }};
        zxdg_output_v1_add_listener(logical_, &listener, this);
    }

    /// None without a mode: then it shows nothing.
    std::optional<Output> facts() const {
        if (mode_.width <= 0 || mode_.height <= 0) return std::nullopt;
        Output output = facts_;
        output.pixels = facts_.transform % 2 != 0 ? PixelSize{mode_.height, mode_.width} : mode_;
        output.frame = logicalFrame_;
        if (output.frame.isEmpty())
            output.frame = {position_.x, position_.y, static_cast<double>(output.pixels.width) / wholeScale_,
                            static_cast<double>(output.pixels.height) / wholeScale_};
        if (output.name.empty()) output.name = "output-" + std::to_string(global_);
        return output;
    }

 private:
    void setGeometry(int x, int y, const char* model, int transform) {
        position_ = {static_cast<double>(x), static_cast<double>(y)};
        facts_.transform = transform;
        facts_.model = isModel(model) ? model : "";
    }

    std::uint32_t global_;
    std::uint32_t version_;
    wl_output* object_;
    zxdg_output_v1* logical_ = nullptr;
    Output facts_;
    Point position_;
    PixelSize mode_;
    int wholeScale_ = 1;
    Rect logicalFrame_;
};

}  // namespace

std::uint32_t displayIDOf(const std::string& outputName) {
    // FNV-1a
    std::uint32_t hash = 2166136261;
    for (const char each : outputName)
        hash = (hash ^ static_cast<unsigned char>(each)) * 16777619;
    return hash != 0 ? hash : 1;
}

class Outputs::Client {
 public:
    Client(const std::string& displayName, std::chrono::milliseconds timeout)
        : connection_(displayName, timeout) {
        connection_.followGlobals(
            {[this](std::uint32_t name, std::string_view interface, std::uint32_t version) {
                 addGlobal(name, interface, version);
             },
             [this](std::uint32_t name) {
                 std::erase_if(outputs_, [&](const BoundOutput& each) { return each.global() == name; });
             }});
        connection_.sync();
    }

    ~Client() {
        if (manager_ != nullptr) zxdg_output_manager_v1_destroy(manager_);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    std::vector<Output> outputs() {
        // After the first all outputs are known and bound, after the second they are described.
        connection_.sync();
        if (manager_ != nullptr) {
            for (BoundOutput& each : outputs_)
                each.requestLogicalOutput(manager_);
        }
        connection_.sync();
        std::vector<Output> list;
        for (const BoundOutput& each : outputs_) {
            if (auto facts = each.facts()) list.push_back(*std::move(facts));
        }
        return list;
    }

 private:
    void addGlobal(std::uint32_t name, std::string_view interface, std::uint32_t version) {
        if (interface == wl_output_interface.name) {
            outputs_.emplace_back(connection_.registry(), name, version);
        } else if (interface == zxdg_output_manager_v1_interface.name) {
            manager_ = static_cast<zxdg_output_manager_v1*>(
                wl_registry_bind(connection_.registry(), name, &zxdg_output_manager_v1_interface,
                                 std::min(version, logicalOutputVersion)));
        }
    }

    Connection connection_;
    zxdg_output_manager_v1* manager_ = nullptr;
    std::list<BoundOutput> outputs_;  // before the connection ends
};

Outputs::Outputs(const std::string& displayName, std::chrono::milliseconds timeout)
    : client_(std::make_unique<Client>(displayName, timeout)) {}

Outputs::~Outputs() = default;
Outputs::Outputs(Outputs&&) noexcept = default;
Outputs& Outputs::operator=(Outputs&&) noexcept = default;

std::vector<Output> Outputs::outputs() {
    return client_->outputs();
}

std::vector<SCDisplay> Outputs::displays() {
    const std::vector<Output> outputs = client_->outputs();
    std::vector<NamedDisplay> named;
    for (const Output& each : outputs)
        named.push_back({each.name, each.model.empty() ? std::nullopt : std::optional(each.model)});
    const std::vector<std::string> names = displayNames(named);
    std::vector<SCDisplay> displays;
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        const Output& output = outputs[i];
        displays.push_back({displayIDOf(output.name), output.frame, output.scale(), names[i], output.name});
    }
    return displays;
}

std::uint32_t Outputs::mainDisplayID() {
    const std::vector<Output> outputs = client_->outputs();
    const auto distance = [](const Output& each) { return std::hypot(each.frame.x, each.frame.y); };
    const auto nearest = std::ranges::min_element(outputs, {}, distance);
    return nearest == outputs.end() ? 0 : displayIDOf(nearest->name);
}

Rect Outputs::bounds(std::uint32_t displayID) {
    for (const Output& each : client_->outputs()) {
        if (displayIDOf(each.name) == displayID) return each.frame;
    }
    return {};
}

}  // namespace lumicrate::wayland
