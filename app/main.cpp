// SPDX-License-Identifier: GPL-3.0-or-later
// The program: with `--pack` among its arguments it makes one pack and ends, else it opens the window.
#include <algorithm>
#include <cstdio>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "app/command_line.h"
#include "app/console.h"
#include "app/help.h"
#include "app/inspect.h"
#include "app/window_mode.h"
#include "platform/process.h"

namespace {

/// Prints a text that is all that was asked for.
int say(CLI::Console& console, std::string_view text) {
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        console.print(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return console.outputIsWhole() ? CLI::packed : CLI::notPacked;
}

int run(int argc, char** argv) {
    const std::vector<std::string> arguments(argv, argv + argc);
    const auto has = [&](const char* word) { return std::ranges::find(arguments, word) != arguments.end(); };
    CLI::Console console;
    if (has("--pack"))
        return CLI::pack(arguments, console);
    if (has("--inspect"))
        return CLI::inspect(arguments, console);
    if (has("--help") || has("-h"))
        return say(console, CLI::helpText);
    if (has("--version"))
        return say(console, CLI::versionText);
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
