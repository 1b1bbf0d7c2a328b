// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/timecode_description.h"

#include "media/base/byte_reader.h"
#include "media/timecode/counting.h"

namespace media::quicktime {

FormatDescription readTimecodeDescription(const SampleEntry& entry) {
    constexpr std::size_t fieldsOffset = 20;
    constexpr std::size_t fieldsEnd = 33;
    FormatDescription format;
    format.sampleEntry.assign(entry.bytes.begin(), entry.bytes.end());
    if ((entry.type != fourCC("tmcd") && entry.type != fourCC("tc64")) || entry.bytes.size() < fieldsEnd) {
        format.unreadable = "The timecode's description is damaged.";
        return format;
    }
    io::ByteReader reader(entry.bytes.subspan(fieldsOffset));
    TimecodeDescription timecode;
    constexpr std::uint32_t dropFrameFlag = 1;
    timecode.dropFrame = (reader.u32() & dropFrameFlag) != 0;
    const std::uint32_t timescale = reader.u32();
    const std::uint32_t frameDuration = reader.u32();
    if (timescale != 0 && frameDuration != 0)
        timecode.rate = {timescale, frameDuration};
    timecode.base = countedBase(reader.u8(), timecode.rate);
    timecode.isWide = entry.type == fourCC("tc64");
    format.timecode = timecode;
    return format;
}

std::optional<std::int64_t> readFrameNumber(std::span<const std::byte> sample, bool isWide) {
    if (sample.size() < (isWide ? 8U : 4U))
        return std::nullopt;
    io::ByteReader reader(sample);
    return isWide ? reader.i64() : std::int64_t{reader.u32()};
}

} // namespace media::quicktime
