// SPDX-License-Identifier: GPL-3.0-or-later
// The program: with `--pack` among its arguments it makes one pack and ends, else it opens the window.
#include <algorithm>
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "app/command_line.h"
#include "app/help.h"
#include "app/window_mode.h"
#include "platform/process.h"

namespace {

int run(int argc, char** argv) {
    const std::vector<std::string> arguments(argv, argv + argc);
    const auto has = [&](const char* word) { return std::ranges::find(arguments, word) != arguments.end(); };
    if (has("--pack")) {
        return CLI::pack(arguments);
    }
    if (has("--help") || has("-h")) {
        (void)std::puts(CLI::helpText);
        return CLI::packed;
    }
    if (has("--version")) {
        (void)std::puts(CLI::versionText);
        return CLI::packed;
    }
    return openWindow(argc, argv);
}

} // namespace

int main(int argc, char** argv) {
    platform::prepareProcess();
    try {
        return run(argc, argv);
    } catch (const std::bad_alloc&) { // nor is there any for a sentence
        (void)std::puts("Failed: There isn't enough memory.");
        return CLI::notPacked;
    }
}
