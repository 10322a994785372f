// SPDX-License-Identifier: GPL-3.0-or-later
// MpvLibrary: the functions of libmpv, loaded when the first player is made.
#pragma once

#include <mpv/client.h>
#include <mpv/render.h>

namespace lumicrate::player {

/// Linking libmpv would make every start of the program load about fifty other libraries.
struct MpvLibrary {
    /// Loads the library once. Throws PlatformError with a sentence for the user when it is not installed.
    /// Any thread.
    static const MpvLibrary& shared();

    decltype(&mpv_create) create;
    decltype(&mpv_initialize) initialize;
    decltype(&mpv_terminate_destroy) terminateDestroy;
    decltype(&mpv_error_string) errorString;
    decltype(&mpv_set_option_string) setOptionString;
    decltype(&mpv_command_async) commandAsync;
    decltype(&mpv_set_property_async) setPropertyAsync;
    decltype(&mpv_observe_property) observeProperty;
    decltype(&mpv_set_wakeup_callback) setWakeupCallback;
    decltype(&mpv_wait_event) waitEvent;
    decltype(&mpv_render_context_create) renderContextCreate;
    decltype(&mpv_render_context_set_update_callback) renderContextSetUpdateCallback;
    decltype(&mpv_render_context_update) renderContextUpdate;
    decltype(&mpv_render_context_render) renderContextRender;
    decltype(&mpv_render_context_free) renderContextFree;
};

}  // namespace lumicrate::player
