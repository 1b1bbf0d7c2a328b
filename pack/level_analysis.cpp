// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/level_analysis.h"

#include "pack/level_scan.h"

namespace Pack {

double peak(std::span<const std::byte> pcm, int bits) noexcept {
    static const level::Scans& scans =
        level::avx2Scans() != nullptr ? *level::avx2Scans() : level::portableScans();
    switch (bits) {
    case 16:
        return scans.bits16(pcm) / 32768.0;
    case 24:
        return scans.bits24(pcm) / 8388608.0;
    default:
        return scans.bits32(pcm) / 2147483648.0;
    }
}

} // namespace Pack
