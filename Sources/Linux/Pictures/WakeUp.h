// SPDX-License-Identifier: GPL-3.0-or-later
// WakeUp: lets a thread sleep until a descriptor is readable, a time has come, or another thread wakes it.
// earliest(): the next of several times.
#pragma once

#include <chrono>
#include <initializer_list>
#include <optional>

namespace lumicrate::pictures {

/// The earliest of these times, of those that are set.
std::optional<std::chrono::nanoseconds> earliest(
    std::initializer_list<std::optional<std::chrono::nanoseconds>> times);

class WakeUp {
 public:
    /// Throws PlatformError when no descriptor is left.
    WakeUp();
    ~WakeUp();
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    /// Readable after signal() until the next wait() has ended.
    int fileDescriptor() const { return descriptor_; }
    /// Ends the current wait, or the next one. Any thread.
    void signal() noexcept;
    /// Waits until signal() is called, the other descriptor is readable (-1: none), or the host clock reaches
    /// `until`.
    void wait(int otherDescriptor, std::optional<std::chrono::nanoseconds> until = std::nullopt) noexcept;

 private:
    int descriptor_;
};

}  // namespace lumicrate::pictures
