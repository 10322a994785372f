// SPDX-License-Identifier: GPL-3.0-or-later
// Lumicrate's command line with a window of its own over the middle of the screen. Such windows are left out
// of recordings, so this measures the cost of composing the picture below it.

#include "App/CommandLine/CommandLine.h"
#include "Tests/Stage/Xcb.h"

#include <QCoreApplication>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

namespace {

/// A ninth of a full HD screen: more than any bar of the application covers.
constexpr std::uint16_t width = 640;
constexpr std::uint16_t height = 360;
constexpr std::uint32_t magenta = 0xff00ff;

void coverMiddle(const lumicrate::stage::XcbConnection& display) {
    const xcb_screen_t& screen = *display.screen();
    const xcb_window_t window = xcb_generate_id(display.get());
    const std::uint32_t values[] = {magenta, 1};
    xcb_create_window(display.get(), XCB_COPY_FROM_PARENT, window, screen.root,
                      static_cast<std::int16_t>((screen.width_in_pixels - width) / 2),
                      static_cast<std::int16_t>((screen.height_in_pixels - height) / 2), width, height, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, std::data(values));
    xcb_map_window(display.get(), window);
    xcb_flush(display.get());
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Lumicrate"));
    const lumicrate::stage::XcbConnection display("");
    coverMiddle(display);
    return lumicrate::app::runCommandLine(std::vector<std::string>(argv + 1, argv + argc));
}
