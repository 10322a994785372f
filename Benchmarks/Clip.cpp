// SPDX-License-Identifier: GPL-3.0-or-later
#include "Benchmarks/Clip.h"

#include "Benchmarks/DesktopImages.h"
#include "Benchmarks/ScrollingViews.h"
#include "Linux/Pictures/Nv12Converter.h"

#include <functional>
#include <map>
#include <stdexcept>

namespace lumicrate::bench {

namespace {

using stage::Area;
using stage::Image;

// The picture of a step, valid until the next step.
using Content = std::function<pictures::BgraView(int step)>;
constexpr int width = Clip::width;
constexpr int height = Clip::height;

pictures::BgraView viewOf(const Image& image, const Area& area) {
    return {image.row(area.y) + area.x, area.width, area.height, image.width()};
}

pictures::BgraView viewOf(const Image& image) {
    return viewOf(image, {0, 0, image.width(), image.height()});
}

Content still(stage::Random& random) {
    auto image = std::make_shared<Image>(width, height);
    drawDesktop(*image);
    drawWindow(*image, {80, 60, 900, 700}, "Notes", random);
    drawWindow(*image, {1040, 120, 800, 800}, "Letters", random);
    return [image](int) { return viewOf(*image); };
}

Content typing(stage::Random& random) {
    constexpr int cell = Font::advance * 2;
    auto image = std::make_shared<Image>(width, height, 0xfafafa);
    drawText(*image, {60, 60, width - 120, height / 2 - 60}, 0x202020, random);
    auto text = randomWords(random, width / cell);
    return [image, text](int step) {
        drawLine(*image, 60 + cell * step, height / 2 + 20,
                 std::string_view(text).substr(static_cast<std::size_t>(step), 1), 0x202020);
        return viewOf(*image);
    };
}

Content scrolling(const ScrollingView& program) {
    auto screen = std::make_shared<Image>(program.frame);
    return [screen, program](int step) {
        screen->copyFrom(program.page, program.visible(step), program.view.x, program.view.y);
        return viewOf(*screen);
    };
}

Content moving(stage::Random& random) {
    auto landscape = std::make_shared<Image>(stage::paintLandscape(width, height, random));
    return [landscape](int step) { return viewOf(*landscape, stage::cameraView(step, width, height)); };
}

Content dragging(stage::Random& random) {
    auto desktop = std::make_shared<Image>(stage::paintLandscape(width, height, random));
    auto image = std::make_shared<Image>(width, height);
    return [desktop, image, random](int step) {
        image->copyFrom(*desktop, {0, 0, width, height}, 0, 0);
        auto same = random;
        drawWindow(*image, {200 + 18 * step, 150 + 10 * step, 640, 480}, "Notes", same);
        return viewOf(*image);
    };
}

Content contentOf(const std::string& name) {
    const std::map<std::string, Content (*)(stage::Random&)> all{
        {"still", still}, {"typing", typing}, {"moving", moving}, {"dragging", dragging}};
    stage::Random random(1);
    if (const auto view = scrollingViews().find(name); view != scrollingViews().end())
        return scrolling(view->second(width, height, random));
    const auto found = all.find(name);
    if (found == all.end()) throw std::invalid_argument("There is no content " + name);
    return found->second(random);
}

}  // namespace

Clip::Clip(const std::string& content, int pictures) {
    const auto step = contentOf(content);
    pictures::ShadowImage shadow(width, height);
    for (int i = 0; i < pictures; ++i) {
        append(step(i), shadow);
    }
}

void Clip::append(const pictures::BgraView& view, pictures::ShadowImage& shadow) {
    pictures::BlockRegion changed(width, height);
    shadow.merge(0, 0, view, changed);
    if (!pictures_.empty()) changes_.push_back(changed.rectangles());
    auto buffer = std::make_unique<pictures::PixelBuffer>(width, height);
    pictures::convertToNv12(
        view, {0, 0, width, height},
        {buffer->writableLuma(), buffer->lumaStride, buffer->writableChroma(), buffer->chromaStride});
    pictures_.push_back(std::move(buffer));
}

Clip::Picture Clip::at(std::uint64_t n) const {
    const std::size_t last = pictures_.size() - 1;
    const auto phase = static_cast<std::size_t>(n % (2 * last));
    const bool forwards = phase <= last;
    const std::size_t index = forwards ? phase : 2 * last - phase;
    SCStreamFrameInfo info;
    info.sequence = n;
    if (n == 0) {
        info.dirtyRects = {{0, 0, width, height}};
    } else {
        // Backwards, the change after this picture was undone; at 0 it has just been undone too.
        info.dirtyRects = changes_[forwards && phase > 0 ? index - 1 : index];
    }
    return {*pictures_[index], std::move(info)};
}

}  // namespace lumicrate::bench
