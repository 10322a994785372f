// DraggingScene: a window with text is dragged over a desktop with a picture on it.
//
// It is a window of its own, so that the server uncovers what was below and a compositor has work to do.
#pragma once

#include "Tests/Stage/Scene/Scene.h"

namespace lumicrate::stage {

class DraggingScene : public Scene {
 public:
    explicit DraggingScene(int seed) : random_(static_cast<std::uint64_t>(seed)) {}

    double rate() const override { return 30; }
    void begin(Canvas& canvas) override;
    void step(Canvas& canvas, const Step& step) override;
    Surface& subject(Canvas&) override { return *window_; }

    // The place of a window of that size in a step.
    static Area place(int step, int screenWidth, int screenHeight, int width, int height);

 private:
    Random random_;
    std::unique_ptr<Surface> window_;
    std::unique_ptr<Surface::Stored> desktop_;
    std::unique_ptr<Surface::Stored> contents_;
};

}  // namespace lumicrate::stage
