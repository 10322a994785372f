// SPDX-License-Identifier: GPL-3.0-or-later
// ReconnectingClient: a client of a display server that survives the server's restart.
#pragma once

#include "Support/Error.h"

#include <functional>
#include <optional>
#include <utility>

namespace lumicrate::capture {

/// The client is created by the first query, and again when a query fails: the server may have been
/// restarted. One thread at a time.
template <class Client>
class ReconnectingClient {
 public:
    explicit ReconnectingClient(std::function<Client()> make) : make_(std::move(make)) {}
    /// The next query creates the client again.
    void reset() { client_.reset(); }

    /// Throws PlatformError when no server can be reached.
    template <class Query>
    auto query(Query query) const {
        if (client_) {
            try {
                return query(*client_);
            } catch (const PlatformError&) {
                client_.reset();
            }
        }
        return query(client_.emplace(make_()));
    }

 private:
    std::function<Client()> make_;
    mutable std::optional<Client> client_;
};

}  // namespace lumicrate::capture
