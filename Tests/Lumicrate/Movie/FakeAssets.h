// SPDX-License-Identifier: GPL-3.0-or-later
// FakeAssets: movie summaries and exports that tests control.
#pragma once

#include "Platform/AVAsset.h"
#include "Support/Error.h"
#include "Tests/Lumicrate/FakePlatform.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace lumicrate::test {

class FakeAssets final : public AVAssets {
 public:
    explicit FakeAssets(FakeFiles& files) : files_(files) {}

    AVAssetSummary summary(const std::filesystem::path& url) const override {
        if (const auto found = summaries.find(url); found != summaries.end()) return found->second;
        throw PlatformError("That is no movie.");
    }
    void mixAudio(const std::filesystem::path& source, const std::filesystem::path& destination,
                  AVFileType type, const LongWork& work) const override {
        make("mix", source, destination, type, AVAssetExportPreset::passthrough, work);
    }
    void exportMovie(const std::filesystem::path& source, const std::filesystem::path& destination,
                     AVFileType type, AVAssetExportPreset preset, std::optional<CMTimeRange> range,
                     const LongWork& work) const override {
        ranges.push_back(range);
        make("export", source, destination, type, preset, work);
    }

    struct Made {
        std::string what;
        std::filesystem::path source;
        std::filesystem::path destination;
        AVFileType type;
        AVAssetExportPreset preset;
    };

    std::map<std::filesystem::path, AVAssetSummary> summaries;
    std::string refusal;
    mutable std::vector<Made> made;
    mutable std::vector<std::optional<CMTimeRange>> ranges;

 private:
    void make(const std::string& what, const std::filesystem::path& source,
              const std::filesystem::path& destination, AVFileType type, AVAssetExportPreset preset,
              const LongWork& work) const {
        made.push_back({what, source, destination, type, preset});
        work.reach(0.5);
        if (!refusal.empty()) throw PlatformError(refusal);
        files_.existing.insert(destination);
    }

    FakeFiles& files_;
};

}  // namespace lumicrate::test
