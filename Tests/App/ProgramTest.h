// What the end-to-end tests share: running the real program, drawing on a display, and reading a display
// back.
#pragma once

#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Picture.h"
#include "Tests/Stage/Xcb.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::test {

/// How a run of the program ended.
struct Outcome {
    int status = -1;
    std::string output;
    std::string error;

    /// The last line of standard output.
    std::filesystem::path file() const;
};

/// `lumicrate ARGUMENTS…`, running; `launcher` is what comes before it on the command line (`nice`, say).
class Program {
 public:
    explicit Program(std::vector<std::string> arguments, const stage::Environment& environment = {},
                     std::vector<std::string> launcher = {});

    stage::ChildProcess& process() { return process_; }
    /// Waits until it is writing a new movie, which has a hidden name or none. Throws std::runtime_error when
    /// it ends before.
    void awaitWriting();
    /// Waits for the end.
    Outcome end(double seconds = 60);

 private:
    stage::ChildProcess process_;
};

/// What the program says on standard error, line by line. That a busy machine costs pictures is another
/// matter.
std::vector<std::string> sentences(const Outcome& outcome);

Outcome run(std::vector<std::string> arguments, const stage::Environment& environment = {});

/// Arguments for a recording at native size into `output`, without a countdown or sound unless `more` asks
/// for it.
std::vector<std::string> recordArguments(const std::filesystem::path& output,
                                         const std::vector<std::string>& more);

/// Waits until a recording of something that moves is running: until its file grows. Throws
/// std::runtime_error when it does not.
void awaitGrowth(const std::filesystem::path& file);

/// A scene on $DISPLAY, up and drawn once.
class RunningScene {
 public:
    explicit RunningScene(std::vector<std::string> arguments);

    /// Waits until the scene has drawn all it has to draw; its last picture stays.
    void awaitDrawn(double seconds);

 private:
    stage::ChildProcess process_;
};

/// A client of $DISPLAY that paints on the root window and reads it.
class Painter {
 public:
    Painter();

    void fill(int x, int y, int width, int height, std::uint32_t rgb);
    void movePointer(int x, int y);
    /// Red, green and blue of every pixel of a part of the screen, row by row.
    std::vector<stage::Rgb> read(int x, int y, int width, int height);

 private:
    void sync();

    stage::XcbConnection connection_;
    xcb_gcontext_t context_;
};

}  // namespace lumicrate::test
