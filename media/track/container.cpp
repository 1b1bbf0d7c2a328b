// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/track/container.h"

#include <algorithm>

namespace media {

std::int64_t Track::firstShown() const {
    const auto shown = std::ranges::find_if(edits, [](const Edit& edit) { return edit.mediaTime >= 0; });
    return shown != edits.end() ? shown->mediaTime : 0;
}

Time Track::end() const {
    return edits.empty() ? Time{} : edits.back().start + edits.back().duration;
}

} // namespace media
