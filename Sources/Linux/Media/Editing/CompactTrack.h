// SPDX-License-Identifier: GPL-3.0-or-later
// CompactTrack: the pictures of a movie, encoded again for size.
#pragma once

#include "Linux/Media/Editing/OutputMovie.h"
#include "Linux/Media/Editing/PictureShaper.h"
#include "Platform/AVCompactExport.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace lumicrate::media {

/// H.264. With a bit rate, two passes: `analyze` is the first. Few pictures, as of a still screen, get a
/// quality from it, and meet the bit rate less exactly. There are no B-frames, so that players that
/// ignore edit lists show every picture at its time too.
class CompactTrack final : public TrackWriter {
 public:
    /// `source` must outlive it. Nothing more is written when the pictures take more than `maxBytes`.
    CompactTrack(const InputMovie& source, int track, const CompactEncoding& encoding,
                 std::uint64_t maxBytes);
    ~CompactTrack() override;

    /// The first pass, which writes nothing. Needed before the others if there is a bit rate. Throws
    /// PlatformError and CancelledError.
    void analyze(const LongWork& work);
    void addTo(OutputMovie& movie) override;
    /// Throws CancelledError also when the pictures are too large.
    void write() override;

    bool isTooLarge() const { return bytes_ > maxBytes_; }
    std::uint64_t bytes() const { return bytes_; }
    /// Of the movie that was encoded, 0 … 1.
    double part() const { return part_; }

 private:
    enum class Pass { only, first, second };
    class Notes;
    using Sink = std::function<void(AVPacket& packet)>;

    void open(Pass pass);
    double wantedBits() const;
    void makeCoarser(double factor);
    void encodeAll(const std::function<void()>& check, const Sink& sink);
    void encode(const AVFrame* frame, const Sink& sink);

    const InputMovie& source_;
    std::filesystem::path path_;
    int track_;
    CompactEncoding encoding_;
    std::uint64_t maxBytes_;
    AVRational clock_;
    PixelSize size_;
    double quality_;  ///< the CRF of libx264, where no bit rate decides
    std::unique_ptr<Notes> notes_;
    OwnedCodec encoder_;
    std::optional<PictureShaper> shaper_;
    OwnedPacket packet_;
    std::int64_t pictures_ = 0;  ///< that the first pass has seen
    std::int64_t lastDuration_ = 1;
    std::uint64_t bytes_ = 0;
    double part_ = 0;
    OutputMovie* movie_ = nullptr;
    int to_ = 0;
};

}  // namespace lumicrate::media
