// TypingScene: someone writes into a page that is half full of text.
#pragma once

#include "Tests/Stage/Scene/Scene.h"
#include "Tests/Stage/Scene/Typist.h"

#include <optional>

namespace lumicrate::stage {

class TypingScene : public Scene {
 public:
    explicit TypingScene(int seed) : random_(static_cast<std::uint64_t>(seed)) {}

    double rate() const override { return 8; }
    void begin(Canvas& canvas) override;
    void step(Canvas& canvas, const Step& step) override;

 private:
    Random random_;
    std::optional<Typist> typist_;
    std::unique_ptr<Canvas::Stored> page_;
};

}  // namespace lumicrate::stage
