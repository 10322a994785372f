// Suppressions of the thread sanitizer for libpipewire, which is not instrumented: the sanitizer does not see
// how the library passes newly mapped memory to its real-time thread.

// The name is the sanitizer's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" const char* __tsan_default_suppressions();

const char* __tsan_default_suppressions() {
    return "race:pw_memblock_map";
}
// NOLINTEND(bugprone-reserved-identifier)
