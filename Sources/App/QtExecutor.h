// SPDX-License-Identifier: GPL-3.0-or-later
// QtExecutor: runs the recorder's main-thread work on the Qt event loop.
#pragma once

#include "Support/Executor.h"

#include <QObject>
#include <QTimer>
#include <memory>
#include <unordered_map>

namespace lumicrate::app {

/// Belongs to the thread that creates it. Needs a QCoreApplication whose loop runs there.
class QtExecutor final : public Executor {
 public:
    std::chrono::nanoseconds now() const override;
    void post(Work work) override;
    TimerId after(std::chrono::nanoseconds delay, Work work) override;
    void cancel(TimerId timer) override;

 private:
    QObject receiver_;
    std::unordered_map<TimerId, std::unique_ptr<QTimer>> timers_;
    TimerId lastTimer_ = 0;
};

}  // namespace lumicrate::app
