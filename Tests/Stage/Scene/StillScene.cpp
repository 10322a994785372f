#include "Tests/Stage/Scene/StillScene.h"

#include "Tests/Stage/Scene/Page.h"

namespace lumicrate::stage {

void StillScene::begin(Canvas& canvas) {
    const int width = canvas.width();
    const int height = canvas.height();
    Image image(width, height);
    for (int y = 0; y < height; ++y) {
        image.fill({0, y, width, 1},
                   color(30 + 40 * y / height, 60 + 50 * y / height, 110 + 60 * y / height));
    }
    const auto window = [&](int left, int top, int right, int bottom, const char* title) {
        drawWindow(image,
                   {width * left / 100, height * top / 100, width * (right - left) / 100,
                    height * (bottom - top) / 100},
                   title, random_);
    };
    window(4, 6, 52, 70, "Notes");
    window(56, 4, 97, 50, "Letters");
    window(40, 42, 90, 92, "Editor");
    image.fill({0, height - 36, width, 36}, 0x241f31);
    image.text(16, height - 25, "Places   Programs   Windows", 0xffffff);
    image.text(width - 90, height - 25, "10:42", 0xffffff);
    picture_ = canvas.store(image);
    canvas.setBackground(*picture_);
}

}  // namespace lumicrate::stage
