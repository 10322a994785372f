// SPDX-License-Identifier: GPL-3.0-or-later
// NeverRecordedList: the setting with the applications that are absent from every recording.
#pragma once

#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lumicrate {

/// Main thread only.
class NeverRecordedList {
 public:
    /// Lets the user click a window, and calls back with its application's class, or not at all if the user
    /// cancels or the window has none.
    using Pick = std::function<void(std::function<void(const std::string& windowClass)> picked)>;

    /// `pick` is empty where windows cannot be left out of recordings. `defaults` must outlive the list.
    NeverRecordedList(NSUserDefaults& defaults, Pick pick);
    NeverRecordedList(const NeverRecordedList&) = delete;
    NeverRecordedList& operator=(const NeverRecordedList&) = delete;

    static std::string label();
    std::string caption() const;
    /// As stored.
    Published<std::vector<std::string>> classes;
    /// Why the last change failed; empty if it did not.
    Published<std::string> error;

    bool canPick() const { return static_cast<bool>(pick_); }
    /// Adds the application of a window that the user clicks.
    void pick();
    void remove(const std::string& windowClass);

 private:
    void add(const std::string& windowClass);
    void store(const std::vector<std::string>& changed);

    NSUserDefaults& defaults_;
    Pick pick_;
    /// A pick in progress holds this weakly.
    std::shared_ptr<NeverRecordedList*> self_ = std::make_shared<NeverRecordedList*>(this);
    Subscription changes_;
};

}  // namespace lumicrate
