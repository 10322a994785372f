#include "Tests/Stage/Scene/FlashScene.h"

#include <cstdio>

namespace lumicrate::stage {

namespace {

// In steps, of which there are ten a second.
constexpr int period = 10;
constexpr int lit = 2;
// The tone is ordered so long before the flash that the sound already under way cannot reach past its
// beginning.
constexpr int ahead = 3;
constexpr Nanoseconds stepLength = nanoseconds(0.1);

}  // namespace

void FlashScene::begin(Canvas& canvas) {
    canvas.fill({0, 0, canvas.width(), canvas.height()}, 0x000000);
}

void FlashScene::step(Canvas& canvas, const Step& step) {
    const Area everything{0, 0, canvas.width(), canvas.height()};
    const int phase = step.number % period;
    if (phase == period - ahead) beeper_.beep(step.due + ahead * stepLength, lit * stepLength);
    if (step.number < period) return;
    if (phase == 0) {
        canvas.fill(everything, 0xffffff);
        canvas.sync();
        std::printf("flash %.6f %.6f\n", static_cast<double>(step.due) * 1e-9,
                    static_cast<double>(now()) * 1e-9);
        std::fflush(stdout);
    } else if (phase == lit) {
        canvas.fill(everything, 0x000000);
    }
}

}  // namespace lumicrate::stage
