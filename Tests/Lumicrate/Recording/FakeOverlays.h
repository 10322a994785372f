// Overlays that answer as a test decides and note what they were asked.
#pragma once

#include "Lumicrate/Movie/AudioMixing.h"
#include "Lumicrate/Overlays/RecorderOverlays.h"
#include "Support/Error.h"
#include "Support/Executor.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::test {

/// A question that waits for its answer.
template <class Answer>
class Question {
 public:
    explicit Question(Executor& executor) : executor_(executor) {}

    Task<Answer> ask() {
        asked_.emplace_back(executor_);
        const Completion<Answer> answer = asked_.back();
        co_return co_await answer;
    }
    void answer(Answer value) const { asked_.back().resolve(std::move(value)); }
    std::size_t times() const { return asked_.size(); }

 private:
    Executor& executor_;
    std::vector<Completion<Answer>> asked_;
};

struct FakeAreaSelector final : public AreaChoosing {
    explicit FakeAreaSelector(Executor& executor) : question(executor) {}
    Task<std::optional<PickedArea>> select(NSScreen on, std::string title, std::optional<Rect> initial,
                                           std::vector<CaptureDevice> heard, bool onlyWindows) override {
        screen = std::move(on);
        confirmTitle = std::move(title);
        initialArea = initial;
        microphones = std::move(heard);
        windowsOnly = onlyWindows;
        return question.ask();
    }

    Question<std::optional<PickedArea>> question;
    NSScreen screen;
    std::string confirmTitle;
    std::optional<Rect> initialArea;
    std::vector<CaptureDevice> microphones;
    bool windowsOnly = false;
};

struct FakeScreenChooser final : public ScreenChoosing {
    explicit FakeScreenChooser(Executor& executor) : question(executor) {}
    Task<std::optional<std::uint32_t>> choose() override { return question.ask(); }
    Question<std::optional<std::uint32_t>> question;
};

struct FakeCountdown final : public CountdownShowing {
    explicit FakeCountdown(Executor& executor) : question(executor) {}
    Task<bool> run(int count, std::optional<NSScreen> on) override {
        seconds = count;
        screen = std::move(on);
        return question.ask();
    }
    void finish(bool result) override { question.answer(result); }

    Question<bool> question;
    int seconds = 0;
    std::optional<NSScreen> screen;
};

/// A panel that is there or not.
struct FakePanel {
    explicit FakePanel(std::uint32_t windowNumber) : number(windowNumber) {}
    std::optional<std::uint32_t> shownNumber() const { return shown ? std::optional(number) : std::nullopt; }
    std::uint32_t number;
    bool shown = false;
};

struct FakeControlBar final : public ControlBarShowing, public FakePanel {
    using FakePanel::FakePanel;
    void show(std::optional<NSScreen> screen, std::optional<Rect> area) override {
        shown = true;
        on = std::move(screen);
        below = area;
    }
    void hide() override { shown = false; }
    void moveBy(double dx, double dy) override { moved = {moved.x + dx, moved.y + dy}; }
    std::optional<std::uint32_t> windowNumber() const override { return shownNumber(); }
    Point moved;
    std::optional<NSScreen> on;
    std::optional<Rect> below;
};

struct FakeClickHighlighter final : public ClickHighlighting, public FakePanel {
    using FakePanel::FakePanel;
    void show(NSScreen) override { shown = true; }
    void hide() override { shown = false; }
    std::optional<std::uint32_t> windowNumber() const override { return shownNumber(); }
};

struct FakeAreaFrame final : public AreaFraming, public FakePanel {
    using FakePanel::FakePanel;
    void show(Rect area, NSScreen) override {
        shown = true;
        around = area;
    }
    void hide() override { shown = false; }
    std::optional<std::uint32_t> windowNumber() const override { return shownNumber(); }
    Rect around;
};

struct FakeWebcam final : public WebcamBubbleShowing, public FakePanel {
    using FakePanel::FakePanel;
    void showPanel(RecordingOptions) override { shown = true; }
    void apply() override { shown = false; }
    std::optional<Point> moveInside(Rect area) override {
        inside = area;
        return std::exchange(center, Point{area.midX(), area.midY()});
    }
    void moveCenter(Point to) override { center = to; }
    void moveBy(double dx, double dy) override { center = {center.x + dx, center.y + dy}; }
    void setMicrophoneLevel(std::optional<float> heard) override { level = heard; }
    std::optional<std::uint32_t> windowNumber() const override { return shownNumber(); }
    void setOnError(std::function<void(const std::string&)> sink) override { onError = std::move(sink); }

    Rect inside;
    Point center{5, 5};
    std::optional<float> level;
    std::function<void(const std::string&)> onError;
};

struct FakeAudioWindow final : public AudioWindowShowing {
    void show() override { ++shown; }
    int shown = 0;
};

struct FakeMixing final : public AudioMixing {
    explicit FakeMixing(Executor& executor) : question(executor) {}
    Task<bool> mixIfNeeded(std::filesystem::path url) override {
        mixed.push_back(url);
        if (noRoom) throw NoRoomToMix();
        const bool done = co_await question.ask();
        if (!done) throw PlatformError("The tracks can't be read.");
        co_return true;
    }
    Question<bool> question;
    bool noRoom = false;
    std::vector<std::filesystem::path> mixed;
};

}  // namespace lumicrate::test
