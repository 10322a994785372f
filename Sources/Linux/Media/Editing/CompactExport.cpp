// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/CompactExport.h"

#include "Linux/Media/Editing/CompactTrack.h"
#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/MixedTrack.h"
#include "Linux/Media/Editing/OutputMovie.h"

#include <exception>
#include <memory>
#include <system_error>
#include <thread>

namespace lumicrate::media {

namespace {

/// Writes the pictures on this thread and the sound on another one.
void write(OutputMovie& output, const InputMovie& input, CompactTrack* pictures, MixedTrack* sound) {
    output.copyMetadata(input);
    if (pictures != nullptr) pictures->addTo(output);
    if (sound != nullptr) sound->addTo(output);
    output.setTakesTurns(pictures != nullptr && sound != nullptr);
    output.begin();
    std::exception_ptr soundFailure;
    std::exception_ptr pictureFailure;
    {
        std::jthread soundThread;
        if (sound != nullptr) {
            soundThread = std::jthread([&] {
                try {
                    sound->write();
                } catch (...) {
                    soundFailure = std::current_exception();
                    output.abandon();
                }
            });
        }
        try {
            if (pictures != nullptr) pictures->write();
        } catch (...) {
            pictureFailure = std::current_exception();
            output.abandon();
        }
    }
    // The one that failed first makes the other one fail as cancelled.
    if (pictures != nullptr && pictures->isTooLarge()) std::rethrow_exception(pictureFailure);
    for (const std::exception_ptr& failure : {soundFailure, pictureFailure}) {
        try {
            if (failure) std::rethrow_exception(failure);
        } catch (const CancelledError&) {
        }
    }
    if (soundFailure || pictureFailure) throw CancelledError();
    output.finish();
}

}  // namespace

CompactResult CompactExport::exportCompact(const std::filesystem::path& source,
                                           const std::filesystem::path& destination,
                                           const CompactEncoding& encoding, std::uint64_t maxBytes,
                                           const LongWork& work) const {
    constexpr double partOfAnalysis = 0.4;
    const InputMovie input(source);
    std::unique_ptr<CompactTrack> pictures;
    std::unique_ptr<MixedTrack> sound;
    if (const auto video = input.videoTrack())
        pictures = std::make_unique<CompactTrack>(input, *video, encoding, maxBytes);
    if (!input.audioTracks().empty())
        sound = std::make_unique<MixedTrack>(input, encoding.soundBitRate, encoding.soundChannels);
    double from = 0;
    if (pictures && encoding.videoBitRate) {
        pictures->analyze({[&work](double part) { work.reach(partOfAnalysis * part); }, work.stop});
        from = partOfAnalysis;
    }
    const auto report = [&work, from](double part) { work.reach(from + (1 - from) * part); };
    try {
        OutputMovie output(destination, pictures ? AVFileType::mpeg4 : AVFileType::appleM4A, input.duration(),
                           {report, work.stop});
        write(output, input, pictures.get(), sound.get());
    } catch (const CancelledError&) {
        if (!pictures || !pictures->isTooLarge()) throw;
        return {0, pictures->bytes(), pictures->part()};
    }
    return {std::filesystem::file_size(destination), pictures ? pictures->bytes() : 0, 1};
}

}  // namespace lumicrate::media
