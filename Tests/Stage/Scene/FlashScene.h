// FlashScene: every second the picture turns from black to white for a fifth of a second while a tone sounds.
//
// Both begin at the same planned instant. Each flash prints "flash PLANNED DRAWN" in seconds of
// CLOCK_MONOTONIC; the second is when the X server had drawn it, which on a busy machine comes later.
#pragma once

#include "Tests/Stage/Scene/Beeper.h"
#include "Tests/Stage/Scene/Scene.h"

namespace lumicrate::stage {

class FlashScene : public Scene {
 public:
    double rate() const override { return 10; }
    void begin(Canvas& canvas) override;
    void step(Canvas& canvas, const Step& step) override;

 private:
    Beeper beeper_;
};

}  // namespace lumicrate::stage
