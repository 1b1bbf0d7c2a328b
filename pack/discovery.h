// SPDX-License-Identifier: GPL-3.0-or-later
// From files and folders to clips: names, listings and sizes only, no clip is opened.
#pragma once

#include <set>
#include <span>

#include "pack/clip_records.h"

namespace Pack {

/// Whether a file of this name is a clip: by its extension alone.
[[nodiscard]] bool isClip(const std::filesystem::path& path);

/// The extensions of clips, with their dots and in small letters.
[[nodiscard]] std::span<const char* const> clipExtensions();

/// The clips among and below the given files and folders, in the file browser's order of their pack paths.
/// Top-level names in `taken` are not given out again. Never fails: what can't be used is left out.
[[nodiscard]] std::vector<PackClip> clips(std::span<const std::filesystem::path> paths,
                                          std::set<std::string> taken);

} // namespace Pack
