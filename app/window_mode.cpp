// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/window_mode.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "app/command_line.h"
#include "platform/module.h"
#include "ui/module/window_entry.h"

namespace {

int refuse(const char* reason) {
    (void)std::fprintf(
        stderr, "%s To make a pack without a window: ferrowick --pack OUT.zip PATH… (see --help).\n", reason);
    return CLI::usage;
}

/// Whether there is something to show a window on: a display, or the toolkit's own choice of one.
bool hasDisplay() {
    constexpr std::array variables{"WAYLAND_DISPLAY", "DISPLAY", "QT_QPA_PLATFORM"};
    return std::ranges::any_of(variables, [](const char* name) {
        const char* value = std::getenv(name);
        return value != nullptr && *value != '\0';
    });
}

} // namespace

int openWindow(int argc, char** argv) {
    if (!FERROWICK_HAS_WINDOW)
        return refuse("This build of Ferrowick has no window.");
    if (!hasDisplay())
        return refuse("There is no display to open Ferrowick's window on.");
    WindowEntry* entry = nullptr;
    try {
        entry = platform::Module::load(windowModule).function<WindowEntry>(windowModuleEntry);
    } catch (const std::runtime_error& error) {
        return refuse(error.what());
    }
    return entry(argc, argv, refuse);
}
