// SPDX-License-Identifier: GPL-3.0-or-later
// What the samples of a track are: the container-neutral description that pack/ and the codecs read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "media/audio/stream_description.h"
#include "media/timecode/timecode.h"

namespace media {

enum class MediaType { video, audio, timecode, other };

/// Coded picture size in pixels, as displayed where the container says so.
struct VideoDimensions {
    std::int32_t width = 0;
    std::int32_t height = 0;
};

struct FormatDescription {
    MediaType mediaType = MediaType::other;
    FourCC mediaSubType =
        0; ///< the sample entry's code ('tmcd', 'tc64', 'sowt', 'mp4a', …); 0 for made tracks
    std::optional<AudioStreamDescription> audio;
    std::optional<VideoDimensions> video;
    std::optional<TimecodeDescription> timecode;
    /// Timecode, and float sound of QuickTime movies: the QuickTime sample description, whole with its size
    /// word, as it goes into a copy. Empty where a clip keeps them in another form.
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
