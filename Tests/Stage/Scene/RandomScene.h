// RandomScene: rectangles of any size appear anywhere at any moment; the last state stays.
#pragma once

#include "Tests/Stage/Scene/Scene.h"

namespace lumicrate::stage {

class RandomScene : public Scene {
 public:
    explicit RandomScene(int seed) : random_(static_cast<std::uint64_t>(seed)) {}

    double rate() const override { return 30; }
    void begin(Canvas&) override {}
    void step(Canvas& canvas, const Step& step) override;
    double interval(double stepsPerSecond) override {
        return 2 * random_.below(1000) / 1000.0 / stepsPerSecond;
    }
    bool staysAtEnd() const override { return true; }

 private:
    Random random_;
};

}  // namespace lumicrate::stage
