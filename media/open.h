// SPDX-License-Identifier: GPL-3.0-or-later
// The way into a clip, whatever its container: the one place that knows them all.
#pragma once

#include <filesystem>
#include <memory>

#include "media/track/asset.h"

namespace media {

/// Opens a file by its first bytes, whatever its name says. Throws Error: unsupported when no container knows
/// it, corrupt also when its timeline can't be true (media/track/bounds.h).
[[nodiscard]] std::unique_ptr<Container> openContainer(std::shared_ptr<const io::ByteSource> source);

/// Opens a clip read-only, its header alone. Throws Error when it can't be read or nothing here knows its
/// format.
[[nodiscard]] Asset openAsset(const std::filesystem::path& path);
/// The same over any source of bytes.
[[nodiscard]] Asset openAsset(std::shared_ptr<const io::ByteSource> source);

} // namespace media
