// SPDX-License-Identifier: GPL-3.0-or-later
// NSURLSession: downloads small files over https.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace lumicrate {

struct NSURLRequest {
    std::string url;                       ///< "https://…"
    std::chrono::seconds timeoutInterval;  ///< for all of it, from the name look-up to the last byte
    std::size_t maxBytes;                  ///< a longer body is a failure
};

/// Main thread. Never blocks it.
class NSURLSession {
 public:
    /// Nothing if the body could not be received completely, for whatever reason.
    using Completion = std::function<void(std::optional<std::string> body)>;

    virtual ~NSURLSession() = default;

    /// Sends a GET request and calls `completion` once, later, on the main thread; not at all if the session
    /// is destroyed before. Uses https alone, also after a redirect. Caches nothing, and sends nothing about
    /// the user: no cookies, no language, no version.
    virtual void data(const NSURLRequest& request, Completion completion) = 0;
};

}  // namespace lumicrate
