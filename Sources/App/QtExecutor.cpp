// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/QtExecutor.h"

#include "Support/MediaTime.h"

#include <QMetaObject>
#include <algorithm>

namespace lumicrate::app {

std::chrono::nanoseconds QtExecutor::now() const {
    return HostClock::now();
}

void QtExecutor::post(Work work) {
    QMetaObject::invokeMethod(&receiver_, std::move(work), Qt::QueuedConnection);
}

Executor::TimerId QtExecutor::after(std::chrono::nanoseconds delay, Work work) {
    const TimerId id = ++lastTimer_;
    auto timer = std::make_unique<QTimer>();
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer.get(), &QTimer::timeout, &receiver_, [this, id, work = std::move(work)] {
        // The timer owns this lambda: it must not be deleted before the call returns.
        const auto fired = timers_.extract(id);
        fired.mapped().release()->deleteLater();
        work();
    });
    timer->start(
        std::chrono::ceil<std::chrono::milliseconds>(std::max(delay, std::chrono::nanoseconds::zero())));
    timers_.emplace(id, std::move(timer));
    return id;
}

void QtExecutor::cancel(TimerId timer) {
    timers_.erase(timer);
}

}  // namespace lumicrate::app
