// SPDX-License-Identifier: GPL-3.0-or-later
// WaylandConnection: a client's connection to a Wayland compositor, and the global objects that it offers.
#pragma once

#include <wayland-client.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lumicrate::stage {

class WaylandConnection {
 public:
    /// `displayName` is the socket's ("wayland-1"), or empty for that of $WAYLAND_DISPLAY. Throws
    /// std::runtime_error when no compositor answers.
    explicit WaylandConnection(const std::string& displayName = {});
    WaylandConnection(const WaylandConnection&) = delete;
    WaylandConnection& operator=(const WaylandConnection&) = delete;
    ~WaylandConnection();

    wl_display* get() const { return display_.get(); }

    /// Binds all global objects of an interface, in the compositor's order, with this version or, where the
    /// compositor has only a lower one, with that.
    template <class Object>
    std::vector<Object*> bindAll(const wl_interface& interface, std::uint32_t version) {
        std::vector<Object*> objects;
        for (void* object : bindGlobals(interface, version))
            objects.push_back(static_cast<Object*>(object));
        return objects;
    }
    /// The first of them. Throws std::runtime_error when there is none.
    template <class Object>
    Object* bind(const wl_interface& interface, std::uint32_t version) {
        const auto objects = bindAll<Object>(interface, version);
        if (objects.empty()) fail(std::string("The compositor has no ") + interface.name);
        return objects.front();
    }

    /// Frees an object with the connection, as it does with bound ones.
    template <class Object>
    Object* keep(Object* object) {
        kept_.push_back(reinterpret_cast<wl_proxy*>(object));
        return object;
    }

    /// Returns when the compositor has processed all requests. Throws std::runtime_error when it is gone.
    void sync() const;
    /// Waits for events and passes them to their listeners. Throws std::runtime_error when none come within
    /// ten seconds or the compositor is gone.
    void dispatch() const;

 private:
    struct Global {
        std::uint32_t name;
        std::string interface;
        std::uint32_t version;
    };
    struct Disconnect {
        void operator()(wl_display* display) const { wl_display_disconnect(display); }
    };

    [[noreturn]] static void fail(const std::string& sentence);
    std::vector<void*> bindGlobals(const wl_interface& interface, std::uint32_t version);

    std::unique_ptr<wl_display, Disconnect> display_;
    wl_registry* registry_ = nullptr;
    std::vector<Global> globals_;
    std::vector<wl_proxy*> kept_;
};

}  // namespace lumicrate::stage
