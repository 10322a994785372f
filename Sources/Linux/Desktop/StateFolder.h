// StateFolder: where a program keeps what it must remember from one run to the next, but which is neither a
// setting nor a document.
#pragma once

#include <filesystem>

namespace lumicrate::desktop {

/// The folder "lumicrate" in the user's folder for such things, as the XDG Base Directory Specification says;
/// it need not exist.
std::filesystem::path stateFolder();

}  // namespace lumicrate::desktop
