#include "Tests/Stage/Scene/Pacer.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <stdexcept>

namespace lumicrate::stage {

Nanoseconds now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<Nanoseconds>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

Pacer::Pacer() : timer_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC)) {
    sigset_t handled;
    sigemptyset(&handled);
    for (const int number : {SIGINT, SIGTERM, SIGUSR1})
        sigaddset(&handled, number);
    pthread_sigmask(SIG_BLOCK, &handled, nullptr);
    signals_ = Descriptor(signalfd(-1, &handled, SFD_CLOEXEC));
    if (timer_.get() < 0 || signals_.get() < 0) throw std::runtime_error("No timer");
}

Pacer::Event Pacer::waitUntil(Nanoseconds moment) {
    itimerspec setting{};
    setting.it_value.tv_sec = moment / 1'000'000'000;
    setting.it_value.tv_nsec = moment % 1'000'000'000;
    timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &setting, nullptr);
    for (;;) {
        pollfd watched[2] = {{timer_.get(), POLLIN, 0}, {signals_.get(), POLLIN, 0}};
        if (poll(watched, 2, -1) <= 0) continue;
        if (watched[1].revents != 0) return waitForSignal();
        return Event::Due;
    }
}

Pacer::Event Pacer::waitForSignal() {
    signalfd_siginfo info{};
    while (read(signals_.get(), &info, sizeof info) != sizeof info) {
    }
    return info.ssi_signo == SIGUSR1 ? Event::Rest : Event::Quit;
}

}  // namespace lumicrate::stage
