// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/CommandLine/LongCommand.h"

#include "App/CommandLine/StatusLine.h"
#include "App/QtExecutor.h"
#include "App/Signals.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <fmt/format.h>

#include <QEventLoop>
#include <atomic>
#include <csignal>
#include <exception>
#include <stop_token>
#include <thread>

namespace lumicrate::app {

void runLongWork(const std::string& label, const std::function<void(const LongWork&)>& work) {
    // Before the thread is started, so that it inherits the blocked signals.
    Signals::block({SIGINT, SIGTERM, SIGHUP});
    std::stop_source stop;
    StatusLine line;
    QtExecutor executor;
    QEventLoop loop;
    Signals signals({SIGINT, SIGTERM, SIGHUP});
    signals.handle([&](int) {
        if (!stop.request_stop()) return;
        log(LogArea::movie, label, " is asked to stop");
        executor.after(endTimeout, [] { exitAtOnce(CancelledError().what()); });
    });
    std::atomic<int> percent = -1;
    const auto show = [&](double part) {
        const int now = static_cast<int>(part * 100);
        if (percent.exchange(now) == now) return;
        executor.post([&line, &label, now] { line.show(fmt::format("{} {} %", label, now)); });
    };
    std::exception_ptr error;
    line.show(label);
    std::jthread worker([&] {
        try {
            work({line.isVisible() ? std::function<void(double)>(show) : nullptr, stop.get_token()});
        } catch (...) {
            error = std::current_exception();
        }
        executor.post([&loop] { loop.quit(); });
    });
    loop.exec();
    worker.join();
    line.clear();
    log(LogArea::movie, label, error ? " failed" : " done");
    if (error) std::rethrow_exception(error);
}

}  // namespace lumicrate::app
