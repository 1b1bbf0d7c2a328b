// SPDX-License-Identifier: GPL-3.0-or-later
// Sound through an encoder and back, without any container.
#pragma once

#include <vector>

#include "media/audio/codec.h"
#include "media/track/format_description.h"

namespace test {

/// What an encoder made.
struct EncodedTrack {
    media::audio::EncodedFormat format;
    std::vector<std::vector<std::byte>> packets;
    std::vector<std::uint32_t> frames; ///< by packet
};

/// Encodes interleaved PCM, handed over in pieces of changing lengths.
[[nodiscard]] EncodedTrack encode(const media::audio::EncoderSettings& settings,
                                  const std::vector<std::byte>& pcm);

/// The format that a reader of the track would state.
[[nodiscard]] media::FormatDescription formatOf(const EncodedTrack& track);

/// Everything that a decoder makes of packets, its end included.
[[nodiscard]] std::vector<std::byte> decode(media::audio::Decoder& decoder,
                                            const std::vector<std::vector<std::byte>>& packets);

/// The track's interleaved 16-bit samples from the first frame that went in on.
[[nodiscard]] std::vector<std::int16_t> decoded(const EncodedTrack& track);

} // namespace test
