// SPDX-License-Identifier: GPL-3.0-or-later
// Compressed movie headers (QuickTime File Format, compressed movie resources).
#pragma once

#include <cstddef>
#include <vector>

#include "media/quicktime/box.h"

namespace media::quicktime {

/// The whole `moov` box, its own header included, that a `cmov` box holds. Throws Error: unsupported for
/// another compression than zlib's, corrupt when it does not inflate to what it states.
[[nodiscard]] std::vector<std::byte> inflateMovie(Window& window, const Box& cmov);

} // namespace media::quicktime
