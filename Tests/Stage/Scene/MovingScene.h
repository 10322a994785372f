// MovingScene: a full-screen moving picture, of which every pixel changes with every step.
//
// A camera pans over a landscape of soft shades and hard shapes, while some pieces of it go their own ways.
#pragma once

#include "Tests/Stage/Scene/Scene.h"

namespace lumicrate::stage {

class MovingScene : public Scene {
 public:
    explicit MovingScene(int seed) : random_(static_cast<std::uint64_t>(seed)) {}

    double rate() const override { return 30; }
    void begin(Canvas& canvas) override;
    void step(Canvas& canvas, const Step& step) override;

 private:
    Random random_;
    std::unique_ptr<Canvas::Stored> landscape_;
};

}  // namespace lumicrate::stage
