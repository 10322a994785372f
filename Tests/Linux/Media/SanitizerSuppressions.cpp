// What the sanitizers are told of the libraries that these tests run in their own process.
//
// x265 hands work to its threads in ways that the race detector does not see, since the library is not built
// for it, and keeps a few kilobytes of each encoder that is closed. FFmpeg's decoders count the users of a
// picture's memory across their threads, which it does not see either.

// The names are the sanitizers'.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_options();

const char* __lsan_default_suppressions() {
    return "leak:libx265.so";
}

const char* __tsan_default_suppressions() {
    return "race:libx265.so\nrace:av_buffer_unref";
}

const char* __tsan_default_options() {
    // A test's child process has none of its parent's threads, which would count as lost there.
    return "report_thread_leaks=0";
}
// NOLINTEND(bugprone-reserved-identifier)
