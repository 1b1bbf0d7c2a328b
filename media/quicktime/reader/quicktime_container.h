// SPDX-License-Identifier: GPL-3.0-or-later
// The QuickTime and ISO base media reader's way in.
#pragma once

#include <memory>

#include "media/track/container.h"

namespace media::quicktime {

/// Does the file begin like a QuickTime movie or an ISO base media file? Movies older than the file type box
/// begin with any box.
[[nodiscard]] bool recognises(const io::ByteSource& source);

/// Opens a movie: reads its box headers and its `moov`, never its media. Throws Error.
[[nodiscard]] std::unique_ptr<Container> open(std::shared_ptr<const io::ByteSource> source);

} // namespace media::quicktime
