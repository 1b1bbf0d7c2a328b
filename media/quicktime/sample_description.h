// SPDX-License-Identifier: GPL-3.0-or-later
// The sample descriptions of a track (`stsd`) as format descriptions.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "media/format_description.h"
#include "media/quicktime/movie_header.h"

namespace media::quicktime {

/// Sound whose sample table counts single frames, or calls frames samples, while what lies in the file is
/// packets of a fixed size: linear PCM, A-law, IMA. All zero: the sample table tells.
struct PacketLayout {
    std::uint32_t bytes = 0;  ///< of one packet
    std::uint32_t frames = 0; ///< sound frames in it

    [[nodiscard]] bool fixed() const noexcept { return bytes != 0; }
};

/// A track's sample descriptions, and how their samples lie in the file.
struct SampleDescriptions {
    MediaType mediaType = MediaType::other;
    std::vector<FormatDescription> formats;
    std::vector<PacketLayout> layouts; ///< one a format
};

/// Reads `stsd` as the track's handler says, or as its entries say where that is missing.
[[nodiscard]] SampleDescriptions readSampleDescriptions(const TrackHeader& track);

/// One entry of `stsd`, its first 16 bytes understood.
struct SampleEntry {
    FourCC type = 0;
    std::uint16_t dataReference = 0;
    std::uint8_t tableVersion = 0;    ///< of the `stsd` around it
    std::span<const std::byte> bytes; ///< whole, with its size word
};

/// A child box inside a sample entry, all of it in memory.
struct ChildBox {
    FourCC type = 0;
    std::span<const std::byte> bytes; ///< payload
};

/// The boxes that fill `bytes`, up to a terminator or to what is no box.
[[nodiscard]] std::vector<ChildBox> childBoxes(std::span<const std::byte> bytes);

} // namespace media::quicktime
