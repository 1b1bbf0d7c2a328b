// SPDX-License-Identifier: GPL-3.0-or-later
// The places of the copies in a pack, chosen so that no copy ever takes another's place.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "pack/clip_records.h"

namespace Pack {

/// One pack path for each clip, in the clips' order: the clip's own, unless its copy would meet another copy,
/// a folder or the report there. Then it is the next free name ("A001C003 2"), of the clip itself or of its
/// top folder where that is what is in the way. Names that differ only in case or in how accents are composed
/// count as one, because the pack is unpacked on volumes that take them for one. Names too long for a file
/// system are shortened, and control characters that a zip can't hold replaced.
[[nodiscard]] std::vector<std::string> copyNames(std::span<const PackClip> clips);

} // namespace Pack
