#include "Tests/Stage/Scene/StillScene.h"

#include "Tests/Stage/Scene/Page.h"

namespace lumicrate::stage {

void StillScene::begin(Canvas& canvas) {
    const int width = canvas.width();
    const int height = canvas.height();
    Image image(width, height);
    drawDesktop(image);
    const auto window = [&](int left, int top, int right, int bottom, const char* title) {
        drawWindow(image,
                   {width * left / 100, height * top / 100, width * (right - left) / 100,
                    height * (bottom - top) / 100},
                   title, random_);
    };
    window(4, 6, 52, 70, "Notes");
    window(56, 4, 97, 50, "Letters");
    window(40, 42, 90, 92, "Editor");
    picture_ = canvas.store(image);
    canvas.setBackground(*picture_);
}

}  // namespace lumicrate::stage
