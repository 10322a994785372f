// SPDX-License-Identifier: GPL-3.0-or-later
// Await: waits for what another process, thread or server does in its own time.
#pragma once

#include <chrono>
#include <thread>

namespace lumicrate::stage {

/// Checks `condition` every few milliseconds. Returns false when it does not hold within `timeout`.
///
///     ASSERT_TRUE(eventually([&] { return std::filesystem::exists(file); }));
template <class Condition>
bool eventually(Condition condition, std::chrono::duration<double> timeout = std::chrono::seconds(20),
                std::chrono::milliseconds interval = std::chrono::milliseconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(interval);
    }
    return true;
}

}  // namespace lumicrate::stage
