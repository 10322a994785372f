// SPDX-License-Identifier: GPL-3.0-or-later
// Errors whose text is shown to the user.
#pragma once

#include "Support/Text.h"

#include <exception>
#include <stdexcept>
#include <string>

namespace lumicrate {

/// The base of every error that may reach the user; what() is one sentence, already localized.
class LocalizedError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

/// An error reported by the platform, with the platform's own sentence. The recorder passes it on unchanged.
class PlatformError : public LocalizedError {
 public:
    explicit PlatformError(const std::string& description, int code = 0)
        : LocalizedError(description), code_(code) {}
    int code() const { return code_; }

 private:
    int code_;
};

/// The sentence to show for an error; empty for a null pointer.
inline std::string localizedDescription(const std::exception_ptr& error) {
    if (!error) return {};
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& known) {
        return known.what();
    } catch (...) {
        return localized("An unknown error occurred.");
    }
}

}  // namespace lumicrate
