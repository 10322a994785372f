// SampleEntry: what a track says of its coding, in the box "stsd".
#pragma once

#include "Tests/Stage/Movie/Box.h"
#include "Tests/Stage/Movie/BoxRules.h"

namespace lumicrate::stage {

enum class Coding { None, Avc, Hevc, Aac };

struct SampleEntry {
    Coding coding = Coding::None;
    int width = 0;
    int height = 0;
    int channels = 0;
    int sampleRate = 0;
};

// Examines the one sample entry and what is in it: the decoder's configuration down to the parameter sets,
// colours, and the descriptors of sound.
SampleEntry examineSampleDescription(const Box& stsd, const MovieForm& form, Faults& faults);

}  // namespace lumicrate::stage
