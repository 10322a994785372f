// SPDX-License-Identifier: GPL-3.0-or-later
// AssetWriter: AVAssetWriter, made of encoders and the destination of their samples, such as a movie file.
#pragma once

#include "Linux/Media/MovieFile/AssetWriterInput.h"
#include "Linux/Media/MovieFile/MovieDestination.h"
#include "Linux/Media/MovieFile/MovieRecovery.h"
#include "Platform/AVAssetWriter.h"

#include <memory>
#include <thread>
#include <vector>

namespace lumicrate::media {

/// Makes the writer of one file. startWriting() creates the file and fails when the name is taken. The file
/// is in the list `recordings` while it is being written.
std::unique_ptr<AVAssetWriter> makeAssetWriter(const std::filesystem::path& url, AVFileType fileType,
                                               const RecoveryList& recordings);

/// Each track is encoded on a thread of its own. Destroying the writer before finishWriting() leaves the file
/// unfinished, or deletes it if it has no samples; during finishWriting() the destructor waits.
class AssetWriter final : public AVAssetWriter {
 public:
    AssetWriter(std::filesystem::path url, AVFileType fileType, std::shared_ptr<MovieDestination> movie);
    ~AssetWriter() override;
    AssetWriter(const AssetWriter&) = delete;
    AssetWriter& operator=(const AssetWriter&) = delete;

    void setShouldOptimizeForNetworkUse(bool indexInFront) override;
    bool canAddInput(const AVOutputSettings& settings) const override;
    AVAssetWriterInput& addInput(const AVOutputSettings& settings) override;
    bool startWriting() override;
    void setOnInterruption(std::function<void(std::exception_ptr)> sink) override;
    void startSessionAtSourceTime(CMTime start) override;
    void extendSession(CMTime sourceTime) override;
    void endSessionAtSourceTime(CMTime end) override;
    AVAssetWriterStatus status() const override { return state_.status(); }
    std::exception_ptr error() const override { return state_.error(); }
    void finishWriting(std::function<void()> completion) override;
    void cancelWriting() override;
    std::filesystem::path outputURL() const override { return url_; }

 private:
    bool canAdd(const AVVideoOutputSettings& settings) const;
    static bool canAdd(const AVAudioOutputSettings& settings);
    std::optional<MovieEnd> movieEnd(CMTime start) const;
    void finishTracks();
    void complete();
    void abandonInputs();

    std::filesystem::path url_;
    AVFileType fileType_;
    WritingState state_;
    bool hasVideo_ = false;
    std::shared_ptr<MovieDestination> movie_;
    std::vector<std::unique_ptr<AssetWriterInput>> inputs_;
    std::thread finisher_;
};

}  // namespace lumicrate::media
