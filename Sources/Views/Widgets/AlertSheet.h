// SPDX-License-Identifier: GPL-3.0-or-later
// AlertSheet: shows an NSAlert, over a window or alone.
#pragma once

#include "Platform/NSAlert.h"

class QDialog;
class QWidget;

namespace lumicrate::views {

/// Opens the alert as a dialog that blocks only `window`, or nothing if that is a null pointer. Esc and
/// closing it answer with the last button. The dialog deletes itself.
QDialog* showAlertSheet(QWidget* window, const NSAlert& alert, std::function<void(NSAlertResponse)> answered);

}  // namespace lumicrate::views
