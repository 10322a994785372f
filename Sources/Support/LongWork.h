// LongWork: what whoever waits for long work has a say in: seeing how far it has come, and giving it up.
#pragma once

#include "Support/Error.h"

#include <functional>
#include <stop_token>

namespace lumicrate {

/// The work was given up because somebody asked for it.
class CancelledError : public LocalizedError {
 public:
    CancelledError() : LocalizedError(localized("It was cancelled.")) {}
};

/// Handed by value to work that takes seconds or minutes. The default wants to see nothing and never stops.
struct LongWork {
    /// Told the part that is done, 0 … 1, growing, on the thread that works; at most a few hundred times.
    std::function<void(double)> onProgress;
    std::stop_token stop;

    /// Tells the part that is done. Throws CancelledError when the work is to be given up.
    void reach(double part) const {
        if (stop.stop_requested()) throw CancelledError();
        if (onProgress) onProgress(part);
    }
};

}  // namespace lumicrate
