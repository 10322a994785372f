// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/App/SessionManager.h"

#include <X11/SM/SMlib.h>
#include <poll.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace lumicrate::test {

/// What the library's callbacks work on.
struct SessionManager::State {
    int listenerCount = 0;
    IceListenObj* listeners = nullptr;
    std::string address;
    IceConn connection = nullptr;
    SmsConn program = nullptr;
    bool joined = false;
    bool saved = false;

    static Status join(SmsConn program, SmPointer data, char* previous) {
        std::free(previous);
        char* id = SmsGenerateClientID(program);
        SmsRegisterClientReply(program, id);
        std::free(id);
        // The protocol requires this of a new client.
        SmsSaveYourself(program, SmSaveLocal, False, SmInteractStyleNone, False);
        static_cast<State*>(data)->joined = true;
        return 1;
    }
    /// The library requires all callbacks; only two of them matter here.
    static Status accept(SmsConn program, SmPointer data, unsigned long* mask, SmsCallbacks* all, char**) {
        static_cast<State*>(data)->program = program;
        *mask = ~0UL;
        all->register_client = {join, data};
        all->interact_request = {[](SmsConn, SmPointer, int) {}, data};
        all->interact_done = {[](SmsConn, SmPointer, Bool) {}, data};
        all->save_yourself_request = {[](SmsConn, SmPointer, int, Bool, int, Bool, Bool) {}, data};
        all->save_yourself_phase2_request = {[](SmsConn, SmPointer) {}, data};
        all->save_yourself_done = {
            [](SmsConn, SmPointer self, Bool success) { static_cast<State*>(self)->saved = success; }, data};
        all->close_connection = {
            [](SmsConn, SmPointer, int count, char** texts) { SmFreeReasons(count, texts); }, data};
        all->set_properties = {[](SmsConn, SmPointer, int count, SmProp** properties) {
                                   for (int i = 0; i < count; ++i)
                                       SmFreeProperty(properties[i]);
                                   std::free(properties);
                               },
                               data};
        all->delete_properties = {
            [](SmsConn, SmPointer, int count, char** texts) { SmFreeReasons(count, texts); }, data};
        all->get_properties = {[](SmsConn, SmPointer) {}, data};
        return 1;
    }
};

SessionManager::SessionManager() : state_(std::make_unique<State>()) {
    std::array<char, 256> error{};
    const auto length = static_cast<int>(error.size());
    IceSetIOErrorHandler([](IceConn) {});
    const auto trustAll = [](char*) { return True; };
    SmsInitialize("Lumicrate", "1", State::accept, state_.get(), trustAll, length, error.data());
    if (!IceListenForConnections(&state_->listenerCount, &state_->listeners, length, error.data()))
        throw std::runtime_error(error.data());
    for (int i = 0; i < state_->listenerCount; ++i)
        IceSetHostBasedAuthProc(state_->listeners[i], trustAll);
    char* address = IceComposeNetworkIdList(state_->listenerCount, state_->listeners);
    state_->address = address;
    std::free(address);
}

SessionManager::~SessionManager() {
    if (state_->program) SmsCleanUp(state_->program);
    if (state_->connection) {
        IceSetShutdownNegotiation(state_->connection, False);
        IceCloseConnection(state_->connection);
    }
    IceFreeListenObjs(state_->listenerCount, state_->listeners);
}

const std::string& SessionManager::address() const {
    return state_->address;
}

bool SessionManager::awaitProgram() {
    // Including its reply to the first SaveYourself.
    return serveUntil([this] { return state_->joined && state_->saved; });
}

bool SessionManager::askToSave() {
    state_->saved = false;
    SmsSaveYourself(state_->program, SmSaveBoth, True, SmInteractStyleNone, False);
    return serveUntil([this] { return state_->saved; });
}

void SessionManager::end() {
    SmsDie(state_->program);
    IceFlush(state_->connection);
}

bool SessionManager::serveUntil(const std::function<bool()>& reached) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!reached() && std::chrono::steady_clock::now() < end) {
        std::vector<pollfd> watched;
        for (int i = 0; i < state_->listenerCount; ++i)
            watched.push_back({IceGetListenConnectionNumber(state_->listeners[i]), POLLIN, 0});
        if (state_->connection) watched.push_back({IceConnectionNumber(state_->connection), POLLIN, 0});
        poll(watched.data(), watched.size(), 1000);
        if (state_->connection) {
            if (watched.back().revents != 0 &&
                IceProcessMessages(state_->connection, nullptr, nullptr) == IceProcessMessagesIOError)
                break;
            continue;
        }
        for (int i = 0; i < state_->listenerCount; ++i) {
            if ((watched[static_cast<std::size_t>(i)].revents & POLLIN) == 0) continue;
            IceAcceptStatus status{};
            state_->connection = IceAcceptConnection(state_->listeners[i], &status);
        }
    }
    return reached();
}

}  // namespace lumicrate::test
