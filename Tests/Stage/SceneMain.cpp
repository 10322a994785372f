// lumicrate-scene: plays a scene on $DISPLAY.
#include "Tests/Stage/Scene/FrameNumber.h"
#include "Tests/Stage/Scene/Pacer.h"
#include "Tests/Stage/Scene/Scene.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::stage {

namespace {

constexpr const char* usage =
    "lumicrate-scene SCENE [--size WxH] [--seconds S] [--fps N] [--seed N] [--number] [--hold] [--steps N]\n"
    "Plays a scene, for S seconds or until it is told to end (SIGINT, SIGTERM). It writes \"ready\" when its "
    "first\n"
    "picture stands, and at the end \"drawn N\", the number of steps drawn.\n"
    "  --size WxH   in an ordinary window of that size; else over the whole screen\n"
    "  --fps N      steps a second, when the scene's own rate is not wanted\n"
    "  --number     each step also burns its number into the top-left corner\n"
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
    bool holds = false;
};

std::optional<std::pair<int, int>> parseSize(const std::string& text) {
    std::pair<int, int> size;
    if (std::sscanf(text.c_str(), "%dx%d", &size.first, &size.second) != 2) return std::nullopt;
    return size;
}

std::optional<Request> parse(const std::vector<std::string>& arguments) {
    if (arguments.empty()) return std::nullopt;
    Request request;
    request.scene = arguments[0];
    request.canvas.title = "lumicrate-scene " + request.scene;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const auto& argument = arguments[i];
        if (argument == "--number") {
            request.isNumbered = true;
            continue;
        }
        if (argument == "--hold") {
            request.holds = true;
            continue;
        }
        if (++i == arguments.size()) return std::nullopt;
        const auto& value = arguments[i];
        if (argument == "--size") {
            request.canvas.size = parseSize(value);
            if (!request.canvas.size) return std::nullopt;
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
        canvas_.sync();
        say("ready");
        auto event = request_.steps ? drawSteps(*request_.steps) : playSteps();
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
        if (request_.isNumbered) {
            FrameNumber::draw(bar_, step.number);
            canvas_.put(bar_);
        }
        canvas_.sync();
        ++drawn_;
    }

    const Request& request_;
    // Before the scene: its signals must be blocked when a scene starts threads.
    Pacer pacer_;
    Canvas canvas_;
    std::unique_ptr<Scene> scene_;  // after the canvas, which keeps its pictures
    Image bar_{FrameNumber::barWidth, FrameNumber::blockSize};
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
