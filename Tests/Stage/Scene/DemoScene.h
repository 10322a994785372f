// DemoScene: discs drift over a dusk, and a clock runs.
#pragma once

#include "Tests/Stage/Scene/Scene.h"

#include <optional>
#include <vector>

namespace lumicrate::stage {

class DemoScene : public Scene {
 public:
    explicit DemoScene(int seed) : random_(static_cast<std::uint64_t>(seed)) {}

    double rate() const override { return 30; }
    void begin(Canvas& canvas) override;
    void step(Canvas& canvas, const Step& step) override;

 private:
    struct Disc {
        double radius;
        double phase;
        double speed;
        Color color;
    };

    void paintDisc(const Disc& disc, double seconds);
    void paintClock(double seconds);
    void erase();
    static Area boundsOf(double x, double y, double radius);

    Random random_;
    std::vector<Disc> discs_;
    std::optional<Image> backdrop_;
    std::optional<Image> picture_;
    std::vector<Area> painted_;  // by the latest step, to be taken away by the next
};

}  // namespace lumicrate::stage
