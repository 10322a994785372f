// SPDX-License-Identifier: GPL-3.0-or-later
// Suppressions for the libraries that these tests run in their own process.
//
// x265 is not instrumented, so the race detector does not see how it synchronizes its threads. FFmpeg's
// decoders share reference counts between threads, also unseen. Tests/leaks.supp has the leaks.

// The names are the sanitizers'.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_options();

const char* __tsan_default_suppressions() {
    return "race:libx265.so\nrace:av_buffer_unref";
}

const char* __tsan_default_options() {
    // Threads do not survive fork(), so a test's child process would report them as leaked.
    return "report_thread_leaks=0";
}
// NOLINTEND(bugprone-reserved-identifier)
