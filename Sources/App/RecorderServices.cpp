// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/RecorderServices.h"

#include "App/CaptureBackend.h"
#include "Linux/Media/Editing/Assets.h"
#include "Linux/Media/MovieFile/AssetWriter.h"
#include "Linux/Media/Replay/ReplayBuffer.h"
#include "Support/DispatchQueue.h"

#include <algorithm>
#include <memory>
#include <thread>

namespace lumicrate::app {

namespace {

std::unique_ptr<DispatchQueue> makeSerialQueue(const std::string& label) {
    return std::make_unique<SerialQueue>(label);
}

MovieWriter::Services movieServices(SystemServices& system) {
    return {[&unfinished = system.unfinished](const std::filesystem::path& url, AVFileType fileType) {
                return media::makeAssetWriter(url, fileType, unfinished);
            },
            system.clock, makeSerialQueue, system.files};
}

std::optional<x11::PointerFollower> pointerFollower(SystemServices& system) {
    if (!desktopAbilities().seesClicks) return std::nullopt;
    return x11::PointerFollower(system.executor);
}

}  // namespace

RecorderServices::RecorderServices(SystemServices& system, const DesktopServices& desktop)
    : pointer(pointerFollower(system)),
      hotKeys(desktop.keys),
      folder(system.files, system.calendar, system.defaults),
      sound(system.executor, makeSerialQueue, system.assets, system.files),
      recorder({system.executor, system.defaults, system.process, desktop.screens, system.notifications,
                system.capture, system.devices, hotKeys, folder, movieServices(system), &sound,
                desktop.overlays, system.cameraSessions, desktop.makeStudioWindow, system.portalCapture,
                pointer ? &*pointer : nullptr}) {}

Replay::Services replayServices(SystemServices& system, RecorderServices& services) {
    const auto makeBuffer = [&unfinished = system.unfinished](const AVReplayBuffer::Limits& limits) {
        return std::make_unique<media::ReplayBuffer>(limits, unfinished);
    };
    return {system.executor,
            system.defaults,
            system.process,
            system.notifications,
            system.capture,
            system.devices,
            services.folder,
            movieServices(system),
            &services.sound,
            makeBuffer,
            services.recorder,
            desktopAbilities(),
            services.pointer ? &*services.pointer : nullptr};
}

DurationReader::Readers lengthReaders() {
    constexpr unsigned int maxThreads = 4;
    DurationReader::Readers readers;
    readers.read = [](const std::filesystem::path& url) { return media::Assets().summary(url).duration; };
    const unsigned int threads = std::clamp(std::thread::hardware_concurrency(), 1U, maxThreads);
    for (unsigned int i = 0; i < threads; ++i)
        readers.queues.push_back(std::make_unique<SerialQueue>("Lumicrate.recording-lengths"));
    return readers;
}

}  // namespace lumicrate::app
