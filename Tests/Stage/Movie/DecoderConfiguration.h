// The decoders' configurations: "avcC", "hvcC" and the descriptors in "esds".
#pragma once

#include "Tests/Stage/Movie/Box.h"
#include "Tests/Stage/Movie/ParameterSets.h"

namespace lumicrate::stage {

struct SoundFormat {
    int sampleRate = 0;
    int channels = 0;
};

// What the parameter sets say. Throw EndOfBytes.
PictureFormat examineAvcConfiguration(const Box& avcC, Faults& faults);
PictureFormat examineHevcConfiguration(const Box& hvcC, Faults& faults);
// What the AudioSpecificConfig says. Throws EndOfBytes.
SoundFormat examineStreamDescriptor(const Box& esds, Faults& faults);

}  // namespace lumicrate::stage
