// SPDX-License-Identifier: GPL-3.0-or-later
// Writes one clip's copy: its timecode track and its scratch sound in a new QuickTime movie, checked
// afterwards.
#pragma once

#include <functional>

#include "media/track/asset.h"
#include "pack/clip_records.h"

namespace Pack {

/// Bits per second and channel of compressed scratch sound.
inline constexpr int compressedBitRate = 64'000;

/// Reverse-DNS prefix of the keys of a copy's metadata items.
inline constexpr std::string_view metadataKeyPrefix = "org.ferrowick.clips.metadata.";

/// Called from a lane's thread with the fraction of the clip copied so far, 0 to 1.
using CopyProgress = std::function<void(double fraction)>;
/// Asked from every lane's thread before each sample buffer.
using IsCancelled = std::function<bool()>;

/// Writes the copy of `clip` to `to`, replacing what stands there, all tracks at once. Throws PackError or
/// media::Error; after a cancellation the partial copy is gone, after other failures the caller removes it.
PackResult write(const PackClip& clip, const std::filesystem::path& to, ScratchAudio audio,
                 const CopyProgress& progress, const IsCancelled& isCancelled);
/// The same for an asset already open.
PackResult write(const media::Asset& asset, const PackClip& clip, const std::filesystem::path& to,
                 ScratchAudio audio, const CopyProgress& progress, const IsCancelled& isCancelled);

} // namespace Pack
