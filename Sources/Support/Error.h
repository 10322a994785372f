// Errors that a person reads.
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

/// An error of the platform's own, with the platform's own sentence; it passes through the recorder
/// unchanged.
class PlatformError : public LocalizedError {
 public:
    explicit PlatformError(const std::string& description, int code = 0)
        : LocalizedError(description), code_(code) {}
    int code() const { return code_; }

 private:
    int code_;
};

/// The sentence of an error, for people; empty for none.
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
