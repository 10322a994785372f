// SPDX-License-Identifier: GPL-3.0-or-later
#include "Support/Log.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

namespace lumicrate {

namespace {

constexpr std::array<std::string_view, 9> areaNames{"recorder", "capture", "input",   "audio", "encoder",
                                                    "movie",    "library", "desktop", "ui"};
constexpr unsigned allAreas = (1U << areaNames.size()) - 1;

constexpr unsigned bit(LogArea area) {
    return 1U << static_cast<unsigned>(area);
}

/// Unknown names are ignored: a typing error must not stop the program.
unsigned areasOf(std::string_view list) {
    unsigned areas = 0;
    while (!list.empty()) {
        const std::size_t comma = list.find(',');
        const std::string_view name = list.substr(0, comma);
        list = comma == std::string_view::npos ? std::string_view() : list.substr(comma + 1);
        if (name == "all") areas = allAreas;
        for (std::size_t i = 0; i < areaNames.size(); ++i)
            if (areaNames[i] == name) areas |= 1U << i;
    }
    return areas;
}

unsigned requestedAreas() {
    const char* const list = std::getenv("LUMICRATE_LOG");
    return list ? areasOf(list) : 0;
}

struct State {
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::atomic<unsigned> areas{requestedAreas()};
    std::mutex mutex;
    LogSink sink;  ///< standard error without one
};

/// Never destroyed: threads may log until the process exits.
State& state() {
    static State& only = *new State;
    return only;
}

}  // namespace

bool isLogged(LogArea area) noexcept {
    return (state().areas.load(std::memory_order_relaxed) & bit(area)) != 0;
}

std::string_view logAreaName(LogArea area) {
    return areaNames[static_cast<std::size_t>(area)];
}

LogCapture::LogCapture(LogSink sink) {
    const std::lock_guard lock(state().mutex);
    state().sink = std::move(sink);
    state().areas = allAreas;
}

LogCapture::~LogCapture() {
    const std::lock_guard lock(state().mutex);
    state().sink = nullptr;
    state().areas = requestedAreas();
}

std::string detail::logText(double value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%g", value);
    return text.data();
}

void detail::writeLogLine(LogArea area, std::initializer_list<std::string> parts) {
    std::string text;
    for (const std::string& part : parts)
        text += part;
    State& shared = state();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - shared.start;
    const std::lock_guard lock(shared.mutex);
    if (shared.sink) {
        shared.sink(area, elapsed.count(), text);
    } else {
        std::fprintf(stderr, "%9.3f %-8s %s\n", elapsed.count(), logAreaName(area).data(), text.c_str());
    }
}

}  // namespace lumicrate
