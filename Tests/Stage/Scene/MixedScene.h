// MixedScene: an ordinary minute at a computer: someone writes in one window, a film runs in another, a caret
// blinks, and now and then the page in a third is scrolled.
//
// All three are windows of their own. The film covers a corner of the window that is written in.
#pragma once

#include "Tests/Stage/Scene/Scene.h"
#include "Tests/Stage/Scene/Typist.h"

#include <optional>

namespace lumicrate::stage {

class MixedScene : public Scene {
 public:
    explicit MixedScene(int seed) : random_(static_cast<std::uint64_t>(seed)) {}

    double rate() const override { return 30; }
    void begin(Canvas& canvas) override;
    void step(Canvas& canvas, const Step& step) override;
    Surface& subject(Canvas&) override { return *editor_; }

 private:
    void openEditor(Canvas& canvas);
    void openReader(Canvas& canvas);
    void openFilm(Canvas& canvas);
    void write(int step);
    void scroll(int step);

    Random random_;
    std::unique_ptr<Surface> editor_;
    std::unique_ptr<Surface> reader_;
    std::unique_ptr<Surface> film_;
    std::optional<Typist> typist_;
    std::unique_ptr<Surface::Stored> desktop_;
    std::unique_ptr<Surface::Stored> document_;
    std::unique_ptr<Surface::Stored> bar_;
    std::unique_ptr<Surface::Stored> page_;
    std::unique_ptr<Surface::Stored> landscape_;
};

}  // namespace lumicrate::stage
