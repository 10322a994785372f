#include "Tests/Stage/Scene/Beeper.h"
#include "Tests/Stage/Scene/Scene.h"
#include "Tests/Stage/Scene/SceneImages.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace lumicrate::stage {

namespace {

/// Writes a text into an area, one character after the other, with a caret before the next one. It starts
/// again at the top when the area is full, and with the text when the text ends.
class Typist {
 public:
    Typist(const Area& area, Color paper, std::string text)
        : area_(area), paper_(paper), text_(std::move(text)) {}

    /// Types the character of that number.
    void type(Surface& surface, int number) const {
        const char character = text_[static_cast<std::size_t>(number) % text_.size()];
        Image glyph(2 * cellWidth, cellHeight, paper_);
        glyph.text(0, 0, std::string_view(&character, 1), ink, scale);
        glyph.fill({cellWidth, 0, caretWidth, caretHeight}, ink);
        const Area cell = cellOf(number);
        surface.put(glyph, cell.x, cell.y);
    }
    /// Draws or removes the caret before that character, also behind the end of a line.
    void showCaret(Surface& surface, int number, bool visible) const {
        Image caret(caretWidth, cellHeight, paper_);
        if (visible) caret.fill({0, 0, caretWidth, caretHeight}, ink);
        const Area before = cellOf(number - 1);
        surface.put(caret, before.x + cellWidth, before.y);
    }

 private:
    static constexpr int scale = 2;
    static constexpr int cellWidth = Font::advance * scale;
    static constexpr int cellHeight = Font::lineHeight * scale;
    static constexpr int caretWidth = 2;
    static constexpr int caretHeight = cellHeight - 2;
    static constexpr Color ink = 0x202020;

    Area cellOf(int number) const {
        const int columns = std::max(area_.width / cellWidth, 1);
        const int rows = std::max(area_.height / cellHeight, 1);
        const int cell = number % (columns * rows);
        return {area_.x + cell % columns * cellWidth, area_.y + cell / columns * cellHeight, cellWidth,
                cellHeight};
    }

    Area area_;
    Color paper_;
    std::string text_;
};

/// A part of the canvas, in hundredths of its sides.
Area part(const Surface& canvas, int left, int top, int width, int height) {
    return {canvas.width() * left / 100, canvas.height() * top / 100, canvas.width() * width / 100,
            canvas.height() * height / 100};
}

/// A desktop with windows full of text, on which nothing happens.
Scene still(Surface& canvas, Random random) {
    Image image(canvas.width(), canvas.height());
    drawDesktop(image);
    drawWindow(image, part(canvas, 4, 6, 48, 64), "Notes", random);
    drawWindow(image, part(canvas, 56, 4, 41, 46), "Letters", random);
    drawWindow(image, part(canvas, 40, 42, 50, 50), "Editor", random);
    canvas.setBackground(image);
    return {.rate = 0};
}

/// Somebody writes on a page that is half full of text.
Scene typing(Surface& canvas, Random random) {
    constexpr int margin = 60;
    constexpr Color paper = 0xfafafa;
    const int width = canvas.width() - 2 * margin;
    const int height = canvas.height() / 2 - margin;
    Image image(canvas.width(), canvas.height(), paper);
    drawText(image, {margin, margin, width, height}, 0x202020, random);
    const Typist typist({margin, canvas.height() / 2, width, height}, paper, random.words(4096));
    canvas.setBackground(image);
    return {.rate = 8, .step = [&canvas, typist](const Step& step) { typist.type(canvas, step.number); }};
}

/// A long page of text scrolls under a fixed tool bar.
Scene scrolling(Surface& canvas, Random random) {
    constexpr int barHeight = 64;
    constexpr int margin = 80;
    constexpr int pixelsPerStep = 20;
    Image bar(canvas.width(), barHeight, 0xdeddda);
    bar.text(300, 24, "File   Edit   View   Help", 0x241f31);
    canvas.put(bar);
    const int view = canvas.height() - barHeight;
    // The server keeps the page; a step is one copy.
    const auto page = canvas.store(longPage(canvas.width(), view, margin, random));
    const auto show = [&canvas, page, view](int top) {
        canvas.copy(*page, {0, top, canvas.width(), view}, 0, barHeight);
    };
    show(0);
    return {.step = [=](const Step& step) { show((step.number + 1) * pixelsPerStep % (2 * view)); }};
}

/// A camera pans over a landscape while some pieces of it move on their own: every pixel changes.
Scene moving(Surface& canvas, Random random) {
    const auto landscape = canvas.store(paintLandscape(canvas.width(), canvas.height(), random));
    const auto draw = [&canvas, landscape](const Step& step) {
        canvas.copy(*landscape, cameraView(step.number, canvas.width(), canvas.height()), 0, 0);
        for (int i = 0; i < 6; ++i) {
            const int width = 120 + 30 * i;
            const int height = 100 + 20 * i;
            const double phase = step.number * (0.013 + 0.006 * i) + i;
            const int x = static_cast<int>((canvas.width() - width) * (0.5 + 0.5 * std::sin(phase)));
            const int y =
                static_cast<int>((canvas.height() - height) * (0.5 + 0.5 * std::cos(phase * 0.8 + i)));
            canvas.copy(*landscape, {100 * i, 60 * i, width, height}, x, y);
        }
    };
    draw({});
    return {.step = draw};
}

/// A window with text is dragged over a picture. It is a real window, so that the server uncovers what was
/// below it and a compositor has work to do.
Scene dragging(Surface& canvas, Random random) {
    canvas.setBackground(paintLandscape(canvas.width(), canvas.height(), random));
    const int width = std::min(640, canvas.width() * 2 / 3);
    const int height = std::min(480, canvas.height() * 2 / 3);
    // At most 20 pixels a step on a screen of 1920 × 1080, at another speed in each direction.
    const auto place = [=, &canvas](int step) -> Area {
        return {static_cast<int>((canvas.width() - width) * (0.5 - 0.5 * std::cos(step * 0.031))),
                static_cast<int>((canvas.height() - height) * (0.5 - 0.5 * std::cos(step * 0.023))), width,
                height};
    };
    Image contents(width, height);
    drawWindow(contents, {1, 1, width - 2, height - 2}, "Notes", random);
    const std::shared_ptr<Surface> window = canvas.openWindow(place(0), "Notes");
    window->setBackground(contents);
    return {.step =
                [=](const Step& step) {
                    const Area area = place(step.number);
                    window->moveTo(area.x, area.y);
                },
            .mainWindow = window};
}

/// An ordinary minute: somebody writes in one window, a film runs in another, and every three seconds the
/// page in a third is scrolled. The film covers a corner of the window with the text.
class MixedScene {
 public:
    MixedScene(Surface& canvas, Random random) {
        Image desktop(canvas.width(), canvas.height());
        drawDesktop(desktop);
        canvas.setBackground(desktop);
        openEditor(canvas, random);
        openReader(canvas, random);
        openFilm(canvas, random);
    }

    void step(int number) {
        film_->copy(*landscape_, cameraView(number, film_->width(), film_->height()), 0, 0);
        const int typed = number / stepsPerGlyph;
        if (number % stepsPerGlyph == 0) typist_->type(*editor, typed);
        if (number % stepsPerBlink == 0)
            typist_->showCaret(*editor, typed + 1, number / stepsPerBlink % 2 == 0);
        const int phase = number % stepsBetweenScrolls;
        if (phase >= stepsOfScroll) return;
        const int view = reader_->height() - titleHeight;
        const int scrolled = number / stepsBetweenScrolls * stepsOfScroll + phase + 1;
        reader_->copy(*page_, {0, scrolled * pixelsPerScrollStep % (2 * view), reader_->width(), view}, 0,
                      titleHeight);
    }

    std::shared_ptr<Surface> editor;

 private:
    // There are thirty steps a second.
    static constexpr int stepsPerGlyph = 4;
    static constexpr int stepsPerBlink = 15;
    static constexpr int stepsBetweenScrolls = 90;
    static constexpr int stepsOfScroll = 6;
    static constexpr int pixelsPerScrollStep = 24;
    static constexpr int margin = 24;
    static constexpr int titleHeight = 30;

    void openEditor(Surface& canvas, Random& random) {
        constexpr Color paper = 0xffffff;
        const Area area = part(canvas, 4, 8, 45, 70);
        Image document(area.width, area.height);
        drawWindow(document, {0, 0, area.width, area.height}, "Editor", random);
        // The typist writes in the third quarter, which nothing covers.
        const Area rest{0, area.height / 2, area.width, area.height - area.height / 2};
        document.fill(rest, paper);
        typist_.emplace(Area{margin, rest.y + margin, rest.width - 2 * margin, rest.height / 2}, paper,
                        random.words(4096));
        editor = canvas.openWindow(area, "Editor");
        editor->setBackground(document);
    }
    void openReader(Surface& canvas, Random& random) {
        const Area area = part(canvas, 54, 5, 42, 50);
        const int view = area.height - titleHeight;
        Image bar(area.width, area.height, 0xdeddda);
        bar.text(12, 8, "Reader", 0x241f31);
        reader_ = canvas.openWindow(area, "Reader");
        // As the background: a compositor has new windows painted again.
        reader_->setBackground(bar);
        page_ = reader_->store(longPage(area.width, view, margin, random));
        reader_->copy(*page_, {0, 0, area.width, view}, 0, titleHeight);
    }
    void openFilm(Surface& canvas, Random& random) {
        const Area corner = part(canvas, 46, 68, 0, 0);
        const Area area{corner.x, corner.y, std::min(480, canvas.width() / 3),
                        std::min(270, canvas.height() / 4)};
        film_ = canvas.openWindow(area, "Film");
        landscape_ = film_->store(paintLandscape(area.width, area.height, random));
        film_->copy(*landscape_, cameraView(0, area.width, area.height), 0, 0);
    }

    std::optional<Typist> typist_;
    std::unique_ptr<Surface> reader_;
    std::unique_ptr<Surface> film_;
    std::shared_ptr<Surface::Stored> page_;
    std::shared_ptr<Surface::Stored> landscape_;
};

Scene mixed(Surface& canvas, Random random) {
    const auto scene = std::make_shared<MixedScene>(canvas, random);
    return {.step = [scene](const Step& step) { scene->step(step.number); }, .mainWindow = scene->editor};
}

/// Rectangles of any size appear anywhere at any moment; the last state stays.
Scene rectangles(Surface& canvas, Random seeded) {
    const auto random = std::make_shared<Random>(seeded);
    return {.step =
                [&canvas, random](const Step&) {
                    // Mostly small, sometimes nearly everything.
                    const int share = random->below(8) == 0 ? 1 : 8;
                    const int width = 1 + random->below(canvas.width() / share);
                    const int height = 1 + random->below(canvas.height() / share);
                    const int x = random->below(canvas.width() - width + 1);
                    const int y = random->below(canvas.height() - height + 1);
                    canvas.fill({x, y, width, height},
                                color(random->below(256), random->below(256), random->below(256)));
                },
            .interval = [random](double rate) { return 2 * random->below(1000) / 1000.0 / rate; },
            .staysAtEnd = true};
}

/// Every second the picture turns from black to white for a fifth of a second while a tone sounds. Both are
/// planned for the same instant. Each flash prints "flash PLANNED DRAWN" in seconds of CLOCK_MONOTONIC; the
/// second is when the X server had drawn it, which comes later on a busy machine.
Scene flash(Surface& canvas, Random) {
    // In steps, of which there are ten a second.
    constexpr int period = 10;
    constexpr int lit = 2;
    // The tone is planned this long before the flash, so that sound already under way ends before it.
    constexpr int ahead = 3;
    constexpr Nanoseconds stepLength = nanoseconds(0.1);
    const auto beeper = std::make_shared<Beeper>();
    beeper->awaitRunning();
    const auto fill = [&canvas](Color color) { canvas.fill({0, 0, canvas.width(), canvas.height()}, color); };
    fill(0x000000);
    return {.rate = 10, .step = [=, &canvas](const Step& step) {
                const int phase = step.number % period;
                if (phase == period - ahead) beeper->beep(step.due + ahead * stepLength, lit * stepLength);
                if (step.number < period) return;
                if (phase == 0) {
                    fill(0xffffff);
                    canvas.sync();
                    std::printf("flash %.6f %.6f\n", static_cast<double>(step.due) * 1e-9,
                                static_cast<double>(now()) * 1e-9);
                    std::fflush(stdout);
                } else if (phase == lit) {
                    fill(0x000000);
                }
            }};
}

/// Discs drift over an evening sky, and a clock runs.
class DemoScene {
 public:
    DemoScene(Surface& canvas, Random random)
        : canvas_(canvas), backdrop_(canvas.width(), canvas.height()), picture_(backdrop_) {
        const int width = canvas.width();
        const int height = canvas.height();
        for (int y = 0; y < height; ++y)
            backdrop_.fill({0, y, width, 1},
                           color(24 + 90 * y / height, 20 + 40 * y / height, 60 + 40 * y / height));
        for (int i = 0; i < 90; ++i)
            backdrop_.disc(random.below(width), random.below(height), 1 + random.below(2), 0xc0bfe0);
        constexpr Color tints[] = {0xf6d32d, 0xff7800, 0xe01b24, 0x9141ac, 0x3584e4, 0x33d17a, 0xffffff};
        for (const Color tint : tints)
            discs_.push_back(
                {18.0 + random.below(44), random.below(628) / 100.0, 0.5 + random.below(100) / 100.0, tint});
        picture_ = backdrop_;
        canvas.put(picture_);
    }

    void step(double seconds) {
        std::vector<Area> changed = std::exchange(painted_, {});
        for (const Area& area : changed)
            picture_.copyFrom(backdrop_, area);
        for (const Disc& disc : discs_)
            paint(disc, seconds);
        paintClock(seconds);
        changed.insert(changed.end(), painted_.begin(), painted_.end());
        for (const Area& area : changed) {
            const int left = std::max(area.x, 0);
            const int top = std::max(area.y, 0);
            const int right = std::min(area.x + area.width, picture_.width());
            const int bottom = std::min(area.y + area.height, picture_.height());
            if (right > left && bottom > top)
                canvas_.put(picture_, {left, top, right - left, bottom - top}, left, top);
        }
    }

 private:
    struct Disc {
        double radius;
        double phase;
        double speed;
        Color color;
    };

    void paint(const Disc& disc, double seconds) {
        const double angle = disc.phase + disc.speed * seconds;
        const double x = picture_.width() * (0.5 + 0.42 * std::sin(angle));
        const double y = picture_.height() * (0.5 + 0.38 * std::cos(angle * 1.3 + disc.phase));
        picture_.disc(x, y, disc.radius, disc.color);
        const int reach = static_cast<int>(disc.radius) + 3;
        painted_.push_back(
            {static_cast<int>(x) - reach, static_cast<int>(y) - reach, 2 * reach + 1, 2 * reach + 1});
    }
    void paintClock(double seconds) {
        constexpr int scale = 10;
        char text[40];
        std::snprintf(text, sizeof text, "%02d:%02d.%01d", static_cast<int>(seconds) / 60,
                      static_cast<int>(seconds) % 60, static_cast<int>(seconds * 10) % 10);
        const int width = 7 * Font::advance * scale;
        const int height = Font::glyphHeight * scale;
        const Area area{(picture_.width() - width) / 2, (picture_.height() - height) / 2, width, height};
        picture_.text(area.x, area.y, text, 0xffffff, scale);
        painted_.push_back(area);
    }

    Surface& canvas_;
    Image backdrop_;
    Image picture_;
    std::vector<Disc> discs_;
    std::vector<Area> painted_;  // by the latest step, to be erased by the next
};

Scene demo(Surface& canvas, Random random) {
    const auto scene = std::make_shared<DemoScene>(canvas, random);
    return {.step = [scene](const Step& step) { scene->step(step.seconds); }};
}

const std::map<std::string, Scene (*)(Surface&, Random)> makers{
    {"demo", demo},         {"dragging", dragging},   {"flash", flash}, {"mixed", mixed},  {"moving", moving},
    {"random", rectangles}, {"scrolling", scrolling}, {"still", still}, {"typing", typing}};

}  // namespace

std::vector<std::string> sceneNames() {
    std::vector<std::string> names;
    for (const auto& [name, maker] : makers)
        names.push_back(name);
    return names;
}

Scene makeScene(const std::string& name, Surface& canvas) {
    const auto maker = makers.find(name);
    if (maker == makers.end()) throw std::runtime_error("There is no scene " + name);
    return maker->second(canvas, Random(1));
}

}  // namespace lumicrate::stage
