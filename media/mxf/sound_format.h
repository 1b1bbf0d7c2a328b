// SPDX-License-Identifier: GPL-3.0-or-later
// How the sound of one track is stored and handed out (SMPTE ST 382 waves and AES3, ST 388 A-law, ST 386
// D-10).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "media/mxf/clip.h"
#include "media/track/format_description.h"

namespace media::mxf {

struct SoundFormat {
    Rational rate{48000, 1}; ///< frames (one sample of every channel) a second
    std::uint32_t channels = 1;
    std::uint32_t bits = 16;       ///< valid bits of a sample
    std::uint32_t sampleBytes = 2; ///< as handed out
    SoundCoding coding = SoundCoding::pcm;
    /// Why it can't be handed out, as a sentence; else empty.
    std::string unreadable;

    /// Bytes of one frame as handed out, and as stored except in a D-10 element.
    [[nodiscard]] std::uint32_t frameBytes() const noexcept { return channels * sampleBytes; }
    /// Ticks of the track's time scale that a frame lasts; the time scale is `rate.num`.
    [[nodiscard]] std::int64_t ticksPerFrame() const noexcept { return rate.den; }
};

/// The format that a track's descriptor states, absurd values replaced by usual ones.
[[nodiscard]] SoundFormat soundFormat(const ClipTrack& track);
[[nodiscard]] FormatDescription describe(const SoundFormat& format);

/// Frames that the element with this number has room for in `length` bytes.
[[nodiscard]] std::int64_t framesIn(const SoundFormat& format, std::uint32_t elementNumber,
                                    std::uint64_t length);

/// Appends the frames of an element's value as they are handed out: plain elements unchanged without any odd
/// bytes at the end, D-10 elements (a header of 4 bytes, then eight 32-bit AES3 words a frame) unpacked to
/// the first channels, those marked invalid silent. Returns the number of frames.
std::int64_t appendElement(const SoundFormat& format, std::uint32_t elementNumber,
                           std::span<const std::byte> value, std::vector<std::byte>& out);
/// Appends frames of silence.
void appendSilence(const SoundFormat& format, std::int64_t frames, std::vector<std::byte>& out);

} // namespace media::mxf
