// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/Session.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <cerrno>
#include <mutex>

namespace lumicrate::pipewire {

namespace {

[[noreturn]] void failUnreachable() {
    log(LogArea::audio, "no sound server");
    throw PlatformError(localized("No sound server can be reached."));
}

/// Contexts are created and destroyed one at a time: they use process-wide state of the library.
std::mutex& contextMutex() {
    static std::mutex mutex;
    return mutex;
}

}  // namespace

const pw_core_events Session::events = [] {
    pw_core_events handlers{};
    handlers.version = PW_VERSION_CORE_EVENTS;
    handlers.info = [](void*, const pw_core_info* info) {
        if (info->version) log(LogArea::audio, "sound server version ", info->version);
    };
    handlers.done = [](void* self, std::uint32_t id, int sequence) {
        if (id == PW_ID_CORE) static_cast<Session*>(self)->done(sequence);
    };
    handlers.error = [](void* self, std::uint32_t id, int, int result, const char*) {
        // Other errors concern one object or one request.
        if (id == PW_ID_CORE && result == -EPIPE) static_cast<Session*>(self)->lost();
    };
    return handlers;
}();

Session::Session(const Remote& remote) {
    static std::once_flag initialized;
    std::call_once(initialized, [] { pw_init(nullptr, nullptr); });
    loop_.reset(pw_thread_loop_new("lumicrate-sound", nullptr));
    if (!loop_) failUnreachable();
    connect(remote);
    if (!core_) failUnreachable();
    pw_core_add_listener(core_.get(), &listener_, &events, this);
    if (pw_thread_loop_start(loop_.get()) != 0) failUnreachable();
    thread_.reset(loop_.get());
    // A hanging server accepts connections, too: only an answer proves that it is running.
    const Lock lock(*this);
    if (!roundTrip(answerTimeout)) failUnreachable();
}

void Session::connect(const Remote& remote) {
    {
        const std::lock_guard lock(contextMutex());
        context_.reset(pw_context_new(loop(), nullptr, 0));
    }
    if (!context_) failUnreachable();
    const int socket = remote ? remote() : -1;
    pw_properties* const properties = pw_properties_new(PW_KEY_APP_NAME, "Lumicrate", nullptr);
    const std::lock_guard lock(contextMutex());
    // The library takes the socket and the properties, also if it fails.
    core_.reset(remote ? pw_context_connect_fd(context_.get(), socket, properties, 0)
                       : pw_context_connect(context_.get(), properties, 0));
}

void Session::Delete::operator()(pw_context* context) const {
    const std::lock_guard lock(contextMutex());
    pw_context_destroy(context);
}

bool Session::roundTrip(Timeout timeout) {
    const int sequence = pw_core_sync(core_.get(), PW_ID_CORE, 0);
    return await([&] { return lastDone_ == sequence; }, timeout);
}

void Session::done(int sequence) {
    lastDone_ = sequence;
    signal();
}

void Session::lost() {
    alive_ = false;
    signal();
    noteChange();
}

}  // namespace lumicrate::pipewire
