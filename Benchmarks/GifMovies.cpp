// SPDX-License-Identifier: GPL-3.0-or-later
#include "Benchmarks/GifMovies.h"

#include "Benchmarks/Clip.h"
#include "Linux/Media/MovieFile/AssetWriter.h"
#include "Platform/AVAssetWriter.h"
#include "Tests/Stage/ChildProcess.h"

#include <chrono>
#include <cstdint>
#include <exception>
#include <future>
#include <memory>
#include <thread>

namespace lumicrate::bench {

namespace {

constexpr int picturesPerSecond = 30;
constexpr int picturesOfClip = 75;

AVVideoOutputSettings settings() {
    AVVideoOutputSettings settings;
    settings.width = Clip::width;
    settings.height = Clip::height;
    constexpr double bitsPerPixel = 0.12;
    constexpr auto bitRate = static_cast<int>(bitsPerPixel * Clip::width * Clip::height * picturesPerSecond);
    settings.compression = {.averageBitRate = bitRate,
                            .expectedSourceFrameRate = picturesPerSecond,
                            .maxKeyFrameInterval = picturesPerSecond * 2,
                            .profileLevel = AVVideoProfileLevel::h264HighAutoLevel};
    return settings;
}

void record(const Clip& clip, int seconds, const std::filesystem::path& file) {
    const auto writer = media::makeAssetWriter(file, AVFileType::mpeg4,
                                               media::RecoveryList(file.parent_path() / "unfinished"));
    AVAssetWriterInput& input = writer->addInput(settings());
    if (!writer->startWriting()) std::rethrow_exception(writer->error());
    writer->startSessionAtSourceTime(CMTime::zero());
    for (int i = 0; i < seconds * picturesPerSecond; ++i) {
        while (!input.isReadyForMoreMediaData())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        const auto picture = clip.at(static_cast<std::uint64_t>(i));
        CMSampleBuffer sample;
        sample.timing.presentationTimeStamp = CMTime(i, picturesPerSecond);
        // The clip outlives the writer.
        sample.imageBuffer = std::shared_ptr<const CVPixelBuffer>(std::shared_ptr<void>(), &picture.pixels);
        sample.frameInfo = picture.info;
        if (!input.appendSampleBuffer(sample)) std::rethrow_exception(writer->error());
    }
    input.markAsFinished();
    std::promise<void> done;
    writer->finishWriting([&done] { done.set_value(); });
    done.get_future().wait();
    if (writer->error()) std::rethrow_exception(writer->error());
}

}  // namespace

void makeGifMovie(const std::string& content, int seconds, const std::filesystem::path& file) {
    if (content != "camera") {
        record(Clip(content, picturesOfClip), seconds, file);
        return;
    }
    const std::filesystem::path clean = file.parent_path() / "clean.mp4";
    record(Clip("moving", picturesOfClip), seconds, clean);
    stage::runProgram({"ffmpeg", "-v", "error", "-i", clean.string(), "-vf", "noise=alls=5:allf=t", "-c:v",
                       "libx264", "-preset", "veryfast", "-crf", "23", file.string()},
                      {}, 600);
    std::filesystem::remove(clean);
}

}  // namespace lumicrate::bench
