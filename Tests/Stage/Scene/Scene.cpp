#include "Tests/Stage/Scene/Scene.h"

#include "Tests/Stage/Scene/DemoScene.h"
#include "Tests/Stage/Scene/DraggingScene.h"
#include "Tests/Stage/Scene/FlashScene.h"
#include "Tests/Stage/Scene/MixedScene.h"
#include "Tests/Stage/Scene/MovingScene.h"
#include "Tests/Stage/Scene/RandomScene.h"
#include "Tests/Stage/Scene/ScrollingScene.h"
#include "Tests/Stage/Scene/StillScene.h"
#include "Tests/Stage/Scene/TypingScene.h"

#include <functional>
#include <map>
#include <stdexcept>

namespace lumicrate::stage {

namespace {

using Maker = std::function<std::unique_ptr<Scene>(int seed)>;

template <typename Kind>
std::unique_ptr<Scene> make(int seed) {
    return std::make_unique<Kind>(seed);
}

const std::map<std::string, Maker>& makers() {
    static const std::map<std::string, Maker> all{
        {"demo", make<DemoScene>},
        {"dragging", make<DraggingScene>},
        {"flash", [](int) { return std::make_unique<FlashScene>(); }},
        {"mixed", make<MixedScene>},
        {"moving", make<MovingScene>},
        {"random", make<RandomScene>},
        {"scrolling", make<ScrollingScene>},
        {"still", make<StillScene>},
        {"typing", make<TypingScene>},
    };
    return all;
}

}  // namespace

std::vector<std::string> sceneNames() {
    std::vector<std::string> names;
    for (const auto& [name, maker] : makers()) {
        names.push_back(name);
    }
    return names;
}

std::unique_ptr<Scene> makeScene(const std::string& name, int seed) {
    const auto maker = makers().find(name);
    if (maker == makers().end()) throw std::runtime_error("There is no scene " + name);
    return maker->second(seed);
}

}  // namespace lumicrate::stage
