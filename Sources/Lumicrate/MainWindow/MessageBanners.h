// MessageBanners: what went wrong or is worth knowing, until it is dismissed.
#pragma once

#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Support/Published.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// Shows the recorder's error and notices, and what other parts complain of. Beginning another recording
/// takes the recorder's messages away; a new complaint takes the place of the former. Main thread.
class MessageBanners {
 public:
    struct Banner {
        enum class Kind { error, notice };

        std::uint64_t id = 0;
        Kind kind = Kind::error;
        std::string text;
        bool operator==(const Banner&) const = default;
    };

    /// The recorder must outlive it.
    explicit MessageBanners(const ScreenRecorder& recorder);
    MessageBanners(const MessageBanners&) = delete;
    MessageBanners& operator=(const MessageBanners&) = delete;

    /// Errors first.
    Published<std::vector<Banner>> banners;

    void complain(const std::string& sentence);
    void dismiss(std::uint64_t id);

 private:
    void showError(const std::optional<std::string>& sentence);
    void showNotices(const std::vector<std::string>& sentences);
    Banner make(Banner::Kind kind, const std::string& text) { return {++lastId_, kind, text}; }
    void publish();

    std::uint64_t lastId_ = 0;
    std::optional<Banner> error_;
    std::optional<Banner> complaint_;
    std::vector<Banner> notices_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace lumicrate
