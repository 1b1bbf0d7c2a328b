// SPDX-License-Identifier: GPL-3.0-or-later
// Runs other programs for the tests: by argument vector, never through a shell.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace test {

struct CommandOptions {
    std::filesystem::path workingFolder{};                          ///< empty: the caller's
    std::vector<std::pair<std::string, std::string>> environment{}; ///< added to the caller's
};

struct CommandResult {
    std::string out;
    std::string err;
    int exitCode = -1;                   ///< -1 when a signal ended the program
    std::uint64_t peakResidentBytes = 0; ///< largest resident set while it ran
};

/// Runs a program to its end (looked up on the search path when its name has no slash), its standard input
/// empty and its signals as at a shell's prompt. Throws std::system_error when it can't be started.
[[nodiscard]] CommandResult run(std::vector<std::string> arguments, const CommandOptions& options = {});

/// The standard output of a program that must succeed. Throws std::runtime_error with the command and what it
/// said on standard error when its exit code is not 0.
std::string runChecked(const std::vector<std::string>& arguments, const CommandOptions& options = {});

} // namespace test
