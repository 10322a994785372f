// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/MainWindow/MessageBanners.h"

#include <utility>

namespace lumicrate {

MessageBanners::MessageBanners(const ScreenRecorder& recorder) {
    showError(*recorder.errorMessage);
    showNotices(*recorder.notices);
    subscriptions_.push_back(
        recorder.errorMessage.observe([this](const auto& coming) { showError(coming); }));
    subscriptions_.push_back(recorder.notices.observe([this](const auto& coming) { showNotices(coming); }));
}

void MessageBanners::showError(const std::optional<std::string>& sentence) {
    error_ = sentence ? std::optional(make(Banner::Kind::error, *sentence)) : std::nullopt;
    publish();
}

void MessageBanners::showNotices(const std::vector<std::string>& sentences) {
    notices_.clear();
    for (const std::string& each : sentences)
        notices_.push_back(make(Banner::Kind::notice, each));
    publish();
}

void MessageBanners::report(const std::string& sentence) {
    reported_ = make(Banner::Kind::error, sentence);
    publish();
}

void MessageBanners::dismiss(std::uint64_t id) {
    const auto matches = [id](const Banner& each) { return each.id == id; };
    if (error_ && matches(*error_)) error_.reset();
    if (reported_ && matches(*reported_)) reported_.reset();
    std::erase_if(notices_, matches);
    publish();
}

void MessageBanners::publish() {
    std::vector<Banner> all;
    if (error_) all.push_back(*error_);
    if (reported_) all.push_back(*reported_);
    all.insert(all.end(), notices_.begin(), notices_.end());
    if (all != *banners) banners = std::move(all);
}

}  // namespace lumicrate
