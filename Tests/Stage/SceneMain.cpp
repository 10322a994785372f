// SPDX-License-Identifier: GPL-3.0-or-later
// lumicrate-scene: plays scenes for the tests and the demo.
#include "Tests/Stage/Scene/Scene.h"

int main(int argc, char** argv) {
    return lumicrate::stage::playScene(lumicrate::stage::basicScenes(), argc, argv);
}
