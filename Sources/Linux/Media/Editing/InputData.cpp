// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/InputData.h"

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Input/InputSample.h"

#include <algorithm>
#include <string>
#include <utility>

namespace lumicrate::media {

namespace {

std::optional<RecordedInput> inputOf(const AVPacket& packet, AVRational clock) {
    if (packet.pts == AV_NOPTS_VALUE || packet.size <= 0) return std::nullopt;
    auto input = readInputSample({packet.data, static_cast<std::size_t>(packet.size)});
    if (input) input->time = CMTime(std::max<std::int64_t>(packet.pts, 0) * clock.num, clock.den);
    return input;
}

}  // namespace

std::vector<RecordedInput> recordedInputOf(const std::filesystem::path& path) {
    InputMovie movie(path, InputMovie::Look::atHead);
    const auto track = movie.inputTrack();
    if (!track) return {};
    movie.select({*track});
    std::vector<RecordedInput> all;
    const OwnedPacket packet = makePacket();
    while (movie.read(*packet)) {
        const auto input = inputOf(*packet, movie.stream(*track).time_base);
        if (input && (all.empty() || all.back().time <= input->time)) all.push_back(*input);
    }
    return all;
}

std::vector<RecordedInput> inputIn(const std::optional<CMTimeRange>& range,
                                   std::vector<RecordedInput> input) {
    if (!range) return input;
    std::vector<RecordedInput> kept;
    std::optional<RecordedInput> held;
    for (RecordedInput& each : input) {
        if (each.time >= range->end) break;
        const bool isBefore = each.time < range->start;
        if (isBefore && each.kind == RecordedInput::Kind::pointer) held = each;
        if (isBefore) continue;
        each.time = each.time - range->start;
        kept.push_back(std::move(each));
    }
    if (!held) return kept;
    held->time = CMTime::zero();
    kept.insert(kept.begin(), std::move(*held));
    return kept;
}

InputSamples InputSamples::of(const std::vector<RecordedInput>& input) {
    InputSamples all;
    std::int64_t last = -1;
    for (const RecordedInput& each : input) {
        const std::int64_t time = std::max(each.time.converted(inputTimescale), last + 1);
        if (all.samples.empty()) {
            all.start = time;
        } else {
            all.samples.back().duration = static_cast<std::uint32_t>(time - last);
        }
        const std::string text = inputSample(each);
        all.samples.push_back({static_cast<std::uint32_t>(text.size()), 1, isKeySample(each)});
        all.bytes.insert(all.bytes.end(), text.begin(), text.end());
        last = time;
    }
    return all;
}

std::int64_t inputIndexSpace(std::size_t samples) {
    constexpr std::int64_t fixedPart = 1024;
    // In the tables of durations, sizes and key samples.
    constexpr std::int64_t ofSample = 8 + 4 + 4;
    return samples == 0 ? 0 : fixedPart + ofSample * static_cast<std::int64_t>(samples);
}

}  // namespace lumicrate::media
