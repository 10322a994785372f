// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/Signals.h"

#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <QObject>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace lumicrate::app {

namespace {

sigset_t setOf(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals)
        sigaddset(&set, signal);
    return set;
}

}  // namespace

void Signals::block(std::initializer_list<int> signals) {
    const sigset_t blocked = setOf(signals);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
}

Signals::Signals(std::initializer_list<int> signals, std::function<void(int)> onSignal)
    : onSignal_(std::move(onSignal)) {
    const sigset_t watched = setOf(signals);
    descriptor_ = signalfd(-1, &watched, SFD_NONBLOCK | SFD_CLOEXEC);
    if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
    notifier_ = std::make_unique<QSocketNotifier>(descriptor_, QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                     [this] { readPending(); });
}

Signals::~Signals() {
    notifier_.reset();
    close(descriptor_);
}

void Signals::readPending() const {
    signalfd_siginfo info{};
    while (read(descriptor_, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
        onSignal_(static_cast<int>(info.ssi_signo));
    }
}

}  // namespace lumicrate::app
