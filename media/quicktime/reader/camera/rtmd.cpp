// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/camera/rtmd.h"

#include "media/base/byte_reader.h"

namespace media::quicktime::camera {

std::optional<Reading> readRtmdSample(std::span<const std::byte> sample, Rational pictureRate) {
    constexpr std::uint32_t head = 0x001C0100;
    constexpr std::uint32_t timecodeBlock = 0xF0010010;
    if (sample.size() < rtmdHeadBytes)
        return std::nullopt;
    io::ByteReader reader(sample);
    if (reader.u32() != head)
        return std::nullopt;
    reader.skip(4);
    if (reader.u32() != timecodeBlock)
        return std::nullopt;
    reader.skip(1);
    Reading reading;
    reading.address.hours = reader.u8(); // binary, not decimal digits
    reading.address.minutes = reader.u8();
    reading.address.seconds = reader.u8();
    reading.address.dropFrame = reader.u8() != 0;
    reading.address.frames = reader.u8();
    reading.base = fullBase(pictureRate);
    reading.isDropSure = false; // it has been seen unset on drop-frame clips
    return checked(reading, pictureRate);
}

} // namespace media::quicktime::camera
