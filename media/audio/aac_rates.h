// SPDX-License-Identifier: GPL-3.0-or-later
// The sample rates of AAC.
#pragma once

#include <array>

namespace media::audio {

/// By samplingFrequencyIndex (ISO/IEC 14496-3, 1.6.3.4), in frames a second.
inline constexpr std::array<double, 13> aacRates{96'000, 88'200, 64'000, 48'000, 44'100, 32'000, 24'000,
                                                 22'050, 16'000, 12'000, 11'025, 8'000,  7'350};

} // namespace media::audio
