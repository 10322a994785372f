// SPDX-License-Identifier: GPL-3.0-or-later
// Assets: reads, cuts, mixes and converts finished movies with the FFmpeg libraries.
#pragma once

#include "Platform/AVAsset.h"

namespace lumicrate::media {

class Assets final : public AVAssets {
 public:
    /// Reads a few kilobytes; files in other containers than ISO base media, whatever their names say, are
    /// probed with FFmpeg's libraries. Any thread, several at once. Throws PlatformError.
    AVAssetSummary summary(const std::filesystem::path& url) const override;
    std::vector<CMTime> pictureTimes(const std::filesystem::path& url) const override;
    std::vector<float> loudness(const std::filesystem::path& url, std::size_t parts,
                                const LongWork& work) const override;
    std::vector<RecordedInput> recordedInput(const std::filesystem::path& url) const override;
    AVVoice voice(const std::filesystem::path& url) const override;
    void cleanVoice(const std::filesystem::path& source, const std::filesystem::path& destination,
                    AVFileType type, bool normalizes, const LongWork& work) const override;
    void mixAudio(const std::filesystem::path& source, const std::filesystem::path& destination,
                  AVFileType type, const LongWork& work) const override;
    void exportMovie(const std::filesystem::path& source, const std::filesystem::path& destination,
                     AVFileType type, AVAssetExportPreset preset, std::optional<CMTimeRange> range,
                     const LongWork& work) const override;
    void copyWithoutInput(const std::filesystem::path& source, const std::filesystem::path& destination,
                          AVFileType type, const LongWork& work) const override;
};

}  // namespace lumicrate::media
