// SPDX-License-Identifier: GPL-3.0-or-later
// DefaultsBinding: binds controls to stored preferences. A bound control always shows the stored value, also
// when it is changed elsewhere, and stores what the user chooses at once.
#pragma once

#include "Platform/NSUserDefaults.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

class QAbstractButton;
class QComboBox;

namespace lumicrate::views {

/// Receives a sentence for the user when a preference cannot be stored; the control then shows the stored
/// value again.
using ErrorSink = std::function<void(const std::string&)>;

/// Binds a checkable button to a Boolean. `defaults` must outlive the button.
void bindBool(QAbstractButton& button, NSUserDefaults& defaults, std::string key, ErrorSink showError);

/// The stored values and labels of a menu of choices.
using Choices = std::vector<std::pair<DefaultsValue, std::string>>;

/// Fills the box with `choices` and binds it. A stored value that is none of them is shown as `fallback`.
/// Can be called again to replace the choices. `defaults` must outlive the box.
void bindChoice(QComboBox& box, NSUserDefaults& defaults, std::string key, const Choices& choices,
                const DefaultsValue& fallback, ErrorSink showError);

}  // namespace lumicrate::views
