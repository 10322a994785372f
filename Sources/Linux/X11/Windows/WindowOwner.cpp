#include "Linux/X11/Windows/WindowOwner.h"

#include "Linux/X11/Windows/WindowText.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate::x11 {

namespace {

/// The property holds two zero-terminated texts, instance and class. They should be Latin-1, but programs
/// write UTF-8; nearly all names are ASCII.
std::string classIn(std::string_view bytes) {
    const std::size_t zero = bytes.find('\0');
    const std::string text =
        zero == std::string_view::npos ? std::string() : textFromUtf8(bytes.substr(zero + 1));
    return text.empty() ? textFromUtf8(bytes) : text;
}

/// The name of a running process; empty when there is none.
std::string programName(std::int32_t processID) {
    std::ifstream file("/proc/" + std::to_string(processID) + "/comm");
    std::string name;
    std::getline(file, name);
    return textFromUtf8(name);
}

std::optional<std::int32_t> processIn(const Property& property) {
    const auto numbers = property.numbers();
    constexpr std::uint32_t maxProcess = std::numeric_limits<std::int32_t>::max();
    if (numbers.empty() || numbers.front() == 0 || numbers.front() > maxProcess) return std::nullopt;
    return static_cast<std::int32_t>(numbers.front());
}

}  // namespace

ProcessQuery::ProcessQuery(const Connection& connection, std::span<const xcb_window_t> windows)
    : connection_(connection), resourceMask_(xcb_get_setup(connection.get())->resource_id_mask) {
    if (windows.empty() || !connection.hasExtension(xcb_res_id)) return;
    std::vector<std::uint32_t> clients;
    for (const xcb_window_t each : windows)
        clients.push_back(clientOf(each));
    std::ranges::sort(clients);
    const auto repeated = std::ranges::unique(clients);
    clients.erase(repeated.begin(), repeated.end());
    std::vector<xcb_res_client_id_spec_t> specs;
    for (const std::uint32_t each : clients)
        specs.push_back({each, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID});
    cookie_ =
        xcb_res_query_client_ids(connection.get(), static_cast<std::uint32_t>(specs.size()), specs.data());
}

void ProcessQuery::collect() {
    if (!cookie_) return;
    const auto reply = connection_.tryAwait(xcb_res_query_client_ids_reply, *cookie_);
    if (!reply) return;
    for (auto each = xcb_res_query_client_ids_ids_iterator(reply.get()); each.rem > 0;
         xcb_res_client_id_value_next(&each)) {
        if (xcb_res_client_id_value_value_length(each.data) < 1) continue;
        const std::uint32_t process = *xcb_res_client_id_value_value(each.data);
        processes_[clientOf(each.data->spec.client)] = static_cast<std::int32_t>(process);
    }
}

std::optional<std::int32_t> ProcessQuery::processOf(xcb_window_t window) const {
    const auto found = processes_.find(clientOf(window));
    if (found == processes_.end() || found->second <= 0) return std::nullopt;
    return found->second;
}

WindowOwnerQuery::WindowOwnerQuery(const Connection& connection, const WindowAtoms& atoms,
                                   xcb_window_t window)
    : processID_(connection, window, atoms.netWmPid), class_(connection, window, XCB_ATOM_WM_CLASS) {}

std::optional<SCRunningApplication> WindowOwnerQuery::collect(std::optional<std::int32_t> process) const {
    const std::optional<std::int32_t> claimed = processIn(processID_.collect());
    const Property named = class_.collect();
    if (!process) process = claimed;
    std::string name = classIn(named.bytes().value_or(std::string_view()));
    if (name.empty() && process) name = programName(*process);
    if (!process && name.empty()) return std::nullopt;
    return SCRunningApplication{process.value_or(0), std::move(name)};
}

}  // namespace lumicrate::x11
