// SPDX-License-Identifier: GPL-3.0-or-later
// How fast stored samples become little-endian ones, in bytes delivered.
#include <benchmark/benchmark.h>

#include "media/audio/pcm.h"

namespace {

using media::AudioStreamDescription;
namespace pcmFlag = media::pcmFlag;

void convert(benchmark::State& state, std::uint32_t storedBits, std::uint32_t flags, int bits) {
    const AudioStreamDescription format{48'000,
                                        media::audioFormat::linearPCM,
                                        flags | pcmFlag::signedInteger | pcmFlag::packed,
                                        1,
                                        storedBits,
                                        storedBits / 8};
    const std::vector<std::byte> stored(std::size_t{12'000} * format.bytesPerFrame);
    std::vector<std::byte> out;
    for (auto _ : state) {
        media::audio::convertPCM(stored, format, bits, out);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(out.size()));
}

BENCHMARK_CAPTURE(convert, bigEndian16, 16, pcmFlag::bigEndian, 16);
BENCHMARK_CAPTURE(convert, bigEndian24, 24, pcmFlag::bigEndian, 24);
BENCHMARK_CAPTURE(convert, bigEndian32, 32, pcmFlag::bigEndian, 32);
BENCHMARK_CAPTURE(convert, littleEndian24, 24, 0, 24);
BENCHMARK_CAPTURE(convert, littleEndian8to16, 8, 0, 16);
BENCHMARK_CAPTURE(convert, littleEndian64to32, 64, 0, 32);

} // namespace
