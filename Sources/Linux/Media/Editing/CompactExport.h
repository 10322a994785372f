// SPDX-License-Identifier: GPL-3.0-or-later
// CompactExport: the platform's AVCompactExport with the FFmpeg libraries.
#pragma once

#include "Platform/AVCompactExport.h"

namespace lumicrate::media {

class CompactExport final : public AVCompactExport {
 public:
    CompactResult exportCompact(const std::filesystem::path& source, const std::filesystem::path& destination,
                                const CompactEncoding& encoding, std::uint64_t maxBytes,
                                const LongWork& work) const override;
};

}  // namespace lumicrate::media
