#include "Tests/Stage/Scene/RandomScene.h"

namespace lumicrate::stage {

void RandomScene::step(Canvas& canvas, const Step&) {
    // Mostly small, sometimes nearly everything.
    const int share = random_.below(8) == 0 ? 1 : 8;
    const int width = 1 + random_.below(canvas.width() / share);
    const int height = 1 + random_.below(canvas.height() / share);
    const Area area{random_.below(canvas.width() - width + 1), random_.below(canvas.height() - height + 1),
                    width, height};
    canvas.fill(area, color(random_.below(256), random_.below(256), random_.below(256)));
}

}  // namespace lumicrate::stage
