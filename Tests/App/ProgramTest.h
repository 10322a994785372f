// SPDX-License-Identifier: GPL-3.0-or-later
// ProgramTest: runs the real program on a private desktop. Tests judge it by its output and its movies.
#pragma once

#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/Await.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Stage/Picture.h"
#include "Tests/Stage/PrivateDesktop.h"
#include "Tests/Stage/Xcb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::test {

using stage::eventually;
using stage::MovieProbe;
using stage::Picture;
using stage::Rgb;

/// How a run of the program ended.
struct Outcome {
    int status = -1;
    std::string output;
    std::string error;

    /// The last line of standard output.
    std::filesystem::path file() const;
    /// The lines of standard error without those of the log, which begin with a time, and without the one
    /// about missing pictures, which depends on the machine's load.
    std::vector<std::string> sentences() const;
};

/// `lumicrate ARGUMENTS…`, running. `launcher` precedes it on the command line (`nice`, say).
class Program {
 public:
    explicit Program(std::vector<std::string> arguments, const stage::Environment& environment = {},
                     std::vector<std::string> launcher = {});

    stage::ChildProcess& process() { return process_; }
    /// Waits until it writes a new movie, which has a hidden name or none. Throws std::runtime_error when it
    /// ends before.
    void awaitWriting();
    /// Waits for a state of its recorder. Needs LUMICRATE_LOG=recorder in its environment. Throws
    /// std::runtime_error when it ends before.
    void awaitState(const std::string& name);
    /// Waits for the end.
    Outcome end(double seconds = 60);
    /// Sends a signal and waits for the end, which is expected to be successful.
    Outcome stop(int signal = SIGINT);

 private:
    stage::ChildProcess process_;
};

Outcome run(std::vector<std::string> arguments, const stage::Environment& environment = {});

/// Expects one sentence on standard error, which contains `sentence`, and nothing on standard output.
void expectFailure(const Outcome& outcome, int status, const std::string& sentence);

/// Arguments for a recording at native size into `output`, without a countdown or sound unless `more` has
/// them.
std::vector<std::string> recordArguments(const std::filesystem::path& output,
                                         const std::vector<std::string>& more);

/// Waits until a recording of something that moves is running: until its file grows. Throws
/// std::runtime_error when it does not.
void awaitGrowth(const std::filesystem::path& file);

/// Expects a finished movie with its index in front, of which every picture can be decoded.
void expectPlayable(const std::filesystem::path& file);

/// All names in a folder, including hidden ones, with the bytes of files.
std::map<std::string, std::string> contentsOf(const std::filesystem::path& folder);

/// Sleeps.
void pass(double seconds);
/// Whether the long forms of the tests shall run (LUMICRATE_THOROUGH is set).
bool isThorough();

void xdotool(std::vector<std::string> arguments);

/// A scene on $DISPLAY that has been drawn once.
class RunningScene {
 public:
    explicit RunningScene(std::vector<std::string> arguments);

    /// Waits until the scene has drawn everything; its last picture stays. Returns the number of pictures.
    int awaitDrawn(double seconds);
    stage::ChildProcess& process() { return process_; }

 private:
    stage::ChildProcess process_;
};

/// A client of $DISPLAY that paints on the root window and reads it.
class Painter {
 public:
    Painter();

    void fill(int x, int y, int width, int height, std::uint32_t rgb);
    void movePointer(int x, int y);
    /// The pixels of a part of the screen, row by row.
    std::vector<Rgb> read(int x, int y, int width, int height);

 private:
    stage::XcbConnection connection_;
    xcb_gcontext_t context_;
};

/// A test on the private desktop that all tests of its program share. The first test creates it.
class ProgramTest : public testing::Test {
 protected:
    explicit ProgramTest(const stage::PrivateDesktop::Options& options);

    static stage::PrivateDesktop& desktop();
    static std::string display() { return desktop().display().displayName(); }

    /// Runs `lumicrate record` into `file`, with the recorder's log.
    Program record(const std::vector<std::string>& more, const stage::Environment& environment = {},
                   std::vector<std::string> launcher = {}) const;
    /// The same to its end, which is expected to be successful.
    Outcome recordToEnd(const std::vector<std::string>& more,
                        const stage::Environment& environment = {}) const;
    /// Waits until record() of something that moves has begun and `file` grows.
    void awaitBegun(Program& program) const;

    TemporaryFolder folder;
    std::filesystem::path file = folder / "movie.mp4";
};

}  // namespace lumicrate::test
