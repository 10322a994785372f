// LoginRow: the switch that starts the program when its user logs in.
#pragma once

#include "Lumicrate/Settings/LoginItem.h"
#include "Support/Published.h"

#include <QWidget>

namespace lumicrate::views {

class LoginRow final : public QWidget {
 public:
    /// `item` must outlive the row.
    explicit LoginRow(LoginItem& item);

 private:
    Subscription changes_;
    Subscription complaints_;
};

}  // namespace lumicrate::views
