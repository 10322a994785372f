#include "Tests/App/Recording.h"

#include <chrono>
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

stage::ChildProcess::Options captured(const stage::Environment& environment) {
    stage::ChildProcess::Options options;
    options.environment = environment;
    options.output = stage::ChildProcess::Output::Capture;
    return options;
}

}  // namespace

std::filesystem::path Outcome::file() const {
    if (output.empty()) return {};
    const std::string text = output.substr(0, output.size() - 1);
    const std::size_t newline = text.rfind('\n');
    return newline == std::string::npos ? text : text.substr(newline + 1);
}

Program::Program(std::vector<std::string> arguments, const stage::Environment& environment,
                 std::vector<std::string> launcher)
    : process_(commandLine(std::move(launcher), LUMICRATE_PROGRAM, arguments), captured(environment)) {}

void Program::awaitWriting() {
    const auto descriptors = "/proc/" + std::to_string(process_.processId()) + "/fd";
    while (process_.isRunning()) {
        std::error_code gone;
        std::filesystem::directory_iterator each(descriptors, gone);
        for (; !gone && each != std::filesystem::directory_iterator(); each.increment(gone)) {
            const std::string file = std::filesystem::read_symlink(each->path(), gone);
            for (const char* mark : {"/#", "/.mix-", "/.trim-"}) {
                if (file.find(mark) != std::string::npos) return;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    throw std::runtime_error("The program wrote no movie.");
}

Outcome Program::end(double seconds) {
    Outcome outcome;
    outcome.status = process_.mustEnd(seconds).exitStatus;
    outcome.output = process_.standardOutput();
    outcome.error = process_.standardError();
    return outcome;
}

std::vector<std::string> sentences(const Outcome& outcome) {
    std::vector<std::string> lines;
    std::istringstream text(outcome.error);
    for (std::string line; std::getline(text, line);) {
        if (line.find(" pictures are missing") == std::string::npos) lines.push_back(line);
    }
    return lines;
}

Outcome run(std::vector<std::string> arguments, const stage::Environment& environment) {
    return Program(std::move(arguments), environment).end();
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
    for (int i = 0; i < 1000; ++i) {
        std::error_code missing;
        const std::uintmax_t size = std::filesystem::file_size(file, missing);
        if (!missing && first > 0 && size > first) return;
        if (!missing && first == 0) first = size;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    throw std::runtime_error("Nothing is written to " + file.string());
}

RunningScene::RunningScene(std::vector<std::string> arguments)
    : process_(commandLine({}, LUMICRATE_SCENE, arguments), captured({})) {
    if (process_.readLine(30) != "ready") throw std::runtime_error("The scene does not come up");
}

void RunningScene::awaitDrawn(double seconds) {
    while (const auto line = process_.readLine(seconds)) {
        if (line->starts_with("drawn ")) return;
    }
    throw std::runtime_error("The scene does not end");
}

Painter::Painter() : connection_(""), context_(xcb_generate_id(connection_.get())) {
    const std::uint32_t includeInferiors = XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS;
    xcb_create_gc(connection_.get(), context_, connection_.screen()->root, XCB_GC_SUBWINDOW_MODE,
                  &includeInferiors);
}

void Painter::sync() {
    const stage::XcbReply<xcb_get_input_focus_reply_t> done(
        xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
}

void Painter::fill(int x, int y, int width, int height, std::uint32_t rgb) {
    xcb_change_gc(connection_.get(), context_, XCB_GC_FOREGROUND, &rgb);
    const xcb_rectangle_t rectangle{static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                                    static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height)};
    xcb_poly_fill_rectangle(connection_.get(), connection_.screen()->root, context_, 1, &rectangle);
    sync();
}

void Painter::movePointer(int x, int y) {
    xcb_warp_pointer(connection_.get(), XCB_NONE, connection_.screen()->root, 0, 0, 0, 0,
                     static_cast<std::int16_t>(x), static_cast<std::int16_t>(y));
    sync();
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

}  // namespace lumicrate::test
