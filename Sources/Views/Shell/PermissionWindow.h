// SPDX-License-Identifier: GPL-3.0-or-later
// PermissionWindow: lists what cannot be reached, with advice for each.
#pragma once

#include "Lumicrate/Shell/Permissions.h"
#include "Support/Published.h"

#include <QWidget>
#include <vector>

class QVBoxLayout;

namespace lumicrate::views {

/// Closes by itself once everything can be reached.
class PermissionWindow final : public QWidget {
 public:
    /// `model` must outlive the window.
    explicit PermissionWindow(Permissions& model);

 private:
    void showMissing(const std::vector<Permissions::Missing>& missing);
    static QWidget* row(const Permissions::Missing& missing);

    Permissions& model_;
    QVBoxLayout* place_;
    QWidget* card_ = nullptr;
    Subscription missingChanges_;
    Subscription outcomeChanges_;
};

}  // namespace lumicrate::views
