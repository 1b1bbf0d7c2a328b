// SPDX-License-Identifier: GPL-3.0-or-later
// A clip's tracks as the media layer describes them: times made definite, formats, edits.
#pragma once

#include "media/mxf/measure.h"
#include "media/track/container.h"

namespace media::mxf {

/// Gives every segment a definite length that the file can keep: what the metadata says where the recording
/// was finished, else what is there. Tracks of which nothing is there lose their segments. Throws Error.
void settleLengths(Clip& clip, const FileLayout& layout, const std::shared_ptr<const io::ByteSource>& source);

/// The end of a track on the clip's timeline, in its edit rate.
[[nodiscard]] Time endOf(const ClipTrack& track);

/// The media layer's description of a picture or sound track, without its index.
[[nodiscard]] Track describe(const ClipTrack& track);

} // namespace media::mxf
