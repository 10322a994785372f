#include "App/LibraryServices.h"

#include "Linux/Media/MovieFile/AssetSummary.h"
#include "Support/DispatchQueue.h"

#include <algorithm>
#include <memory>
#include <thread>

namespace lumicrate::app {

RecordingLengths::Readers lengthReaders() {
    constexpr unsigned int mostThreads = 4;
    RecordingLengths::Readers readers;
    readers.read = [](const std::filesystem::path& url) { return media::summaryOfMovie(url).duration; };
    const unsigned int threads = std::clamp(std::thread::hardware_concurrency(), 1U, mostThreads);
    for (unsigned int i = 0; i < threads; ++i)
        readers.queues.push_back(std::make_unique<SerialQueue>("Lumicrate.recording-lengths"));
    return readers;
}

}  // namespace lumicrate::app
