// BoxRules: which boxes may and must stand where in a movie with tracks of pictures and sound.
#pragma once

#include "Tests/Stage/Movie/Box.h"

namespace lumicrate::stage {

struct MovieForm {
    bool isQuickTime = false;
    bool isFragmented = false;
};

// Boxes that are missing, that do not belong where they are, that are there too often, or in a wrong order.
void examineBoxes(const Box& whole, const MovieForm& form, Faults& faults);

}  // namespace lumicrate::stage
