#include "App/Services.h"

#include "App/CommandLine/Recovery.h"
#include "Linux/Media/AssetWriter.h"
#include "Support/SerialQueue.h"

#include <memory>

namespace lumicrate::app {

namespace {

std::unique_ptr<DispatchQueue> makeSerialQueue(const std::string& label) {
    return std::make_unique<SerialQueue>(label);
}

}  // namespace

Services::Services(const RecorderOverlays& overlays)
    : unfinished(unfinishedMovies()),
      hotKeys(keys),
      folder(files, calendar),
      mixdown(executor, makeSerialQueue, assets, files),
      recorder({executor, defaults, process, screens, notifications, capture, devices, hotKeys, folder,
                movieServices(), &mixdown, overlays}) {
    RecordingOptions::registerDefaults(defaults);
}

MovieWriter::Services Services::movieServices() {
    return {[this](const std::filesystem::path& url, AVFileType fileType) {
                return media::makeAssetWriter(url, fileType, unfinished);
            },
            clock, makeSerialQueue, files};
}

}  // namespace lumicrate::app
