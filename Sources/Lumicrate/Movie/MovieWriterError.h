// What can go wrong while a movie is written, beyond the platform's own errors.
#pragma once

#include "Support/Error.h"

namespace lumicrate {

class MovieWriterError final : public LocalizedError {
 public:
    enum Case {
        noFrames,        ///< nothing was captured that could have been written
        cannotAddInput,  ///< the file cannot hold a track of the wanted form
        unknown,         ///< the writer failed without saying why
    };

    explicit MovieWriterError(Case which) : LocalizedError(description(which)), which_(which) {}
    Case which() const { return which_; }

 private:
    static std::string description(Case which) {
        switch (which) {
            case noFrames:
                return localized("No video frames were captured.");
            case cannotAddInput:
                return localized("The movie file couldn't be set up for this format.");
            case unknown:
                break;
        }
        return localized("The movie file couldn't be written.");
    }

    Case which_;
};

}  // namespace lumicrate
