// SPDX-License-Identifier: GPL-3.0-or-later
// SleepWatch: reports that the computer has been suspended and runs again.
#pragma once

#include <QObject>
#include <functional>

namespace lumicrate::desktop {

/// Through logind, on the system's bus. Reports nothing where there is none. Main thread; needs a running Qt
/// event loop.
class SleepWatch final : public QObject {
    Q_OBJECT

 public:
    explicit SleepWatch(std::function<void()> onWakeUp);

 private Q_SLOTS:
    void prepareForSleep(bool isAhead);

 private:
    const std::function<void()> onWakeUp_;
};

}  // namespace lumicrate::desktop
