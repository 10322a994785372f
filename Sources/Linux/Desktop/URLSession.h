// SPDX-License-Identifier: GPL-3.0-or-later
// URLSession: https requests with Qt Network.
#pragma once

#include "Platform/NSURLSession.h"
#include "Support/Executor.h"

#include <memory>
#include <vector>

class QThread;

namespace lumicrate::desktop {

/// Each request has a thread with an event loop of its own, so that neither loading the TLS library and the
/// certificates nor asking for a proxy blocks the main thread. Without a request nothing of it is loaded.
/// Certificates are checked against those of the system.
class URLSession final : public NSURLSession {
 public:
    /// `executor` runs the completions and must outlive this object.
    explicit URLSession(Executor& executor);
    /// Ends running requests.
    ~URLSession() override;
    URLSession(const URLSession&) = delete;
    URLSession& operator=(const URLSession&) = delete;

    void data(const NSURLRequest& request, Completion completion) override;
    /// Whether a request is running.
    bool isBusy() const;

 private:
    Executor& executor_;
    std::vector<std::unique_ptr<QThread>> requests_;
};

}  // namespace lumicrate::desktop
