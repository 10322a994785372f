// SPDX-License-Identifier: GPL-3.0-or-later
// AlertSheet: shows an NSAlert over its window.
#pragma once

#include "Platform/NSAlert.h"

class QWidget;

namespace lumicrate::views {

/// Opens the alert as a dialog that blocks only `window`. Esc and closing it answer with the last button.
void showAlertSheet(QWidget& window, const NSAlert& alert, std::function<void(NSAlertResponse)> answered);

}  // namespace lumicrate::views
