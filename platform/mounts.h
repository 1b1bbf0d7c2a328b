// SPDX-License-Identifier: GPL-3.0-or-later
// Which disks are plugged in.
#pragma once

#include <filesystem>
#include <vector>

namespace platform {

/// Where cards and other disks of the user are mounted, in the order in which they came. Asks no disk.
/// `table`: the system's list of mounts (fstab(5)).
[[nodiscard]] std::vector<std::filesystem::path>
mountedDisks(const std::filesystem::path& table = "/proc/self/mounts");

} // namespace platform
