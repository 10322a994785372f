// SPDX-License-Identifier: GPL-3.0-or-later
// Registry: introduces the program to the portal by its application identifier.
#pragma once

#include "Support/Executor.h"
#include "Support/Task.h"

#include <memory>
#include <string>

class QDBusServiceWatcher;

namespace lumicrate::portal {

/// Outside of a sandbox, newer portals know a program only if it has registered. Without that they refuse
/// global shortcuts and show no name in their questions. Main thread.
///
/// A connection must register before its first other call, so the portals in this folder use a connection of
/// their own, separate from QDBusConnection::sessionBus(), on which Qt itself calls the portal.
class Registry {
 public:
    /// `applicationId` is the base name of an installed desktop entry. The executor outlives the
    /// registry.
    Registry(Executor& executor, std::string applicationId);
    ~Registry();

    /// Registers in the first call, and again when the portal has been restarted. Does nothing in a sandbox,
    /// where the portal knows the program by itself. Never throws: a portal that has no registry or refuses
    /// may still do what is asked next. Waits for a few seconds at most. The registry must outlive the task.
    Task<> enroll();

 private:
    Executor& executor_;
    std::string applicationId_;
    bool enrolled_ = false;
    std::unique_ptr<QDBusServiceWatcher> portalEnd_;
};

}  // namespace lumicrate::portal
