// SPDX-License-Identifier: GPL-3.0-or-later
// Reads a clip's start timecode from its first timecode track.
#pragma once

#include <optional>

#include "media/asset.h"
#include "media/sample_buffer.h"
#include "pack/timecode.h"

namespace Pack {

/// The value at time zero of the first timecode track: its first readable sample. Throws
/// PackError::noTimecode when there is none, media::Error when reading fails.
[[nodiscard]] Timecode timecode(const media::Asset& asset);

/// Decodes one timecode sample (QuickTime File Format, timecode media): a big-endian frame number of 8 bytes
/// for 'tc64', else of 4, unsigned. No value when the data is shorter.
[[nodiscard]] std::optional<Timecode> timecode(const media::SampleBuffer& sample,
                                               const media::FormatDescription& format);

} // namespace Pack
