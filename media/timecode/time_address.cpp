// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/timecode/time_address.h"

#include <array>

#include "media/timecode/counting.h"

namespace media {

std::optional<std::int64_t> frameNumber(const TimeAddress& address, std::uint32_t base) {
    if (base == 0 || address.hours > 23 || address.minutes > 59 || address.seconds > 59 ||
        address.frames >= base)
        return std::nullopt;
    const std::int64_t minutes = std::int64_t{address.hours} * 60 + address.minutes;
    const std::int64_t frame = (minutes * 60 + address.seconds) * base + address.frames;
    const std::int64_t dropped = droppedNumbers(base, address.dropFrame);
    if (address.minutes % 10 != 0 && address.seconds == 0 && address.frames < dropped)
        return std::nullopt;
    return frame - dropped * (minutes - minutes / 10);
}

std::optional<TimeAddress> readTimeAddress(std::span<const std::byte, 4> bytes, std::uint32_t base) {
    constexpr std::array<std::uint32_t, 4> digitBits{0x3f, 0x7f, 0x7f, 0x3f};
    constexpr std::uint32_t dropFrameFlag = 0x40;
    constexpr std::uint32_t fieldMark = 0x80;
    constexpr std::uint32_t largestSingleBase = 30;
    std::array<std::uint32_t, 4> stored{};
    std::array<std::uint32_t, 4> fields{};
    for (std::size_t i = 0; i < fields.size(); ++i) {
        stored[i] = std::to_integer<std::uint32_t>(bytes[i]);
        const std::uint32_t digits = stored[i] & digitBits[i];
        if ((digits & 15) > 9)
            return std::nullopt;
        fields[i] = (digits >> 4) * 10 + (digits & 15);
    }
    TimeAddress address{fields[3], fields[2], fields[1], fields[0], (stored[0] & dropFrameFlag) != 0};
    if (base > largestSingleBase) {
        const bool isSecond = (stored[base % 30 == 0 ? 1 : 3] & fieldMark) != 0;
        address.frames = 2 * address.frames + (isSecond ? 1 : 0);
    }
    return address;
}

} // namespace media
