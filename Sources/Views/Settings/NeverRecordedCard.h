// SPDX-License-Identifier: GPL-3.0-or-later
// NeverRecordedCard: the applications that are never recorded, in the settings.
#pragma once

#include "Lumicrate/Settings/NeverRecordedList.h"
#include "Views/Settings/Form.h"

#include <vector>

namespace lumicrate::views {

/// A row with a button that adds an application, and one for each of them that removes it.
class NeverRecordedCard final : public Card {
 public:
    /// `list` must outlive the card.
    explicit NeverRecordedCard(NeverRecordedList& list);

 private:
    void showClasses();

    NeverRecordedList& list_;
    std::vector<QWidget*> rows_;
    Subscription changes_;
};

}  // namespace lumicrate::views
