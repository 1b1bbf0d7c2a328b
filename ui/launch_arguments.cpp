// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/launch_arguments.h"

#include <algorithm>

LaunchArguments launchArguments(std::span<const std::string> arguments,
                                const std::filesystem::path& workingFolder) {
    LaunchArguments found;
    const auto after = [&](const char* word) {
        const auto place = std::ranges::find(arguments, word);
        return place == arguments.end() ? place : place + 1;
    };
    for (auto path = after("--add"); path != arguments.end(); ++path)
        found.add.push_back(workingFolder / *path);
    if (const auto zip = after("--export"); zip != arguments.end())
        found.zip = workingFolder / *zip;
    return found;
}
