// SPDX-License-Identifier: GPL-3.0-or-later
// Measures the library with many recordings: the list, their lengths, and one change in the folder.
//
//   lumicrate-library-bench [FOLDER] [COUNT]

#include "App/QtExecutor.h"
#include "App/RecorderServices.h"
#include "Linux/Desktop/DesktopServices.h"
#include "Linux/Desktop/FileManager.h"
#include "Linux/Desktop/FolderWatch.h"
#include "Lumicrate/Library/RecordingFolder.h"
#include "Lumicrate/Library/RecordingLibrary.h"
#include "Support/Notifications.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/ChildProcess.h"

#include <fmt/format.h>
#include <time.h>

#include <QCoreApplication>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

namespace lumicrate {
namespace {

using Path = std::filesystem::path;

double processSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// Prints the time until `done` while the main thread processes events.
void measure(const std::string& what, const std::function<void()>& begin, const std::function<bool()>& done) {
    const auto start = std::chrono::steady_clock::now();
    const double busy = processSeconds();
    begin();
    while (!done())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    fmt::print("{:<44} {:8.1f} ms {:8.1f} ms\n", what, taken.count() * 1000,
               (processSeconds() - busy) * 1000);
}

/// Instead of the user's own.
void setVideosFolder(const Path& folder) {
    std::ofstream(folder / "user-dirs.dirs") << "XDG_VIDEOS_DIR=\"" << folder.string() << "\"\n";
    setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
}

void makeRecordings(const Path& folder, int count) {
    std::filesystem::create_directories(folder);
    const Path first = folder / "0.mp4";
    stage::runProgram(
        {"ffmpeg",    "-v",    "error", "-f",        "lavfi", "-i",      "testsrc=s=320x180:d=10",
         "-f",        "lavfi", "-i",    "sine=d=10", "-c:v",  "libx264", "-preset",
         "ultrafast", "-crf",  "40",    "-c:a",      "aac",   first});
    for (int i = 1; i < count; ++i)
        std::filesystem::copy_file(first, folder / (std::to_string(i) + ".mp4"));
}

void run(const Path& parent, int count) {
    const test::TemporaryFolder home(parent);
    setVideosFolder(home.path());
    desktop::FileManager files;
    const desktop::Calendar calendar;
    desktop::UserDefaults defaults;
    const RecordingFolder folder(files, calendar, defaults);
    makeRecordings(folder.folder(), count);

    app::QtExecutor executor;
    desktop::Workspace workspace;
    NotificationCenter notifications;
    RecordingLibrary library(
        {executor, files, notifications, folder, workspace, app::lengthReaders(),
         [](const Path& watched) { return std::make_unique<desktop::FolderWatch>(watched); }, nullptr,
         nullptr});
    const auto& list = library.recordings;
    fmt::print("{:<44} {:>11} {:>11}\n", fmt::format("{} recordings", count), "time", "CPU");
    measure(
        "the list", [&] { library.reload(); }, [&] { return true; });
    measure(
        "all lengths", [] {}, [&] { return !*library.readsDurations(); });
    measure(
        "the list again", [&] { library.reload(); }, [&] { return true; });
    measure(
        "one recording more, seen and measured",
        [&] { std::filesystem::copy_file(folder.folder() / "0.mp4", folder.folder() / "new.mp4"); },
        [&] { return list->size() == static_cast<std::size_t>(count) + 1 && !*library.readsDurations(); });
    measure(
        "one less", [&] { std::filesystem::remove(folder.folder() / "new.mp4"); },
        [&] { return list->size() == static_cast<std::size_t>(count); });
}

}  // namespace
}  // namespace lumicrate

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    try {
        const std::filesystem::path parent = argc > 1 ? argv[1] : std::filesystem::temp_directory_path();
        lumicrate::run(parent, argc > 2 ? std::stoi(argv[2]) : 10'000);
    } catch (const std::exception& error) {
        fmt::print(stderr, "{}\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
