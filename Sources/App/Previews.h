// SPDX-License-Identifier: GPL-3.0-or-later
// Previews: the application's preview windows, wired to the system services.
#pragma once

#include "App/SystemServices.h"
#include "Linux/Media/Editing/CompactExport.h"
#include "Linux/Media/Editing/VideoCompositionExport.h"
#include "Linux/Media/Images/ImageIO.h"
#include "Lumicrate/Preview/PreviewWindows.h"
#include "Platform/NSWorkspace.h"

namespace lumicrate::app {

/// Main thread.
class Previews {
 public:
    /// Both must outlive it.
    Previews(SystemServices& system, NSWorkspace& workspace);
    Previews(const Previews&) = delete;
    Previews& operator=(const Previews&) = delete;

 private:
    media::ImageIO images_;
    media::CompactExport compactExport_;
    media::VideoCompositionExport composition_;

 public:
    PreviewWindows windows;
};

}  // namespace lumicrate::app
