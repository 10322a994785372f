// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shell/UpdateChecker.h"

#include "Lumicrate/Recording/RecordingOptions.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace lumicrate {

namespace {

using namespace std::chrono_literals;

constexpr std::string_view lastUpdateCheck = "lastUpdateCheck";
constexpr double secondsPerDay = 86400;
constexpr auto timeout = 15s;
constexpr std::size_t maxFeedBytes = 64UL * 1024;
constexpr std::size_t maxVersionLength = 64;
constexpr std::size_t maxAddressLength = 2048;

/// Neither line breaks, which would break the text of an alert, nor other characters than ASCII.
bool isPrintable(std::string_view text) {
    return std::ranges::all_of(text, [](char each) { return each >= ' ' && each <= '~'; });
}

/// Whether the text is an https address with a host. Everything else that a system might open, such as a
/// "file:" address or a program's own scheme, is refused.
bool isSecureAddress(std::string_view text) {
    constexpr std::string_view scheme = "https://";
    if (!text.starts_with(scheme) || text.size() > maxAddressLength) return false;
    const std::string_view rest = text.substr(scheme.size());
    return isPrintable(rest) && rest.find_first_of(" \"<>\\^`{|}") == std::string_view::npos &&
           rest.find_first_of("/?#") != 0 && !rest.empty();
}

std::vector<std::int64_t> numbers(std::string_view version) {
    std::vector<std::int64_t> result;
    while (!version.empty()) {
        const std::string_view piece = version.substr(0, version.find('.'));
        version.remove_prefix(std::min(piece.size() + 1, version.size()));
        std::int64_t number = 0;
        const char* end = piece.data() + piece.size();
        const auto read = std::from_chars(piece.data(), end, number);
        if (read.ec == std::errc() && read.ptr == end) result.push_back(number);
    }
    return result;
}

}  // namespace

UpdateChecker::UpdateChecker(Services services, AppInfo info)
    : services_(std::move(services)), info_(std::move(info)) {}

void UpdateChecker::checkIfDue() {
    if (!services_.defaults.boolForKey(preference::checkForUpdates)) return;
    const double age = services_.secondsSince1970() - services_.defaults.doubleForKey(lastUpdateCheck);
    if (age > secondsPerDay) check(false);
}

void UpdateChecker::check(bool userInitiated) {
    if (!info_.checksForUpdates()) return;
    userWaits_ = userWaits_ || userInitiated;
    if (!checking_.isRunning()) checking_ = RunningTask(services_.executor, runCheck());
}

Task<void> UpdateChecker::runCheck() {
    const Completion<std::optional<std::string>> download(services_.executor);
    services_.session.data(
        {info_.updateFeed(), timeout, maxFeedBytes},
        [download](std::optional<std::string> body) { download.resolve(std::move(body)); });
    const std::optional<std::string> body = co_await download;
    const std::optional<Feed> feed = body ? decode(*body) : std::nullopt;
    const bool userWaits = std::exchange(userWaits_, false);
    log(LogArea::desktop, "update check: ",
        !body   ? "no answer"
        : !feed ? "not a version file"
                : "newest is " + feed->version);
    if (!feed) {
        if (userWaits)
            show(localized("Couldn't check for updates"),
                 localized("Check your internet connection and try again."));
        co_return;
    }
    storeTime();
    if (isNewer(feed->version, info_.version)) {
        offer(*feed);
    } else if (userWaits) {
        show(localized("You're up to date"),
             localized("Lumicrate {} is the latest version.", {info_.version}));
    }
}

void UpdateChecker::storeTime() {
    try {
        services_.defaults.set(lastUpdateCheck, services_.secondsSince1970());
    } catch (const PlatformError&) {
        // Then the next start checks again. Other settings report that they cannot be written.
        log(LogArea::desktop, "the time of the update check can't be stored");
    }
}

void UpdateChecker::show(const std::string& message, const std::string& text) {
    services_.showAlert({message, text, {localized("OK")}, {}}, [](NSAlertResponse) {});
}

void UpdateChecker::offer(const Feed& feed) {
    const NSAlert alert{
        localized("Lumicrate {} is available", {feed.version}),
        localized(
            "You have {}. Download the new version from the website and replace the app in Applications.",
            {info_.version}),
        {localized("Download"), localized("Later")},
        {}};
    const std::string address = feed.download.value_or(info_.downloadPage());
    services_.showAlert(alert, [this, address](NSAlertResponse response) {
        if (response.button != 0) return;
        try {
            services_.workspace.openWebPage(address);
        } catch (const PlatformError& error) {
            services_.complain(error.what());
        }
    });
}

bool UpdateChecker::isNewer(std::string_view a, std::string_view b) {
    std::vector<std::int64_t> ours = numbers(a);
    std::vector<std::int64_t> theirs = numbers(b);
    const std::size_t length = std::max(ours.size(), theirs.size());
    ours.resize(length);
    theirs.resize(length);
    return ours > theirs;
}

std::optional<UpdateChecker::Feed> UpdateChecker::decode(std::string_view text) {
    const nlohmann::json json = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (!json.is_object()) return std::nullopt;
    const auto version = json.find("version");
    if (version == json.end() || !version->is_string()) return std::nullopt;
    Feed feed{*version, {}};
    if (feed.version.size() > maxVersionLength || !isPrintable(feed.version)) return std::nullopt;
    const auto download = json.find("download");
    if (download != json.end() && download->is_string() && isSecureAddress(download->get<std::string>()))
        feed.download = *download;
    return feed;
}

}  // namespace lumicrate
