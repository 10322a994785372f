// SPDX-License-Identifier: GPL-3.0-or-later
// FakeAssets: movies and exports that tests control.
#pragma once

#include "Platform/AVAsset.h"
#include "Platform/AVCompactExport.h"
#include "Platform/AVVideoComposition.h"
#include "Tests/Lumicrate/FakePlatform.h"

#include <functional>
#include <map>

namespace lumicrate::test {

using Path = std::filesystem::path;

/// Movies that exist as summaries only; exports create files.
class FakeAssets final : public AVAssets {
 public:
    explicit FakeAssets(FakeFiles& files) : files_(files) {}

    AVAssetSummary summary(const Path& url) const override {
        if (const auto found = summaries.find(url); found != summaries.end()) return found->second;
        throw PlatformError("That is no movie.");
    }
    std::vector<CMTime> pictureTimes(const Path&) const override { return times; }
    std::vector<float> loudness(const Path&, std::size_t parts, const LongWork&) const override {
        return std::vector<float>(parts, 0.5F);
    }
    AVVoice voice(const Path& url) const override {
        const auto found = voices.find(url);
        return found == voices.end() ? AVVoice::none : found->second;
    }
    void cleanVoice(const Path& source, const Path& destination, AVFileType type, bool normalizes,
                    const LongWork& work) const override {
        steps.emplace_back(normalizes ? "normalize" : "clean");
        if (!cleaningRefusal.empty()) throw PlatformError(cleaningRefusal);
        exportMovie(source, destination, type, AVAssetExportPreset::passthrough, std::nullopt, work);
    }
    void mixAudio(const Path& source, const Path& destination, AVFileType type,
                  const LongWork& work) const override {
        steps.emplace_back("mix");
        exportMovie(source, destination, type, AVAssetExportPreset::passthrough, std::nullopt, work);
    }
    void exportMovie(const Path& source, const Path& destination, AVFileType type, AVAssetExportPreset preset,
                     std::optional<CMTimeRange> range, const LongWork& work) const override {
        made.push_back({source, destination, type, preset, range});
        work.reach(0.5);
        if (!refusal.empty()) throw PlatformError(refusal);
        files_.existing.insert(destination);
    }

    std::vector<RecordedInput> recordedInput(const Path&) const override { return input; }
    void copyWithoutInput(const Path& source, const Path& destination, AVFileType type,
                          const LongWork& work) const override {
        exportMovie(source, destination, type, AVAssetExportPreset::passthrough, std::nullopt, work);
    }

    struct Made {
        Path source;
        Path destination;
        AVFileType type;
        AVAssetExportPreset preset;
        std::optional<CMTimeRange> range;
    };
    std::map<Path, AVAssetSummary> summaries;
    std::vector<CMTime> times;         ///< of the pictures of every movie
    std::vector<RecordedInput> input;  ///< of every movie
    std::map<Path, AVVoice> voices;
    std::string refusal;
    std::string cleaningRefusal;
    mutable std::vector<std::string> steps;  ///< what was done with sound
    mutable std::vector<Made> made;

 private:
    FakeFiles& files_;
};

/// Zoomed copies, with the view of each at 3 s.
class FakeComposition final : public AVVideoCompositionExport {
 public:
    explicit FakeComposition(FakeFiles& files) : files_(files) {}

    void exportZoomed(const Path&, const Path& destination, AVFileType type, const AVVideoView& view,
                      const LongWork& work) const override {
        work.reach(0.5);
        made.emplace_back(view(CMTime(3, 1)), type);
        files_.existing.insert(destination);
    }

    mutable std::vector<std::pair<Rect, AVFileType>> made;

 private:
    FakeFiles& files_;
};

/// Compact copies whose pictures take as many bytes as `bytes` says of each attempt.
class FakeCompactExport final : public AVCompactExport {
 public:
    explicit FakeCompactExport(FakeFiles& files) : files_(files) {}

    CompactResult exportCompact(const Path&, const Path& destination, const CompactEncoding& encoding,
                                std::uint64_t maxBytes, const LongWork& work) const override {
        work.reach(0.5);
        made.push_back(encoding);
        const double pictures = bytes(encoding);
        const auto limit = static_cast<double>(maxBytes);
        if (pictures > limit) return {0, maxBytes, limit / pictures};
        files_.existing.insert(destination);
        size = static_cast<std::uint64_t>(pictures + others);
        return {size, static_cast<std::uint64_t>(pictures), 1};
    }

    std::function<double(const CompactEncoding&)> bytes = [](const CompactEncoding&) { return 1000; };
    double others = 0;  ///< the bytes besides the pictures
    mutable std::vector<CompactEncoding> made;
    mutable std::uint64_t size = 0;

 private:
    FakeFiles& files_;
};

}  // namespace lumicrate::test
