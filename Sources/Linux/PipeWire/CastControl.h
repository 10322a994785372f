// SPDX-License-Identifier: GPL-3.0-or-later
// CastControl: what the owner of a screen cast and its live picture tell each other while it runs.
#pragma once

#include "Linux/PipeWire/Session.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <utility>

namespace lumicrate::pipewire {

/// Where a cast can be received.
struct CastAddress {
    Remote remote = {};      ///< opens the portal's connection; empty for the user's own server
    std::uint32_t node = 0;  ///< the producer's identifier on that server
};

/// Any thread. One picture at a time listens.
class CastControl {
 public:
    struct News {
        bool hasSlept = false;
        std::optional<CastAddress> replacement;
    };

    /// `onStall` is called on the picture's thread when the cast has stopped delivering and could not be
    /// restarted. It is still received. replace() is the way out; without it the picture stays as it is
    /// until the cast goes on.
    explicit CastControl(std::function<void()> onStall) : onStall_(std::move(onStall)) {}

    // The owner:

    /// Continues with another cast of the same content. The picture stays as it is until that one delivers.
    /// Afterwards the earlier cast may be closed at once.
    void replace(CastAddress address) {
        change([&](News& news) { news.replacement = std::move(address); });
    }
    /// The computer was suspended and runs again.
    void noteWakeUp() {
        change([](News& news) { news.hasSlept = true; });
    }

    // The picture:

    /// `listener` is called when there is news, and not any more once another one, which may be empty, has
    /// been set.
    void setListener(std::function<void()> listener) {
        const std::lock_guard lock(mutex_);
        listener_ = std::move(listener);
    }
    News takeNews() {
        const std::lock_guard lock(mutex_);
        return std::exchange(news_, {});
    }
    bool hasReplacement() const {
        const std::lock_guard lock(mutex_);
        return news_.replacement.has_value();
    }
    void reportStall() const { onStall_(); }

 private:
    template <class Change>
    void change(Change apply) {
        const std::lock_guard lock(mutex_);
        apply(news_);
        if (listener_) listener_();
    }

    const std::function<void()> onStall_;
    mutable std::mutex mutex_;
    News news_;
    std::function<void()> listener_;
};

}  // namespace lumicrate::pipewire
