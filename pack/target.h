// SPDX-License-Identifier: GPL-3.0-or-later
// Where a pack goes: the file that is made or replaced, and the refusal of what must never be written over.
#pragma once

#include <filesystem>
#include <span>

#include "pack/clip_records.h"

namespace Pack {

/// The file that a pack saved as `zip` makes or replaces: `zip` itself, or the file that it leads to as a
/// link, also where that is yet to be made. Only a zip (by its first bytes) or an empty file may be replaced:
/// throws PackError::failed for folders, devices, pipes and all other files, and for the clips.
[[nodiscard]] std::filesystem::path target(const std::filesystem::path& zip,
                                           std::span<const PackClip> clips = {});

} // namespace Pack
