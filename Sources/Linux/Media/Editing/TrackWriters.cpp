// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/TrackWriters.h"

#include "Linux/Media/Editing/InputMovie.h"

#include <exception>
#include <mutex>
#include <thread>

namespace lumicrate::media {

namespace {

void writeTogether(OutputMovie& output, const TrackWriters& tracks) {
    std::mutex mutex;
    std::exception_ptr first;
    {
        std::vector<std::jthread> threads;
        for (const auto& track : tracks) {
            threads.emplace_back([&] {
                try {
                    track->write();
                } catch (...) {
                    const std::lock_guard lock(mutex);
                    if (!first) first = std::current_exception();
                    output.abandon();
                }
            });
        }
    }
    if (first) std::rethrow_exception(first);
}

}  // namespace

void writeMovie(OutputMovie& output, const InputMovie& input, const TrackWriters& tracks) {
    output.copyMetadata(input);
    for (const auto& track : tracks)
        track->addTo(output);
    output.setTakesTurns(tracks.size() > 1);
    output.begin();
    writeTogether(output, tracks);
    output.finish();
}

}  // namespace lumicrate::media
