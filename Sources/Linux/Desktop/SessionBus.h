// The user's session bus.
#pragma once

namespace lumicrate::desktop {

/// Whether there is one. Without an address of its own the bus library would try to start one, which is not
/// ours to do.
bool sessionBusExists();

}  // namespace lumicrate::desktop
