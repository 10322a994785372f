// SPDX-License-Identifier: GPL-3.0-or-later
// MessageBanners: errors and notices in the main window, until the user dismisses them.
#pragma once

#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Support/Published.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// Shows the recorder's error and notices, which disappear when the next recording begins, and the last error
/// reported by other parts. Main thread.
class MessageBanners {
 public:
    struct Banner {
        enum class Kind { error, notice };

        std::uint64_t id = 0;
        Kind kind = Kind::error;
        std::string text;
        bool operator==(const Banner&) const = default;
    };

    /// The recorder must outlive this object.
    explicit MessageBanners(const ScreenRecorder& recorder);
    MessageBanners(const MessageBanners&) = delete;
    MessageBanners& operator=(const MessageBanners&) = delete;

    /// Errors first.
    Published<std::vector<Banner>> banners;

    /// Shows an error in place of the one reported before.
    void report(const std::string& sentence);
    void dismiss(std::uint64_t id);

 private:
    void showError(const std::optional<std::string>& sentence);
    void showNotices(const std::vector<std::string>& sentences);
    Banner make(Banner::Kind kind, const std::string& text) { return {++lastId_, kind, text}; }
    void publish();

    std::uint64_t lastId_ = 0;
    std::optional<Banner> error_;
    std::optional<Banner> reported_;
    std::vector<Banner> notices_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate
