// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/App/SessionManager.h"

#include "Tests/Stage/Await.h"

#include <X11/SM/SMlib.h>
#include <poll.h>

#include <array>
#include <cstdlib>
#include <span>
#include <stdexcept>

namespace lumicrate::test {

/// What the library's callbacks work on.
struct SessionManager::State {
    int listenerCount = 0;
    IceListenObj* listeners = nullptr;
    std::string address;
    IceConn connection = nullptr;
    SmsConn program = nullptr;
    bool saved = false;

    static Status join(SmsConn program, SmPointer, char* previous) {
        std::free(previous);
        char* id = SmsGenerateClientID(program);
        SmsRegisterClientReply(program, id);
        std::free(id);
        // The protocol requires this of a new client.
        SmsSaveYourself(program, SmSaveLocal, False, SmInteractStyleNone, False);
        return 1;
    }
    /// The library requires all callbacks; only two of them matter here.
    static Status accept(SmsConn program, SmPointer data, unsigned long* mask, SmsCallbacks* all, char**) {
        const auto freeTexts = [](SmsConn, SmPointer, int count, char** texts) {
            SmFreeReasons(count, texts);
        };
        static_cast<State*>(data)->program = program;
        *mask = ~0UL;
        all->register_client = {join, data};
        all->interact_request = {[](SmsConn, SmPointer, int) {}, data};
        all->interact_done = {[](SmsConn, SmPointer, Bool) {}, data};
        all->save_yourself_request = {[](SmsConn, SmPointer, int, Bool, int, Bool, Bool) {}, data};
        all->save_yourself_phase2_request = {[](SmsConn, SmPointer) {}, data};
        all->save_yourself_done = {
            [](SmsConn, SmPointer self, Bool success) { static_cast<State*>(self)->saved = success; }, data};
        all->close_connection = {freeTexts, data};
        all->set_properties = {[](SmsConn, SmPointer, int count, SmProp** properties) {
                                   for (SmProp* each : std::span(properties, std::size_t(count)))
                                       SmFreeProperty(each);
                                   std::free(properties);
                               },
                               data};
        all->delete_properties = {freeTexts, data};
        all->get_properties = {[](SmsConn, SmPointer) {}, data};
        return 1;
    }

    /// Serves the program until it has saved.
    bool serve() {
        const auto isReady = [](int descriptor) {
            pollfd watched{descriptor, POLLIN, 0};
            return poll(&watched, 1, 0) == 1;
        };
        return stage::eventually([&] {
            for (IceListenObj listener : std::span(listeners, std::size_t(listenerCount))) {
                IceAcceptStatus status{};
                if (!connection && isReady(IceGetListenConnectionNumber(listener)))
                    connection = IceAcceptConnection(listener, &status);
            }
            if (connection && isReady(IceConnectionNumber(connection)))
                IceProcessMessages(connection, nullptr, nullptr);
            return saved;
        });
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
    return state_->serve();
}

bool SessionManager::askToSave() {
    state_->saved = false;
    SmsSaveYourself(state_->program, SmSaveBoth, True, SmInteractStyleNone, False);
    return state_->serve();
}

}  // namespace lumicrate::test
