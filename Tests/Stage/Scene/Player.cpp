// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/Scene/FrameNumber.h"
#include "Tests/Stage/Scene/Scene.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

namespace lumicrate::stage {

namespace {

constexpr const char* usage =
    "lumicrate-scene SCENE [OPTION…]\n"
    "Plays a scene on $DISPLAY, or with --wayland on $WAYLAND_DISPLAY. It writes \"ready\" when its first "
    "picture is drawn. At the end it writes\n"
    "\"times\" and when each step was drawn, in seconds of CLOCK_MONOTONIC, and \"drawn N\", the number of\n"
    "steps. The last picture stays until SIGINT or SIGTERM. SIGUSR1 ends the scene early.\n"
    "  --seconds S      draws for S seconds\n"
    "  --steps N        draws exactly N steps, as fast as the display accepts them\n"
    "  --fps N          steps a second, instead of the scene's own rate\n"
    "  --wayland        on the first output of the Wayland compositor\n"
    "  --output NAME    on that output of it\n"
    "  --number-at X,Y  each step shows its number there, above everything\n"
    "  --window         each step draws its number into the corner of the scene's main window; \"window "
    "ID\"\n"
    "                   comes before \"ready\"\n"
    "Scenes:";

struct Request {
    std::string scene;
    double seconds = 1e9;
    std::optional<int> steps;
    double rate = 0;
    std::optional<std::pair<int, int>> numberPlace;
    bool inMainWindow = false;
    bool isWayland = false;
    std::string output;
};

std::optional<Request> parse(const std::vector<std::string>& arguments) {
    if (arguments.empty()) return std::nullopt;
    Request request;
    request.scene = arguments[0];
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const auto& argument = arguments[i];
        if (argument == "--window") {
            request.inMainWindow = true;
            continue;
        }
        if (argument == "--wayland") {
            request.isWayland = true;
            continue;
        }
        if (++i == arguments.size()) return std::nullopt;
        const char* value = arguments[i].c_str();
        if (argument == "--number-at") {
            auto& [x, y] = request.numberPlace.emplace();
            if (std::sscanf(value, "%d,%d", &x, &y) != 2) return std::nullopt;
        } else if (argument == "--output") {
            request.isWayland = true;
            request.output = value;
        } else if (argument == "--seconds") {
            request.seconds = std::strtod(value, nullptr);
        } else if (argument == "--steps") {
            request.steps = std::atoi(value);
        } else if (argument == "--fps") {
            request.rate = std::strtod(value, nullptr);
        } else {
            return std::nullopt;
        }
    }
    return request;
}

/// Waits for the signals that end a scene.
class Signals {
 public:
    /// Blocks them in this thread: create it before other threads start.
    Signals() {
        sigemptyset(&handled_);
        for (const int number : {SIGINT, SIGTERM, SIGUSR1})
            sigaddset(&handled_, number);
        pthread_sigmask(SIG_BLOCK, &handled_, nullptr);
    }

    /// The next signal; nothing when none comes before `instant`.
    std::optional<int> waitUntil(Nanoseconds instant) const {
        for (;;) {
            const Nanoseconds left = std::max<Nanoseconds>(instant - now(), 0);
            const timespec timeout{left / 1'000'000'000, left % 1'000'000'000};
            const int number = sigtimedwait(&handled_, nullptr, &timeout);
            if (number > 0) return number;
            if (now() >= instant) return std::nullopt;
        }
    }

 private:
    sigset_t handled_{};
};

std::unique_ptr<Surface> openCanvas(const Request& request) {
    const std::string title = "lumicrate-scene " + request.scene;
    return request.isWayland ? openWaylandCanvas(title, request.output) : openXCanvas(title);
}

class Player {
 public:
    Player(const SceneMakers& scenes, const Request& request)
        : request_(request), scene_(scenes.at(request.scene)(*canvas_, Random(1))) {
        // Windows of a scene may cover any part of the canvas, so the number is in a window above them.
        if (const auto& place = request.numberPlace)
            numberWindow_ =
                canvas_->openWindow({place->first, place->second, bar_.width(), bar_.height()}, "Number");
        if (request.inMainWindow) numberWindow_ = scene_.mainWindow ? scene_.mainWindow : canvas_;
        canvas_->sync();
    }

    void play() {
        if (request_.inMainWindow) std::printf("window %u\n", numberWindow_->id());
        std::puts("ready");
        std::fflush(stdout);
        auto signal = request_.steps ? drawSteps(*request_.steps) : playSteps();
        std::printf("times");
        for (const Nanoseconds time : times_)
            std::printf(" %.6f", seconds(time));
        std::printf("\ndrawn %zu\n", times_.size());
        std::fflush(stdout);
        while (!signal || signal == SIGUSR1)
            signal = signals_.waitUntil(now() + nanoseconds(1e9));
    }

 private:
    /// Draws until the time is up or a signal comes.
    std::optional<int> playSteps() {
        const double rate = request_.rate > 0 ? request_.rate : scene_.rate;
        const Nanoseconds start = now();
        const Nanoseconds end = start + nanoseconds(request_.seconds);
        for (Nanoseconds due = start; rate > 0 && due < end;) {
            if (const auto signal = signals_.waitUntil(due)) return signal;
            draw(seconds(due - start), due);
            due += nanoseconds(scene_.interval(rate));
            // After a delay there is no burst to make up for it, which no recorder could follow.
            const Nanoseconds late = now() - due;
            if (late > nanoseconds(1 / rate)) due += late;
        }
        return signals_.waitUntil(end);
    }

    std::optional<int> drawSteps(int count) {
        for (int i = 0; i < count; ++i)
            draw(i / scene_.rate, now());
        return std::nullopt;
    }

    void draw(double sinceStart, Nanoseconds due) {
        const int number = static_cast<int>(times_.size());
        scene_.step({number, sinceStart, due});
        if (numberWindow_) {
            FrameNumber::draw(bar_, number);
            numberWindow_->put(bar_);
        }
        canvas_->sync();
        times_.push_back(now());
    }

    const Request& request_;
    // First: its signals must be blocked when a scene starts threads.
    Signals signals_;
    std::shared_ptr<Surface> canvas_ = openCanvas(request_);
    Scene scene_;
    Image bar_{FrameNumber::barWidth, FrameNumber::blockSize};
    std::shared_ptr<Surface> numberWindow_;
    std::vector<Nanoseconds> times_;
};

}  // namespace

Nanoseconds now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<Nanoseconds>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

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
