// SPDX-License-Identifier: GPL-3.0-or-later
// Fakes of the services behind the settings.
#pragma once

#include "Platform/NSEvent.h"
#include "Platform/SMAppService.h"
#include "Support/Error.h"

#include <cctype>
#include <functional>
#include <memory>
#include <utility>

namespace lumicrate::test {

class FakeKeyMonitoring final : public NSKeyMonitoring {
 public:
    using Handler = std::function<bool(const NSEvent&)>;
    struct Monitor final : public NSEventMonitor {
        explicit Monitor(int& monitors) : alive(monitors) { ++alive; }
        ~Monitor() override { --alive; }
        int& alive;
    };

    std::unique_ptr<NSEventMonitor> addKeyDownMonitor(Handler onKeyDown) override {
        handler = std::move(onKeyDown);
        return std::make_unique<Monitor>(monitors);
    }
    /// Whether the key was consumed. `typed` is ASCII.
    bool press(std::int64_t keyCode, std::uint64_t flags, std::string typed) {
        const Handler called = handler;
        std::string name = typed;
        for (char& each : name)
            each = static_cast<char>(std::toupper(each));
        return monitors > 0 && called(NSEvent{keyCode, flags, std::move(typed), std::move(name)});
    }

    Handler handler;
    int monitors = 0;
};

class FakeLoginService final : public SMAppService {
 public:
    bool isEnabled() const override { return enabled; }
    void registerLoginItem() override { set(true); }
    void unregisterLoginItem() override { set(false); }
    void set(bool wanted) {
        if (refuses) throw PlatformError("The autostart entry can't be written.");
        enabled = wanted;
    }

    bool enabled = false;
    bool refuses = false;
};

}  // namespace lumicrate::test
