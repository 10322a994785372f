#include "Tests/Stage/Scene/DemoScene.h"

#include "Tests/Stage/Scene/Font.h"

#include <cmath>
#include <cstdio>

namespace lumicrate::stage {

namespace {

constexpr Color tints[] = {0xf6d32d, 0xff7800, 0xe01b24, 0x9141ac, 0x3584e4, 0x33d17a, 0xffffff};
constexpr int clockScale = 10;

}  // namespace

void DemoScene::begin(Canvas& canvas) {
    const int width = canvas.width();
    const int height = canvas.height();
    backdrop_.emplace(width, height);
    for (int y = 0; y < height; ++y) {
        backdrop_->fill({0, y, width, 1},
                        color(24 + 90 * y / height, 20 + 40 * y / height, 60 + 40 * y / height));
    }
    for (int i = 0; i < 90; ++i) {
        backdrop_->disc(random_.below(width), random_.below(height), 1 + random_.below(2), 0xc0bfe0);
    }
    for (const Color tint : tints) {
        discs_.push_back(
            {18.0 + random_.below(44), random_.below(628) / 100.0, 0.5 + random_.below(100) / 100.0, tint});
    }
    picture_ = backdrop_;
    canvas.put(*picture_);
}

Area DemoScene::boundsOf(double x, double y, double radius) {
    const int reach = static_cast<int>(radius) + 3;
    return {static_cast<int>(x) - reach, static_cast<int>(y) - reach, 2 * reach + 1, 2 * reach + 1};
}

void DemoScene::erase() {
    for (const auto& area : painted_) {
        picture_->copyFrom(*backdrop_, area);
    }
    painted_.clear();
}

void DemoScene::paintDisc(const Disc& disc, double seconds) {
    const double angle = disc.phase + disc.speed * seconds;
    const double x = picture_->width() * (0.5 + 0.42 * std::sin(angle));
    const double y = picture_->height() * (0.5 + 0.38 * std::cos(angle * 1.3 + disc.phase));
    picture_->disc(x, y, disc.radius, disc.color);
    painted_.push_back(boundsOf(x, y, disc.radius));
}

void DemoScene::paintClock(double seconds) {
    char text[40];
    std::snprintf(text, sizeof text, "%02d:%02d.%01d", static_cast<int>(seconds) / 60,
                  static_cast<int>(seconds) % 60, static_cast<int>(seconds * 10) % 10);
    const Area area{(picture_->width() - 7 * Font::advance * clockScale) / 2,
                    (picture_->height() - Font::glyphHeight * clockScale) / 2, 7 * Font::advance * clockScale,
                    Font::glyphHeight * clockScale};
    picture_->text(area.x, area.y, text, 0xffffff, clockScale);
    painted_.push_back(area);
}

void DemoScene::step(Canvas& canvas, const Step& step) {
    auto changed = painted_;
    erase();
    for (const auto& disc : discs_) {
        paintDisc(disc, step.seconds);
    }
    paintClock(step.seconds);
    changed.insert(changed.end(), painted_.begin(), painted_.end());
    for (auto area : changed) {
        const int left = std::max(area.x, 0);
        const int top = std::max(area.y, 0);
        const int right = std::min(area.x + area.width, picture_->width());
        const int bottom = std::min(area.y + area.height, picture_->height());
        if (right > left && bottom > top)
            canvas.put(*picture_, {left, top, right - left, bottom - top}, left, top);
    }
}

}  // namespace lumicrate::stage
