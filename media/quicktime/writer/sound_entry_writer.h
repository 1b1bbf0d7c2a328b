// SPDX-License-Identifier: GPL-3.0-or-later
// Sound sample descriptions of a movie being written (QuickTime File Format, sound sample descriptions).
#pragma once

#include <vector>

#include "media/audio/codec.h"

namespace media::quicktime {

/// The description of an encoded track, whole with its size word. Throws Error for codecs that it does not
/// know.
[[nodiscard]] std::vector<std::byte> soundEntry(const audio::EncodedFormat& format);

/// The description of linear PCM as it lies in the file: integer or floating point, either byte order. Throws
/// Error when the channels don't lie interleaved.
[[nodiscard]] std::vector<std::byte> pcmEntry(const AudioStreamDescription& format);

} // namespace media::quicktime
