// Writes the corpus of the movie fuzz targets to an existing folder: MakeCorpus FOLDER. The result is
// deterministic.
#include "Linux/Media/IsoBmff/MovieIndex.h"
#include "Tests/Linux/Media/IsoBmff/SimulatedRecording.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

using namespace lumicrate::isobmff;
using namespace lumicrate::isobmff::test;

std::filesystem::path folder;

void add(const std::string& name, const MemoryFile& file) {
    std::ofstream(folder / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(file.bytes.data()), static_cast<std::streamsize>(file.size()));
}

void addRecordings() {
    SimulatedRecording full(movie(Brand::mpeg4, {screen(), sound("System", 2, 2112), sound("Mic", 1, 1024)}));
    full.record(0, 1.2, 1);
    full.finish();
    add("unfinished-screen-and-sounds", full.file());
    add("unfinished-cut", full.file().cut(full.file().size() - 100));

    SimulatedRecording quickTime(
        movie(Brand::quickTime, {screen(VideoCodec::hevc), sound("System", 2, 2112)}));
    quickTime.record(0, 1.2, 2);
    add("unfinished-quicktime", quickTime.file());

    SimulatedRecording soundAlone(movie(Brand::m4a, {sound("Mic", 1, 2112)}));
    soundAlone.record(0, 1.2, 3);
    add("unfinished-sound", soundAlone.file());

    SimulatedRecording still(movie(Brand::mpeg4, {screen(VideoCodec::hevc)}));
    add("unfinished-empty", still.file());
    still.add(0, 30, 0, 3000, true);
    still.extendTo(40'000);
    still.add(0, 30, 40'001LL * 90000, 3000, false);
    still.finish();
    add("unfinished-still", still.file());

    MovieDescription late = movie(Brand::mpeg4, {sound("System", 2, 0), screen()});
    late.created = 4'000'000'000;
    SimulatedRecording lateScreen(late);
    lateScreen.record(3, 4, 4);
    add("unfinished-late", lateScreen.file());
}

void addStagesOfFinishing() {
    SimulatedRecording recording(movie(Brand::mpeg4, {screen(), sound("System", 2, 2112)}), 2 * blockSize);
    recording.record(0, 0.8, 5);
    const HeadLayout layout = recording.layout();
    const std::uint64_t mediaEnd = recording.file().size();

    MemoryFile growing = recording.file();
    growing.write(prepareGrowth(layout));
    growing.insert(prepareGrowth(layout).offset, growth(layout));
    add("unfinished-growing", growing);

    const Finishing stages = finishing(recording);
    MemoryFile filled = stages.file;
    filled.write(stages.index);
    add("unfinished-filled", filled);

    MemoryFile behind = recording.file();
    behind.write({mediaEnd, makeIndex(recording.description(), recording.tables(), 0)});
    add("unfinished-index-behind", behind);

    add("finished-in-room", finishedInRoom(recording));
    add("finished-by-copy", finishedByCopy(recording));
    add("finished-behind", finishedBehind(recording));
}

}  // namespace

int main(int count, char** values) {
    if (count != 2) {
        std::fprintf(stderr, "MakeCorpus FOLDER\n");
        return EXIT_FAILURE;
    }
    folder = values[1];
    addRecordings();
    addStagesOfFinishing();
    return EXIT_SUCCESS;
}
