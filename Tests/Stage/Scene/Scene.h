// Scene: something that happens on a display, the same way each time.
#pragma once

#include "Tests/Stage/Scene/Canvas.h"
#include "Tests/Stage/Scene/Pacer.h"
#include "Tests/Stage/Scene/Random.h"

#include <memory>
#include <string>
#include <vector>

namespace lumicrate::stage {

struct Step {
    int number = 0;       // from 0
    double seconds = 0;   // from the scene's beginning to when the step is due
    Nanoseconds due = 0;  // the same moment on the monotonic clock
};

class Scene {
 public:
    virtual ~Scene() = default;

    // Steps a second unless told otherwise; 0 for a scene in which nothing moves.
    virtual double rate() const = 0;
    // Draws the picture that the scene starts from, and keeps ready what the steps need.
    virtual void begin(Canvas& canvas) = 0;
    virtual void step(Canvas& canvas, const Step& step) = 0;
    // Seconds from this step to the next at a rate; scenes with a rhythm of their own say otherwise.
    virtual double interval(double stepsPerSecond) { return 1 / stepsPerSecond; }
    // The window that is meant when only one is recorded.
    virtual Surface& subject(Canvas& canvas) { return canvas; }
    // Whether its last picture stays until the program is told to end.
    virtual bool staysAtEnd() const { return false; }
};

std::vector<std::string> sceneNames();
// Throws std::runtime_error for a name that is not among them.
std::unique_ptr<Scene> makeScene(const std::string& name, int seed);

}  // namespace lumicrate::stage
