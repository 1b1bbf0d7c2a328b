// SPDX-License-Identifier: GPL-3.0-or-later
// The sequential heart of Apple Lossless: one channel of one packet through the adaptive predictor and the
// adaptive Golomb coder. Channels do not know of each other, so that a vector unit can code eight at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace media::audio::alac {

/// Frames of every packet but the last.
inline constexpr std::uint32_t packetFrames = 4096;

// Constants of the adaptive Golomb code, as the magic cookie states them.
inline constexpr std::uint8_t historyMultiplier = 40;
inline constexpr std::uint8_t initialHistory = 10;
inline constexpr std::uint8_t riceLimit = 14;

inline constexpr int predictorOrder = 4;
inline constexpr int predictorShift = 9; ///< coefficients are in units of 1/512

/// What the predictor of a packet starts from, the coefficient of the newest sample first.
using Coefficients = std::array<std::int16_t, predictorOrder>;

/// Bound of a starting coefficient's magnitude. Each moves by at most one a sample, so that within a packet
/// the sum of their magnitudes stays below 4 * (3500 + 4096) < 2^15: neither 16-bit coefficients nor 32-bit
/// sums of products overflow in any decoder.
inline constexpr int coefficientLimit = 3500;

struct ChannelJob {
    std::span<const std::int16_t> samples; ///< 1 to packetFrames
    int residualBits = 16;                 ///< 16, or 17 for a channel of a pair
    Coefficients coefficients{};
    std::uint8_t* code = nullptr; ///< room for codeCapacity bytes

    std::size_t codedBits = 0; ///< out
    /// Out: false when decoders would read the code differently; the samples must then go uncompressed.
    bool usable = true;
};

/// A sample takes at most 9 + 17 bits.
inline constexpr std::size_t codeCapacity = packetFrames * 26 / 8 + 64;

/// Codes every job. The bytes are the same on every path and whichever jobs come together.
void codeChannels(std::span<ChannelJob> jobs);

/// The path for any processor.
void codeChannelsPortable(std::span<ChannelJob> jobs);

} // namespace media::audio::alac
