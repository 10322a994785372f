#include "App/Services.h"

#include "Linux/Media/MovieFile/AssetWriter.h"
#include "Support/DispatchQueue.h"

#include <memory>

namespace lumicrate::app {

namespace {

std::unique_ptr<DispatchQueue> makeSerialQueue(const std::string& label) {
    return std::make_unique<SerialQueue>(label);
}

MovieWriter::Services movieServices(Machine& machine) {
    return {[&unfinished = machine.unfinished](const std::filesystem::path& url, AVFileType fileType) {
                return media::makeAssetWriter(url, fileType, unfinished);
            },
            machine.clock, makeSerialQueue, machine.files};
}

}  // namespace

Services::Services(Machine& machine, const DesktopParts& parts)
    : hotKeys(parts.keys),
      folder(machine.files, machine.calendar),
      mixdown(machine.executor, makeSerialQueue, machine.assets, machine.files),
      recorder({machine.executor, machine.defaults, machine.process, parts.screens, machine.notifications,
                machine.capture, machine.devices, hotKeys, folder, movieServices(machine), &mixdown,
                parts.overlays}) {}

}  // namespace lumicrate::app
