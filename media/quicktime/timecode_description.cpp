// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/timecode_description.h"

#include <cmath>

#include "media/base/byte_reader.h"
#include "media/base/byte_writer.h"

namespace media::quicktime {

namespace {

/// Cameras write NTSC rates with the rate rounded down (29 beside 90000/3003) and count up to 30 all the
/// same; any other number of frames is the base that the camera counts in.
std::uint32_t countedBase(std::uint32_t written, std::uint32_t timescale, std::uint32_t frameDuration) {
    if (timescale == 0 || frameDuration == 0)
        return written;
    constexpr double tolerance = 0.0005;
    const double rate = static_cast<double>(timescale) / frameDuration;
    const double ntscRate = (written + 1) * (1000.0 / 1001.0);
    return std::abs(rate / ntscRate - 1) < tolerance ? written + 1 : written;
}

} // namespace

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
    timecode.flags = reader.u32();
    timecode.timescale = reader.u32();
    timecode.frameDuration = reader.u32();
    timecode.frameQuanta = countedBase(reader.u8(), timecode.timescale, timecode.frameDuration);
    format.timecode = timecode;
    return format;
}

FormatDescription makeTimecodeDescription(const TimecodeRun& run, bool wide) {
    constexpr std::uint32_t dropFrameFlag = 1;
    constexpr std::uint32_t wrapsAt24HoursFlag = 2;
    FormatDescription format;
    format.mediaType = MediaType::timecode;
    format.mediaSubType = wide ? fourCC("tc64") : fourCC("tmcd");
    TimecodeDescription timecode;
    timecode.frameQuanta = run.base;
    timecode.flags = wrapsAt24HoursFlag | (run.dropFrame ? dropFrameFlag : 0);
    timecode.timescale = io::checked<std::uint32_t>(run.rate.num);
    timecode.frameDuration = io::checked<std::uint32_t>(run.rate.den);
    io::ByteWriter entry;
    entry.box(format.mediaSubType, [&] {
        entry.zeros(6);
        entry.u16(1); // data reference
        entry.u32(0);
        entry.u32(timecode.flags);
        entry.u32(timecode.timescale);
        entry.u32(timecode.frameDuration);
        entry.u8(static_cast<std::uint8_t>(timecode.frameQuanta));
        entry.u8(0);
    });
    format.sampleEntry = entry.take();
    format.timecode = timecode;
    return format;
}

} // namespace media::quicktime
