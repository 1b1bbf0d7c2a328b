// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/window_mode.h"

#include <cstdio>
#include <cstdlib>

#include "app/command_line.h"

namespace {

int refuse(const char* reason) {
    (void)std::fprintf(
        stderr, "%s To make a pack without a window: ferrowick --pack OUT.zip PATH… (see --help).\n", reason);
    return CLI::usage;
}

} // namespace

int openWindow(int, char**) {
    return refuse("This build of Ferrowick has no window.");
}
