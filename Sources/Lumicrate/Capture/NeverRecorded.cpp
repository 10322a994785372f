// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Capture/NeverRecorded.h"

#include "Lumicrate/Capture/SourceLists.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>

namespace lumicrate {

namespace {

char lowered(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool isSameClass(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, lowered, lowered);
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// A process may have several connections to the server; where processes are unknown, connections count.
bool isSameProgram(const SCWindowFacts& a, const SCWindowFacts& b) {
    const bool isSameProcess = a.processID != 0 && a.processID == b.processID;
    const bool isSameClient = a.clientID != 0 && a.clientID == b.clientID;
    const bool isSameLeader = a.leaderID != 0 && a.leaderID == b.leaderID;
    return isSameProcess || isSameClient || isSameLeader;
}

bool belongsTo(const SCWindowFacts& window, const SCWindowFacts& other) {
    return isSameProgram(window, other) || window.leaderID == other.windowID ||
           std::ranges::find(window.transientFor, other.windowID) != window.transientFor.end();
}

}  // namespace

std::vector<std::string> readClasses(std::string_view text) {
    std::vector<std::string> classes;
    while (!text.empty()) {
        const std::size_t comma = std::min(text.find(','), text.size());
        const std::string_view each = trimmed(text.substr(0, comma));
        if (!each.empty() && !isListed(each, classes)) classes.emplace_back(each);
        text.remove_prefix(std::min(comma + 1, text.size()));
    }
    return classes;
}

std::string joinedClasses(const std::vector<std::string>& classes) {
    std::string text;
    for (const std::string& each : classes)
        text += (text.empty() ? "" : ", ") + each;
    return text;
}

bool isListed(std::string_view windowClass, const std::vector<std::string>& classes) {
    return std::ranges::any_of(classes,
                               [&](const std::string& each) { return isSameClass(each, windowClass); });
}

bool isNeverRecorded(const SCWindowFacts& window, std::span<const SCWindowFacts> others,
                     const std::vector<std::string>& classes) {
    if (isListed(window.windowClass, classes)) return true;
    const bool hasClass = !window.windowClass.empty();
    if (hasClass && !window.unmanaged && window.transientFor.empty()) return false;
    bool isProgramKnown = hasClass;
    for (const SCWindowFacts& other : others) {
        if (other.windowClass.empty() || !belongsTo(window, other)) continue;
        if (isListed(other.windowClass, classes)) return true;
        isProgramKnown = isProgramKnown || isSameProgram(window, other);
    }
    return !isProgramKnown;
}

std::vector<SCWindow> withoutNeverRecorded(std::vector<SCWindow> windows,
                                           const std::vector<std::string>& classes) {
    std::set<std::int32_t> processes;
    for (const SCWindow& each : windows)
        if (each.owningApplication && isListed(applicationName(each), classes))
            processes.insert(each.owningApplication->processID);
    processes.erase(0);
    std::erase_if(windows, [&](const SCWindow& each) {
        const std::string windowClass = applicationName(each);
        return isListed(windowClass, classes) || (windowClass.empty() && each.owningApplication &&
                                                  processes.contains(each.owningApplication->processID));
    });
    return windows;
}

}  // namespace lumicrate
