// StillScene: a desktop with windows full of text, on which nothing happens.
#pragma once

#include "Tests/Stage/Scene/Scene.h"

namespace lumicrate::stage {

class StillScene : public Scene {
 public:
    explicit StillScene(int seed) : random_(static_cast<std::uint64_t>(seed)) {}

    double rate() const override { return 0; }
    void begin(Canvas& canvas) override;
    void step(Canvas&, const Step&) override {}

 private:
    Random random_;
    std::unique_ptr<Canvas::Stored> picture_;
};

}  // namespace lumicrate::stage
