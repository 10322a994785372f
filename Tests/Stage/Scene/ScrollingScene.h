// ScrollingScene: a long page of text scrolls under a fixed tool bar.
#pragma once

#include "Tests/Stage/Scene/Scene.h"

namespace lumicrate::stage {

class ScrollingScene : public Scene {
 public:
    explicit ScrollingScene(int seed) : random_(static_cast<std::uint64_t>(seed)) {}

    double rate() const override { return 30; }
    void begin(Canvas& canvas) override;
    void step(Canvas& canvas, const Step& step) override;

 private:
    Random random_;
    int pageHeight_ = 0;
    // The page is painted once and kept by the server; a step is one copy of what is in view.
    std::unique_ptr<Canvas::Stored> page_;
};

}  // namespace lumicrate::stage
