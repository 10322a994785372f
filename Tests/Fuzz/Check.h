// What the fuzz targets hold to be true.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace lumicrate::fuzz {

/// Ends the process, which is what finds the fault, when something is not as it is to be.
inline void check(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "It doesn't hold that %s.\n", what);
    std::abort();
}

}  // namespace lumicrate::fuzz
