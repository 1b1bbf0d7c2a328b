// SPDX-License-Identifier: GPL-3.0-or-later
// Holds a finished copy against its clip.
#pragma once

#include <functional>
#include <vector>

#include "media/track/asset.h"

namespace Pack {

/// The copy must be as long as the clip, and each of its sound tracks as long as the edits of the track that
/// it was made from (`sources`, in the copy's order), within 0.0005 s: a copy's timecode is stretched to the
/// clip's end and would hide sound that came out short. Throws PackError::lengthChanged.
void checkLengths(const media::Asset& copy, const media::Asset& clip,
                  const std::vector<std::reference_wrapper<const media::Track>>& sources);

} // namespace Pack
