// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/timecode/timecode.h"

#include <cstdio>

#include "media/timecode/counting.h"

namespace media {

std::string Timecode::label() const {
    std::int64_t f = frame % (base * 86'400);
    if (const std::int64_t d = droppedNumbers(base, dropFrame); d != 0) {
        const std::int64_t framesPerTenMinutes = base * 600 - 9 * d;
        const std::int64_t tens = f / framesPerTenMinutes;
        const std::int64_t rest = f % framesPerTenMinutes;
        const std::int64_t extra = rest > d ? d * ((rest - d) / (base * 60 - d)) : 0;
        f += 9 * d * tens + extra;
    }
    const auto field = [](std::int64_t value) { return static_cast<long long>(value); };
    char text[96];
    const int length = std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld%c%02lld",
                                     field(f / (base * 3600)), field(f / (base * 60) % 60),
                                     field(f / base % 60), dropFrame ? ';' : ':', field(f % base));
    return {text, static_cast<std::size_t>(length)};
}

Timecode Timecode::adding(std::int64_t frames) const {
    // A hostile clip's frame number may be close to the end of the range: the sum wraps around.
    const auto sum = static_cast<std::uint64_t>(frame) + static_cast<std::uint64_t>(frames);
    return {static_cast<std::int64_t>(sum), base, dropFrame};
}

} // namespace media
