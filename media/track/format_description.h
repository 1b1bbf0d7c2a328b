// SPDX-License-Identifier: GPL-3.0-or-later
// What the samples of a track are: the container-neutral description that pack/ and the codecs read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "media/audio/stream_description.h"

namespace media {

enum class MediaType { video, audio, timecode, other };

/// Coded picture size in pixels, as displayed where the container says so.
struct VideoDimensions {
    std::int32_t width = 0;
    std::int32_t height = 0;
};

/// Facts of a timecode sample description (QuickTime File Format, timecode media).
struct TimecodeDescription {
    std::uint32_t frameQuanta = 0; ///< base: whole frames a second, NTSC rates rounded up (24, 30, 60, 120)
    std::uint32_t flags = 0;       ///< bit 0 drop frame, 1 wraps at 24 hours, 2 negative allowed, 3 counter
    std::uint32_t timescale = 0;   ///< ticks a second of frameDuration
    std::uint32_t frameDuration = 0;
};

struct FormatDescription {
    MediaType mediaType = MediaType::other;
    FourCC mediaSubType = 0; ///< the sample entry's code ('tmcd', 'tc64', 'sowt', 'mp4a', …)
    std::optional<AudioStreamDescription> audio;
    std::optional<VideoDimensions> video;
    std::optional<TimecodeDescription> timecode;
    /// Timecode, and float sound of QuickTime movies: the QuickTime sample description, whole with its size
    /// word, as it goes into a copy.
    std::vector<std::byte> sampleEntry;
    /// Compressed sound: what its decoder needs, bare of container headers. AAC: AudioSpecificConfig; Apple
    /// Lossless: the magic cookie (24 bytes or more); Opus: the payload of `dOps`; FLAC: the metadata blocks
    /// of `dfLa`.
    std::vector<std::byte> decoderConfiguration;
    /// Why the samples can't be read at all (encrypted, kept in another file): a sentence for a person, else
    /// empty.
    std::string unreadable;
};

} // namespace media
