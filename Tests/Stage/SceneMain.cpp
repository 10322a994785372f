// lumicrate-scene: plays a scene on $DISPLAY.
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
    "lumicrate-scene SCENE [--size WxH] [--seconds S] [--fps N] [--seed N] [--number] [--hold] [--steps N]\n"
    "                      [--number-at X,Y] [--window] [--times]\n"
    "Plays a scene, for S seconds or until it is told to end (SIGINT, SIGTERM). It writes \"ready\" when its "
    "first\n"
    "picture stands, and at the end \"drawn N\", the number of steps drawn.\n"
    "  --size WxH   in an ordinary window of that size; else over the whole screen\n"
    "  --fps N      steps a second, when the scene's own rate is not wanted\n"
    "  --number     each step also burns its number into the top-left corner\n"
    "  --number-at X,Y  the same, with that place for the corner\n"
    "  --window     the number goes into the corner of the scene's main window, of which \"window ID\" is "
    "written first\n"
    "  --times      writes \"times\" and when each step stood on the screen, in seconds of CLOCK_MONOTONIC, "
    "before \"drawn\"\n"
    "  --steps N    exactly N steps, as fast as the display takes them, to see what a step looks like\n"
    "  --hold       after the last step the picture stays until the program is told to end\n"
    "SIGUSR1 makes the scene rest: it draws no more, says how much it drew, and its picture stays.\n"
    "Scenes:";

struct Request {
    std::string scene;
    Canvas::Options canvas;
    std::optional<double> seconds;
    std::optional<int> steps;
    double rate = 0;
    int seed = 1;
    bool isNumbered = false;
    std::pair<int, int> numberPlace;
    bool showsWindow = false;
    bool tellsTimes = false;
    bool holds = false;
};

// Two numbers with something given between.
std::optional<std::pair<int, int>> parsePair(const std::string& text, char between) {
    std::pair<int, int> pair;
    char found = 0;
    if (std::sscanf(text.c_str(), "%d%c%d", &pair.first, &found, &pair.second) != 3 || found != between)
        return std::nullopt;
    return pair;
}

// Whether it was one of the options without a value.
bool parseFlag(const std::string& argument, Request& request) {
    if (argument == "--number") {
        request.isNumbered = true;
    } else if (argument == "--window") {
        request.isNumbered = request.showsWindow = true;
    } else if (argument == "--times") {
        request.tellsTimes = true;
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
    request.canvas.title = "lumicrate-scene " + request.scene;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const auto& argument = arguments[i];
        if (parseFlag(argument, request)) continue;
        if (++i == arguments.size()) return std::nullopt;
        const auto& value = arguments[i];
        if (argument == "--size") {
            request.canvas.size = parsePair(value, 'x');
            if (!request.canvas.size) return std::nullopt;
        } else if (argument == "--number-at") {
            const auto place = parsePair(value, ',');
            if (!place) return std::nullopt;
            request.isNumbered = true;
            request.numberPlace = *place;
        } else if (argument == "--seconds") {
            request.seconds = std::strtod(value.c_str(), nullptr);
        } else if (argument == "--steps") {
            request.steps = std::atoi(value.c_str());
        } else if (argument == "--fps") {
            request.rate = std::strtod(value.c_str(), nullptr);
        } else if (argument == "--seed") {
            request.seed = std::atoi(value.c_str());
        } else {
            return std::nullopt;
        }
    }
    return request;
}

class Player {
 public:
    Player(const Request& request)
        : request_(request), canvas_(request.canvas), scene_(makeScene(request.scene, request.seed)) {}

    void play() {
        scene_->begin(canvas_);
        if (request_.isNumbered) placeNumber();
        canvas_.sync();
        if (request_.showsWindow) std::printf("window %u\n", scene_->subject(canvas_).id());
        say("ready");
        auto event = request_.steps ? drawSteps(*request_.steps) : playSteps();
        if (request_.tellsTimes) printTimes();
        std::printf("drawn %d\n", drawn_);
        std::fflush(stdout);
        const bool stays = request_.holds || scene_->staysAtEnd() || event == Pacer::Event::Rest;
        while (stays && event != Pacer::Event::Quit) {
            event = pacer_.waitForSignal();
        }
    }

 private:
    static void say(const char* word) {
        std::puts(word);
        std::fflush(stdout);
    }

    void printTimes() const {
        std::printf("times");
        for (const Nanoseconds time : times_) {
            std::printf(" %.6f", static_cast<double>(time) * 1e-9);
        }
        std::printf("\n");
    }

    // Windows of a scene can come to lie over any place of the canvas, so there the number gets a window
    // above.
    void placeNumber() {
        const auto [x, y] = request_.numberPlace;
        const bool isCovered = &scene_->subject(canvas_) != &canvas_ && !request_.showsWindow;
        if (isCovered) numberWindow_ = canvas_.openWindow({x, y, bar_.width(), bar_.height()}, "Number");
    }

    void drawNumber(int number) {
        FrameNumber::draw(bar_, number);
        if (numberWindow_) {
            numberWindow_->put(bar_);
        } else if (request_.showsWindow) {
            scene_->subject(canvas_).put(bar_);
        } else {
            canvas_.put(bar_, request_.numberPlace.first, request_.numberPlace.second);
        }
    }

    // Draws until the time is up (Due) or a signal comes.
    Pacer::Event playSteps() {
        const double rate = request_.rate > 0 ? request_.rate : scene_->rate();
        const Nanoseconds start = now();
        const Nanoseconds end = start + nanoseconds(request_.seconds.value_or(1e9));
        if (rate == 0) return pacer_.waitUntil(end);
        Nanoseconds due = start;
        while (due < end) {
            const auto event = pacer_.waitUntil(due);
            if (event != Pacer::Event::Due) return event;
            draw({drawn_, static_cast<double>(due - start) * 1e-9, due});
            due += nanoseconds(scene_->interval(rate));
            // A machine that was held up does not make up for it with a burst that no recorder could follow.
            const Nanoseconds late = now() - due;
            if (late > nanoseconds(1 / rate)) due += late;
        }
        return pacer_.waitUntil(end);
    }

    Pacer::Event drawSteps(int count) {
        while (drawn_ < count) {
            draw({drawn_, drawn_ / scene_->rate(), now()});
        }
        return Pacer::Event::Due;
    }

    void draw(const Step& step) {
        scene_->step(canvas_, step);
        if (request_.isNumbered) drawNumber(step.number);
        canvas_.sync();
        times_.push_back(now());
        ++drawn_;
    }

    const Request& request_;
    // Before the scene: its signals must be blocked when a scene starts threads.
    Pacer pacer_;
    Canvas canvas_;
    std::unique_ptr<Scene> scene_;  // after the canvas, which keeps its pictures
    Image bar_{FrameNumber::barWidth, FrameNumber::blockSize};
    std::unique_ptr<Surface> numberWindow_;
    std::vector<Nanoseconds> times_;
    int drawn_ = 0;
};

}  // namespace

}  // namespace lumicrate::stage

int main(int argc, char** argv) {
    const auto request = lumicrate::stage::parse({argv + 1, argv + argc});
    if (!request) {
        std::fputs(lumicrate::stage::usage, stderr);
        for (const auto& name : lumicrate::stage::sceneNames()) {
            std::fprintf(stderr, " %s", name.c_str());
        }
        std::fputs("\n", stderr);
        return 2;
    }
    try {
        lumicrate::stage::Player(*request).play();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lumicrate-scene: %s\n", error.what());
        return 1;
    }
}
