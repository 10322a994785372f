// SPDX-License-Identifier: GPL-3.0-or-later
// check(): an invariant that a fuzz target verifies.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace lumicrate::fuzz {

/// Aborts unless the invariant holds, so that the fuzzer reports the input.
inline void check(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "Not true: %s.\n", what);
    std::abort();
}

}  // namespace lumicrate::fuzz
