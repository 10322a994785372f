// Landscape: what stands for moving pictures: soft shades and hard shapes, and a camera that pans over them.
#pragma once

#include "Tests/Stage/Scene/Image.h"
#include "Tests/Stage/Scene/Random.h"

namespace lumicrate::stage {

// Large enough for the camera's way with a view of that size.
Image paintLandscape(int viewWidth, int viewHeight, Random& random);
// What the camera sees in a step.
Area cameraView(int step, int viewWidth, int viewHeight);

}  // namespace lumicrate::stage
