// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/launch_arguments.h"

namespace ui {

LaunchArguments launchArguments(std::span<const std::string> arguments,
                                const std::filesystem::path& workingFolder) {
    LaunchArguments found;
    bool pathsOnly = false;
    bool hasExport = false;
    for (std::size_t place = 1; place < arguments.size(); ++place) {
        const std::string& word = arguments[place];
        if (word == "--export" && !hasExport) {
            hasExport = true;
            if (++place < arguments.size())
                found.zip = workingFolder / arguments[place];
        } else if (!pathsOnly && (word == "--add" || word == "--")) {
            pathsOnly = true;
        } else if (!pathsOnly && word.starts_with('-')) {
            if (!found.unknown)
                found.unknown = word;
        } else if (!word.empty()) {
            found.add.push_back(workingFolder / word);
        }
    }
    return found;
}

} // namespace ui
