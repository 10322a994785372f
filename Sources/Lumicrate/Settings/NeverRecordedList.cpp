// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Settings/NeverRecordedList.h"

#include "Lumicrate/Capture/NeverRecorded.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Support/Error.h"
#include "Support/Text.h"

#include <utility>

namespace lumicrate {

NeverRecordedList::NeverRecordedList(NSUserDefaults& defaults, Pick pick)
    : defaults_(defaults), pick_(std::move(pick)) {
    const auto read = [this] {
        std::vector<std::string> stored =
            readClasses(defaults_.stringForKey(preference::neverRecorded).value_or(""));
        if (stored != *classes) classes = std::move(stored);
    };
    read();
    changes_ = defaults.observe(read);
}

std::string NeverRecordedList::label() {
    return localized("Never recorded");
}

std::string NeverRecordedList::caption() const {
    if (canPick()) return localized("The windows of these applications are absent from every recording.");
    return localized(
        "On this desktop, windows can't be left out of a recording. While there are applications in this "
        "list, the screen is not recorded.");
}

void NeverRecordedList::pick() {
    if (!pick_) return;
    pick_([weak = std::weak_ptr(self_)](const std::string& windowClass) {
        if (const auto self = weak.lock()) (*self)->add(windowClass);
    });
}

void NeverRecordedList::add(const std::string& windowClass) {
    std::vector<std::string> changed = *classes;
    if (isListed(windowClass, changed)) return;
    changed.push_back(windowClass);
    store(changed);
}

void NeverRecordedList::remove(const std::string& windowClass) {
    std::vector<std::string> changed = *classes;
    std::erase(changed, windowClass);
    store(changed);
}

void NeverRecordedList::store(const std::vector<std::string>& changed) {
    std::string message;
    try {
        defaults_.set(preference::neverRecorded, joinedClasses(changed));
    } catch (const PlatformError& failure) {
        message = failure.what();
    }
    error = message;
}

}  // namespace lumicrate
