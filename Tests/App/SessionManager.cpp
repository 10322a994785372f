#include "Tests/App/SessionManager.h"

#include <X11/SM/SMlib.h>
#include <poll.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace lumicrate::test {

/// Behind the library's callbacks.
struct SessionManager::State {
    int listenerCount = 0;
    IceListenObj* listeners = nullptr;
    std::string address;
    IceConn connection = nullptr;
    SmsConn program = nullptr;
    bool joined = false;
    bool saved = false;

    static State& of(SmPointer data) { return *static_cast<State*>(data); }
    static Status accept(SmsConn program, SmPointer data, unsigned long* mask, SmsCallbacks* callbacks,
                         char**);
    static Status join(SmsConn program, SmPointer data, char* previous);
};

Status SessionManager::State::accept(SmsConn program, SmPointer data, unsigned long* mask,
                                     SmsCallbacks* callbacks, char**) {
    of(data).program = program;
    *mask = SmsRegisterClientProcMask | SmsInteractRequestProcMask | SmsInteractDoneProcMask |
            SmsSaveYourselfRequestProcMask | SmsSaveYourselfP2RequestProcMask | SmsSaveYourselfDoneProcMask |
            SmsCloseConnectionProcMask | SmsSetPropertiesProcMask | SmsDeletePropertiesProcMask |
            SmsGetPropertiesProcMask;
    callbacks->register_client = {join, data};
    callbacks->interact_request = {[](SmsConn, SmPointer, int) {}, data};
    callbacks->interact_done = {[](SmsConn, SmPointer, Bool) {}, data};
    callbacks->save_yourself_request = {[](SmsConn, SmPointer, int, Bool, int, Bool, Bool) {}, data};
    callbacks->save_yourself_phase2_request = {[](SmsConn, SmPointer) {}, data};
    callbacks->save_yourself_done = {[](SmsConn, SmPointer self, Bool well) { of(self).saved = well; }, data};
    callbacks->close_connection = {
        [](SmsConn, SmPointer, int count, char** reasons) { SmFreeReasons(count, reasons); }, data};
    callbacks->set_properties = {[](SmsConn, SmPointer, int count, SmProp** properties) {
                                     for (int i = 0; i < count; ++i)
                                         SmFreeProperty(properties[i]);
                                     std::free(properties);
                                 },
                                 data};
    callbacks->delete_properties = {
        [](SmsConn, SmPointer, int count, char** names) { SmFreeReasons(count, names); }, data};
    callbacks->get_properties = {[](SmsConn, SmPointer) {}, data};
    return 1;
}

Status SessionManager::State::join(SmsConn program, SmPointer data, char* previous) {
    std::free(previous);
    char* id = SmsGenerateClientID(program);
    SmsRegisterClientReply(program, id);
    std::free(id);
    // A new one is to tell at once what it would have to save.
    SmsSaveYourself(program, SmSaveLocal, False, SmInteractStyleNone, False);
    of(data).joined = true;
    return 1;
}

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
    // It has answered the first question, too.
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
        for (int i = 0; i < state_->listenerCount; ++i) {
            if ((watched[static_cast<std::size_t>(i)].revents & POLLIN) == 0) continue;
            IceAcceptStatus status{};
            state_->connection = IceAcceptConnection(state_->listeners[i], &status);
        }
        if (state_->connection) {
            pollfd waiting{IceConnectionNumber(state_->connection), POLLIN, 0};
            if (poll(&waiting, 1, 0) > 0 &&
                IceProcessMessages(state_->connection, nullptr, nullptr) == IceProcessMessagesIOError)
                return reached();
        }
    }
    return reached();
}

}  // namespace lumicrate::test
