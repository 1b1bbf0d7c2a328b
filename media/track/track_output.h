// SPDX-License-Identifier: GPL-3.0-or-later
// Pulls one track of an asset: timecode as stored, sound on the clip's timeline, decoded or passed through.
#pragma once

#include <memory>
#include <optional>

#include "media/track/asset.h"
#include "media/track/sample_buffer.h"

namespace media {

/// Delivers the samples of one track in order. Outputs of one asset run in parallel; one output belongs to
/// one thread.
class TrackOutput {
  public:
    /// Timecode tracks: the stored samples from the one that time zero shows to the last, unchanged.
    /// Sound, without `decodeBits`: linear PCM frames as stored (byte for byte), edits applied.
    /// Sound with `decodeBits` 16, 24 or 32: interleaved little-endian signed integers of that width, edits
    /// applied. The first frame of sound always belongs to the clip's time zero: priming and trims are left
    /// out, gaps are filled with silence. Throws Error when the format can't be decoded (the sentence names
    /// it).
    TrackOutput(const Asset& asset, const Track& track, std::optional<int> decodeBits = std::nullopt);
    ~TrackOutput();
    TrackOutput(TrackOutput&&) noexcept;
    TrackOutput& operator=(TrackOutput&&) noexcept;

    /// The next samples, at most about a quarter of a second or 256 KiB of sound; false at the end. Throws
    /// Error.
    [[nodiscard]] bool copyNextSampleBuffer(SampleBuffer& buffer);

    /// Sound: frames per second and channels of what is delivered (a decoder may know better than the
    /// header).
    [[nodiscard]] double sampleRate() const;
    [[nodiscard]] std::uint32_t channels() const;

    /// What each kind of output implements.
    class Source {
      public:
        virtual ~Source() = default;
        virtual bool next(SampleBuffer& buffer) = 0;
        virtual double sampleRate() const { return 0; }
        virtual std::uint32_t channels() const { return 0; }
    };

  private:
    std::shared_ptr<const Container> container_; // the track lives in it
    std::unique_ptr<Source> source_;
};

} // namespace media
