// SPDX-License-Identifier: GPL-3.0-or-later
// The MXF reader's door: all that the factory of containers knows of this folder.
#pragma once

#include <memory>

#include "media/track/container.h"

namespace media::mxf {

/// Whether the file starts with an MXF header partition, behind up to 64 KiB of anything.
[[nodiscard]] bool recognises(const io::ByteSource& source);

/// Opens an MXF file (SMPTE ST 377-1). Reads its two ends, and where its recording was cut off the keys in
/// between. Throws Error.
[[nodiscard]] std::unique_ptr<Container> open(std::shared_ptr<const io::ByteSource> source);

} // namespace media::mxf
