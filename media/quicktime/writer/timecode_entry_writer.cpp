// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/writer/timecode_entry_writer.h"

#include "media/base/byte_writer.h"
#include "media/base/checked.h"

namespace media::quicktime {

std::vector<std::byte> timecodeEntry(const TimecodeDescription& timecode) {
    constexpr std::uint32_t dropFrameFlag = 1;
    constexpr std::uint32_t wrapsAt24HoursFlag = 2;
    io::ByteWriter entry;
    entry.box(timecode.isWide ? fourCC("tc64") : fourCC("tmcd"), [&] {
        entry.zeros(6);
        entry.u16(1); // data reference
        entry.u32(0);
        entry.u32(wrapsAt24HoursFlag | (timecode.dropFrame ? dropFrameFlag : 0));
        entry.u32(io::checked<std::uint32_t>(timecode.rate.num));
        entry.u32(io::checked<std::uint32_t>(timecode.rate.den));
        entry.u8(io::checked<std::uint8_t>(timecode.base));
        entry.u8(0);
    });
    return entry.take();
}

std::vector<std::byte> timecodeSample(std::int64_t frameNumber, bool isWide) {
    io::ByteWriter sample;
    if (isWide)
        sample.i64(frameNumber);
    else
        sample.u32(static_cast<std::uint32_t>(frameNumber));
    return sample.take();
}

} // namespace media::quicktime
