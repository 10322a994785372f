// Controls bound to stored preferences: they show what is stored, also when it is changed elsewhere, and
// store what the user chooses at once.
#pragma once

#include "Platform/NSUserDefaults.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

class QAbstractButton;
class QComboBox;

namespace lumicrate::views {

/// Where a sentence goes when a preference cannot be stored; the control then shows again what is stored.
using ComplaintSink = std::function<void(const std::string&)>;

/// A checkable button for a Boolean. `defaults` must outlive the button.
void bindBool(QAbstractButton& button, NSUserDefaults& defaults, std::string key, ComplaintSink complain);

/// What a menu of choices stores, and what it shows for it.
using Choices = std::vector<std::pair<DefaultsValue, std::string>>;

/// Fills the box with `choices` and binds it. A stored value that is none of them is shown as `fallback`.
/// Called again, the box gets other choices for the same key. `defaults` must outlive the box.
void bindChoice(QComboBox& box, NSUserDefaults& defaults, std::string key, const Choices& choices,
                const DefaultsValue& fallback, ComplaintSink complain);

}  // namespace lumicrate::views
