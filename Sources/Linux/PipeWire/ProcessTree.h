// SPDX-License-Identifier: GPL-3.0-or-later
// ProcessTree: which processes were started by a process, directly or by way of others.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

namespace lumicrate::pipewire {

/// The parent of a process; nothing when the process has ended.
using ParentLookup = std::function<std::optional<std::int32_t>(std::int32_t process)>;

/// The lookup of the running system.
std::optional<std::int32_t> parentProcess(std::int32_t process);

/// Whether `process` is `root` or a descendant of it. Only descendants count: programs that have a parent in
/// common, such as the session's manager or a shell, are different programs. Nothing descends from process 1,
/// which adopts the children of ended processes.
bool isInProcessTree(std::int32_t process, std::int32_t root, const ParentLookup& parentOf = parentProcess);

}  // namespace lumicrate::pipewire
