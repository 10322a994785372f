// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/Signals.h"

#include <fmt/format.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <QMetaObject>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
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

void exitAtOnce(const std::string& sentence) {
    const bool isTerminal = isatty(STDERR_FILENO) == 1;
    fmt::print(stderr, "{}lumicrate: {}\n", isTerminal ? "\r\033[K" : "", sentence);
    std::fflush(stderr);
    _exit(EXIT_FAILURE);
}

void Signals::block(std::initializer_list<int> signals) {
    const sigset_t blocked = setOf(signals);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
}

Signals::Signals(std::initializer_list<int> signals, std::optional<Deadline> deadline)
    : deadline_(std::move(deadline)) {
    const sigset_t watched = setOf(signals);
    signals_ = signalfd(-1, &watched, SFD_CLOEXEC);
    quit_ = eventfd(0, EFD_CLOEXEC);
    if (signals_ < 0 || quit_ < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
    thread_ = std::thread([this] { watch(); });
}

Signals::~Signals() {
    {
        const std::lock_guard lock(mutex_);
        isQuitting_ = true;
    }
    changed_.notify_all();
    eventfd_write(quit_, 1);
    thread_.join();
    close(signals_);
    close(quit_);
}

void Signals::handle(std::function<void(int)> onSignal) {
    onSignal_ = std::move(onSignal);
    QMetaObject::invokeMethod(
        &receiver_, [this] { deliver(); }, Qt::QueuedConnection);
}

void Signals::setDeadline(Deadline deadline) {
    const std::lock_guard lock(mutex_);
    deadline_ = std::move(deadline);
}

/// On a thread of its own, because the loop's thread may be stuck.
void Signals::watch() {
    std::array<pollfd, 2> sources{{{signals_, POLLIN, 0}, {quit_, POLLIN, 0}}};
    for (;;) {
        poll(sources.data(), sources.size(), -1);
        if (sources[1].revents != 0) return;
        signalfd_siginfo info{};
        if (read(signals_, &info, sizeof info) != static_cast<ssize_t>(sizeof info)) continue;
        std::unique_lock lock(mutex_);
        pending_.push_back(static_cast<int>(info.ssi_signo));
        QMetaObject::invokeMethod(
            &receiver_, [this] { deliver(); }, Qt::QueuedConnection);
        if (!deadline_ || info.ssi_signo == SIGUSR1) continue;
        const Deadline deadline = *deadline_;
        if (!changed_.wait_for(lock, deadline.timeout, [this] { return pending_.empty() || isQuitting_; }))
            exitAtOnce(deadline.sentence);
    }
}

void Signals::deliver() {
    if (!onSignal_) return;
    std::vector<int> arrived;
    {
        const std::lock_guard lock(mutex_);
        arrived.swap(pending_);
    }
    changed_.notify_all();
    for (const int signal : arrived)
        onSignal_(signal);
}

}  // namespace lumicrate::app
