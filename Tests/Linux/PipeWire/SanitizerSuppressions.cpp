// What the race detector is told of libpipewire, which is not built for it: it does not see how the library
// hands the memory that it has just mapped to its real-time thread.

// The name is the sanitizer's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" const char* __tsan_default_suppressions();

const char* __tsan_default_suppressions() {
    return "race:pw_memblock_map";
}
// NOLINTEND(bugprone-reserved-identifier)
