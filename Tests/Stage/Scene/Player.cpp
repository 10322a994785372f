#include "Tests/Stage/Scene/FrameNumber.h"
#include "Tests/Stage/Scene/Pacer.h"
#include "Tests/Stage/Scene/Scene.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::stage {

namespace {

constexpr const char* usage =
    "lumicrate-scene SCENE [OPTION…]\n"
    "Plays a scene on $DISPLAY, until it is told to end (SIGINT, SIGTERM) unless it has an end. It writes\n"
    "\"ready\" when its first picture is drawn, and at the end \"drawn N\", the number of steps drawn.\n"
    "  --seconds S      ends after S seconds\n"
    "  --steps N        draws exactly N steps, as fast as the display accepts them\n"
    "  --fps N          steps a second, instead of the scene's own rate\n"
    "  --number         each step draws its number into the top-left corner\n"
    "  --number-at X,Y  the same, with the corner there\n"
    "  --window         the number goes into the corner of the scene's main window; \"window ID\" comes "
    "before\n"
    "                   \"ready\"\n"
    "  --times          before \"drawn\", writes \"times\" and when each step was drawn, in seconds of\n"
    "                   CLOCK_MONOTONIC\n"
    "  --hold           after the last step the picture stays until the program is told to end\n"
    "SIGUSR1 pauses the scene: it draws no more, writes its last lines, and its picture stays.\n"
    "Scenes:";

struct Request {
    std::string scene;
    std::optional<double> seconds;
    std::optional<int> steps;
    double rate = 0;
    bool hasNumber = false;
    std::pair<int, int> numberPlace;
    bool inMainWindow = false;
    bool printsTimes = false;
    bool holds = false;
};

/// Whether it is one of the options without a value.
bool parseFlag(const std::string& argument, Request& request) {
    if (argument == "--number" || argument == "--window") {
        request.hasNumber = true;
        request.inMainWindow = request.inMainWindow || argument == "--window";
    } else if (argument == "--times") {
        request.printsTimes = true;
    } else if (argument == "--hold") {
        request.holds = true;
    } else {
        return false;
    }
    return true;
}

std::optional<Request> parse(const std::vector<std::string>& arguments) {
    if (arguments.empty()) return std::nullopt;
    Request request;
    request.scene = arguments[0];
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const auto& argument = arguments[i];
        if (parseFlag(argument, request)) continue;
        if (++i == arguments.size()) return std::nullopt;
        const auto& value = arguments[i];
        if (argument == "--number-at") {
            auto& [x, y] = request.numberPlace;
            if (std::sscanf(value.c_str(), "%d,%d", &x, &y) != 2) return std::nullopt;
            request.hasNumber = true;
        } else if (argument == "--seconds") {
            request.seconds = std::strtod(value.c_str(), nullptr);
        } else if (argument == "--steps") {
            request.steps = std::atoi(value.c_str());
        } else if (argument == "--fps") {
            request.rate = std::strtod(value.c_str(), nullptr);
        } else {
            return std::nullopt;
        }
    }
    return request;
}

class Player {
 public:
    Player(const SceneMakers& scenes, const Request& request)
        : request_(request), scene_(scenes.at(request.scene)(*canvas_, Random(1))) {
        if (request.hasNumber) openNumberWindow();
        canvas_->sync();
    }

    void play() {
        if (request_.inMainWindow) std::printf("window %u\n", mainWindow().id());
        std::puts("ready");
        std::fflush(stdout);
        auto event = request_.steps ? drawSteps(*request_.steps) : playSteps();
        if (request_.printsTimes) printTimes();
        std::printf("drawn %d\n", drawn_);
        std::fflush(stdout);
        const bool stays = request_.holds || scene_.staysAtEnd || event == Pacer::Event::Rest;
        while (stays && event != Pacer::Event::Quit)
            event = pacer_.waitForSignal();
    }

 private:
    Surface& mainWindow() { return scene_.mainWindow ? *scene_.mainWindow : *canvas_; }

    void printTimes() const {
        std::printf("times");
        for (const Nanoseconds time : times_)
            std::printf(" %.6f", static_cast<double>(time) * 1e-9);
        std::printf("\n");
    }

    /// Windows of a scene may cover any part of the canvas, so the number is in a window above them.
    void openNumberWindow() {
        const auto [x, y] = request_.numberPlace;
        if (scene_.mainWindow && !request_.inMainWindow)
            numberWindow_ = canvas_->openWindow({x, y, bar_.width(), bar_.height()}, "Number");
    }

    void drawNumber(int number) {
        FrameNumber::draw(bar_, number);
        if (numberWindow_) {
            numberWindow_->put(bar_);
        } else if (request_.inMainWindow) {
            mainWindow().put(bar_);
        } else {
            canvas_->put(bar_, request_.numberPlace.first, request_.numberPlace.second);
        }
    }

    /// Draws until the time is up (Due) or a signal comes.
    Pacer::Event playSteps() {
        const double rate = request_.rate > 0 ? request_.rate : scene_.rate;
        const Nanoseconds start = now();
        const Nanoseconds end = start + nanoseconds(request_.seconds.value_or(1e9));
        if (rate == 0) return pacer_.waitUntil(end);
        Nanoseconds due = start;
        while (due < end) {
            const auto event = pacer_.waitUntil(due);
            if (event != Pacer::Event::Due) return event;
            draw({drawn_, static_cast<double>(due - start) * 1e-9, due});
            due += nanoseconds(scene_.interval(rate));
            // After a delay there is no burst to make up for it, which no recorder could follow.
            const Nanoseconds late = now() - due;
            if (late > nanoseconds(1 / rate)) due += late;
        }
        return pacer_.waitUntil(end);
    }

    Pacer::Event drawSteps(int count) {
        while (drawn_ < count)
            draw({drawn_, drawn_ / scene_.rate, now()});
        return Pacer::Event::Due;
    }

    void draw(const Step& step) {
        scene_.step(step);
        if (request_.hasNumber) drawNumber(step.number);
        canvas_->sync();
        times_.push_back(now());
        ++drawn_;
    }

    const Request& request_;
    // First: its signals must be blocked when a scene starts threads.
    Pacer pacer_;
    std::unique_ptr<Surface> canvas_ = Surface::openCanvas("lumicrate-scene " + request_.scene);
    Scene scene_;
    Image bar_{FrameNumber::barWidth, FrameNumber::blockSize};
    std::unique_ptr<Surface> numberWindow_;
    std::vector<Nanoseconds> times_;
    int drawn_ = 0;
};

}  // namespace

int playScene(const SceneMakers& scenes, int argc, char** argv) {
    const auto request = parse({argv + 1, argv + argc});
    if (!request || !scenes.contains(request->scene)) {
        std::fputs(usage, stderr);
        for (const auto& [name, maker] : scenes)
            std::fprintf(stderr, " %s", name.c_str());
        std::fputs("\n", stderr);
        return 2;
    }
    try {
        Player(scenes, *request).play();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}

}  // namespace lumicrate::stage
