// SPDX-License-Identifier: GPL-3.0-or-later
// A sound track's media as one run of PCM frames, before edits: linear PCM converted, packets decoded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "media/track/container.h"

namespace media {

/// Frames of a track's media in order. Frame 0 is the first one stored, priming included.
class SoundStream {
  public:
    virtual ~SoundStream() = default;
    /// Gives the frames from `frame` on, or as many as come in one piece: at least one unless the media ends
    /// there. Replaces `pcm` by at most `limit` frames and returns their number; 0 at the end of the media.
    /// Frames that are missing in the middle come as silence. Asking for the frame after the last delivered
    /// one costs no seek.
    virtual std::int64_t read(std::int64_t frame, std::int64_t limit, std::vector<std::byte>& pcm) = 0;

    [[nodiscard]] virtual double sampleRate() const = 0;
    [[nodiscard]] virtual std::uint32_t channels() const = 0;
    /// Of one delivered frame.
    [[nodiscard]] virtual std::size_t bytesPerFrame() const = 0;
};

/// `decodeBits` 16, 24 or 32, or none for linear PCM as stored. Throws Error when the format can't be
/// decoded.
[[nodiscard]] std::unique_ptr<SoundStream>
makeSoundStream(const Track& track, std::unique_ptr<TrackReader> reader, std::optional<int> decodeBits);

} // namespace media
