// SPDX-License-Identifier: GPL-3.0-or-later
// What the window is told to do when it opens: `[--add] PATH…` and `--export OUT.zip`.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ui {

struct LaunchArguments {
    /// Plain words, and everything after the first `--add` whatever it looks like.
    std::vector<std::filesystem::path> add;
    /// What follows the first `--export`.
    std::optional<std::filesystem::path> zip;
    /// The first word that looks like an option and is none.
    std::optional<std::string> unknown;
};

/// Reads the program's arguments (its own name among them, the toolkit's taken out); relative paths are
/// relative to the working folder.
[[nodiscard]] LaunchArguments launchArguments(std::span<const std::string> arguments,
                                              const std::filesystem::path& workingFolder);

} // namespace ui
