// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/App/ProgramTest.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace lumicrate::test {

namespace {

std::vector<std::string> commandLine(std::vector<std::string> words, const char* program,
                                     const std::vector<std::string>& arguments) {
    words.emplace_back(program);
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

}  // namespace

std::filesystem::path Outcome::file() const {
    if (output.empty()) return {};
    const std::string text = output.substr(0, output.size() - 1);
    const std::size_t newline = text.rfind('\n');
    return newline == std::string::npos ? text : text.substr(newline + 1);
}

std::vector<std::string> Outcome::sentences() const {
    std::vector<std::string> lines;
    std::istringstream text(error);
    for (std::string line; std::getline(text, line);) {
        const auto isLog = [&] { return line.find_first_of("0123456789") == line.find_first_not_of(' '); };
        if (line.find(" missing because the computer") == std::string::npos && !isLog())
            lines.push_back(line);
    }
    return lines;
}

Program::Program(std::vector<std::string> arguments, const stage::Environment& environment,
                 std::vector<std::string> launcher)
    : process_(commandLine(std::move(launcher), LUMICRATE_PROGRAM, arguments), environment) {}

void Program::awaitWriting() {
    const auto descriptors = "/proc/" + std::to_string(process_.processId()) + "/fd";
    while (process_.isRunning()) {
        std::error_code gone;
        std::filesystem::directory_iterator each(descriptors, gone);
        for (; !gone && each != std::filesystem::directory_iterator(); each.increment(gone)) {
            const std::string file = std::filesystem::read_symlink(each->path(), gone);
            for (const char* mark : {"/#", "/.mix-", "/.trim-", "/.clean-"}) {
                if (file.find(mark) != std::string::npos) return;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    throw std::runtime_error("The program wrote no movie.");
}

void Program::awaitState(const std::string& name) {
    const auto reached = [&] {
        return process_.standardError().find("state " + name + "\n") != std::string::npos;
    };
    if (!eventually([&] { return reached() || !process_.isRunning(); }) || !reached())
        throw std::runtime_error("The recorder is not " + name + ": " + process_.standardError());
}

Outcome Program::end(double seconds) {
    Outcome outcome;
    outcome.status = process_.mustEnd(seconds).exitStatus;
    outcome.output = process_.standardOutput();
    outcome.error = process_.standardError();
    return outcome;
}

Outcome Program::stop(int signal) {
    process_.signal(signal);
    const Outcome outcome = end();
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    return outcome;
}

Outcome run(std::vector<std::string> arguments, const stage::Environment& environment) {
    return Program(std::move(arguments), environment).end();
}

void expectFailure(const Outcome& outcome, int status, const std::string& sentence) {
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.output, "");
    using namespace testing;
    EXPECT_THAT(outcome.sentences(), ElementsAre(AllOf(StartsWith("lumicrate: "), HasSubstr(sentence))));
}

std::vector<std::string> recordArguments(const std::filesystem::path& output,
                                         const std::vector<std::string>& more) {
    std::vector<std::string> all{"record",
                                 "--no-countdown",
                                 "--no-system-audio",
                                 "--no-microphone",
                                 "--no-mix-audio",
                                 "--quality=native",
                                 "--encoding-quality=high",
                                 "--fps=30",
                                 "--format=mp4H264",
                                 "--output",
                                 output};
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

void awaitGrowth(const std::filesystem::path& file) {
    std::uintmax_t first = 0;
    const auto grows = [&] {
        std::error_code missing;
        const std::uintmax_t size = std::filesystem::file_size(file, missing);
        if (missing) return false;
        if (first == 0) first = size;
        return first > 0 && size > first;
    };
    if (!eventually(grows)) throw std::runtime_error("Nothing is written to " + file.string());
}

void expectPlayable(const std::filesystem::path& file) {
    ASSERT_TRUE(std::filesystem::exists(file));
    MovieProbe movie(file);
    const std::vector<double> times = movie.pictureTimes();
    EXPECT_EQ(times.size(), static_cast<std::size_t>(movie.videoTrack().sampleCount));
    ASSERT_FALSE(times.empty());
    EXPECT_GE(movie.duration(), times.back());
    EXPECT_TRUE(movie.indexInFront());
}

std::map<std::string, std::string> contentsOf(const std::filesystem::path& folder) {
    std::map<std::string, std::string> contents;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        contents[entry.path().filename()] = entry.is_directory() ? "" : readText(entry.path());
    return contents;
}

void pass(double seconds) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

bool isThorough() {
    return std::getenv("LUMICRATE_THOROUGH") != nullptr;
}

void xdotool(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "xdotool");
    stage::runProgram(arguments);
}

RunningScene::RunningScene(std::vector<std::string> arguments)
    : process_(commandLine({}, LUMICRATE_SCENE, arguments)) {
    process_.readLine();
}

int RunningScene::awaitDrawn(double seconds) {
    int drawn = 0;
    while (std::sscanf(process_.readLine(seconds).c_str(), "drawn %d", &drawn) != 1) {
    }
    return drawn;
}

Painter::Painter() : connection_(""), context_(xcb_generate_id(connection_.get())) {
    const std::uint32_t includeInferiors = XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS;
    xcb_create_gc(connection_.get(), context_, connection_.screen()->root, XCB_GC_SUBWINDOW_MODE,
                  &includeInferiors);
}

void Painter::fill(int x, int y, int width, int height, std::uint32_t rgb) {
    xcb_change_gc(connection_.get(), context_, XCB_GC_FOREGROUND, &rgb);
    const xcb_rectangle_t rectangle{static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                                    static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height)};
    xcb_poly_fill_rectangle(connection_.get(), connection_.screen()->root, context_, 1, &rectangle);
    connection_.sync();
}

void Painter::movePointer(int x, int y) {
    xcb_warp_pointer(connection_.get(), XCB_NONE, connection_.screen()->root, 0, 0, 0, 0,
                     static_cast<std::int16_t>(x), static_cast<std::int16_t>(y));
    connection_.sync();
}

std::vector<stage::Rgb> Painter::read(int x, int y, int width, int height) {
    const stage::XcbReply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
        connection_.get(),
        xcb_get_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, connection_.screen()->root,
                      static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                      static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), ~0U),
        nullptr));
    if (!reply) throw std::runtime_error("The screen cannot be read");
    const std::uint8_t* pixel = xcb_get_image_data(reply.get());
    std::vector<stage::Rgb> colors(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (stage::Rgb& each : colors) {
        each = {pixel[2], pixel[1], pixel[0]};
        pixel += 4;
    }
    return colors;
}

namespace {

std::unique_ptr<stage::PrivateDesktop> sharedDesktop;

}  // namespace

ProgramTest::ProgramTest(const stage::PrivateDesktop::Options& options) {
    if (!sharedDesktop) sharedDesktop = std::make_unique<stage::PrivateDesktop>(options);
}

stage::PrivateDesktop& ProgramTest::desktop() {
    return *sharedDesktop;
}

Program ProgramTest::record(const std::vector<std::string>& more, const stage::Environment& environment,
                            std::vector<std::string> launcher) const {
    stage::Environment logged{{"LUMICRATE_LOG", "recorder"}};
    logged.insert(environment.begin(), environment.end());
    return Program(recordArguments(file, more), logged, std::move(launcher));
}

Outcome ProgramTest::recordToEnd(const std::vector<std::string>& more,
                                 const stage::Environment& environment) const {
    const Outcome outcome = record(more, environment).end();
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    return outcome;
}

void ProgramTest::awaitBegun(Program& program) const {
    program.awaitState("recording");
    awaitGrowth(file);
}

}  // namespace lumicrate::test
