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

/// A copy to be written.
struct CopyJob {
    PackClip clip;
    std::filesystem::path to; ///< the copy's file; what stands there is replaced
    ScratchAudio audio = ScratchAudio::lossless;
    /// Gives the clip where it is being opened ahead, or throws as `openClip` does.
    std::function<media::Asset()> opened{};
};

/// What the writer of a copy tells and asks, from the lanes' threads. None of them is empty.
struct CopyHooks {
    /// The fraction of the clip copied so far, 0 to 1.
    std::function<void(double fraction)> progress = [](double) {};
    /// Asked before each sample buffer.
    std::function<bool()> isCancelled = [] { return false; };
};

/// Writes a copy, all tracks at once. Throws PackError or media::Error; after a cancellation the partial copy
/// is gone, after other failures the caller removes it.
PackResult write(const CopyJob& job, const CopyHooks& hooks = {});
/// The same for an asset already open.
PackResult write(const media::Asset& asset, const CopyJob& job, const CopyHooks& hooks = {});

} // namespace Pack
