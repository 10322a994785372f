// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Player/MpvLibrary.h"

#include "Support/Error.h"
#include "Support/Log.h"

#include <dlfcn.h>

namespace lumicrate::player {

namespace {

// Of the API of 0.35 and later.
constexpr const char* fileName = "libmpv.so.2";

template <class Function>
void find(void* library, Function& function, const char* name) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (!function) throw PlatformError(localized("The installed player library (libmpv) is too old."));
}

MpvLibrary load() {
    // Never closed: the libraries that it pulls in do not all survive that.
    void* library = dlopen(fileName, RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        log(LogArea::movie, "player: ", dlerror());
        throw PlatformError(localized("Playing needs libmpv, which isn't installed."));
    }
    MpvLibrary mpv{};
    find(library, mpv.create, "mpv_create");
    find(library, mpv.initialize, "mpv_initialize");
    find(library, mpv.terminateDestroy, "mpv_terminate_destroy");
    find(library, mpv.errorString, "mpv_error_string");
    find(library, mpv.setOptionString, "mpv_set_option_string");
    find(library, mpv.commandAsync, "mpv_command_async");
    find(library, mpv.setPropertyAsync, "mpv_set_property_async");
    find(library, mpv.observeProperty, "mpv_observe_property");
    find(library, mpv.setWakeupCallback, "mpv_set_wakeup_callback");
    find(library, mpv.waitEvent, "mpv_wait_event");
    find(library, mpv.renderContextCreate, "mpv_render_context_create");
    find(library, mpv.renderContextSetUpdateCallback, "mpv_render_context_set_update_callback");
    find(library, mpv.renderContextUpdate, "mpv_render_context_update");
    find(library, mpv.renderContextRender, "mpv_render_context_render");
    find(library, mpv.renderContextFree, "mpv_render_context_free");
    return mpv;
}

}  // namespace

const MpvLibrary& MpvLibrary::shared() {
    static const MpvLibrary library = load();
    return library;
}

}  // namespace lumicrate::player
