#include "Tests/Stage/PrivateDesktop.h"

namespace lumicrate::stage {

PrivateDesktop::PrivateDesktop(const Options& options)
    : sound_(options.sound ? std::make_optional<SoundServer>(session_) : std::nullopt),
      display_(options.display),
      applied_(
          {{"DISPLAY", display_.displayName()}, {"XAUTHORITY", std::nullopt}, {"XDG_SESSION_TYPE", "x11"}}) {}

}  // namespace lumicrate::stage
