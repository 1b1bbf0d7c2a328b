// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/alac/pcm_split.h"

#include "media/audio/alac/avx2.h"

namespace media::audio::alac {
namespace {

template <std::size_t Bytes>
void split(std::span<const std::byte> pcm, std::int16_t* high, std::uint8_t* low) {
    const auto* in = reinterpret_cast<const std::uint8_t*>(pcm.data());
    for (std::size_t i = 0; i < pcm.size() / Bytes; ++i, in += Bytes) {
        high[i] = static_cast<std::int16_t>(in[Bytes - 2] | in[Bytes - 1] << 8);
        for (std::size_t b = Bytes - 2; b-- > 0;)
            *low++ = in[b];
    }
}

} // namespace

void splitSamplesPortable(std::span<const std::byte> pcm, int bits, std::int16_t* high, std::uint8_t* low) {
    switch (bits) {
    case 16:
        return split<2>(pcm, high, low);
    case 24:
        return split<3>(pcm, high, low);
    default:
        return split<4>(pcm, high, low);
    }
}

void splitSamples(std::span<const std::byte> pcm, int bits, std::int16_t* high, std::uint8_t* low) {
    if (bits == 24 && avx2Available()) {
        const std::size_t done = split24AVX2(pcm, high, low);
        pcm = pcm.subspan(done * 3);
        high += done;
        low += done;
    }
    splitSamplesPortable(pcm, bits, high, low);
}

} // namespace media::audio::alac
