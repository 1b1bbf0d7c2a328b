// SPDX-License-Identifier: GPL-3.0-or-later
// Reads what a clip's header says, and nothing but the header and one timecode sample.
#pragma once

#include "media/open.h"
#include "pack/clip_records.h"

namespace Pack {

/// Opens a clip; whatever goes wrong is PackError::cantOpen with the media layer's reason.
[[nodiscard]] media::Asset openClip(const std::filesystem::path& source);

/// Probes one clip. Throws PackError::cantOpen when it can't be opened, media::Error otherwise.
[[nodiscard]] ClipHeader header(const std::filesystem::path& source);
/// The same for an asset already open; `source` is asked for the file's date.
[[nodiscard]] ClipHeader header(const media::Asset& asset, const std::filesystem::path& source);

} // namespace Pack
