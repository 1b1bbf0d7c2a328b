// SPDX-License-Identifier: GPL-3.0-or-later
// How fast the level analysis reads samples that lie in cache, by sample width: the program's choice, and
// the portable scan beside it.
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "media/audio/level.h"
#include "media/audio/level_scan.h"

namespace {

/// A quarter of a second of two 48 kHz channels at 24 bits; fits a second-level cache.
std::vector<std::byte> samples() {
    std::vector<std::byte> pcm(72'000);
    std::minstd_rand random(1);
    for (std::byte& byte : pcm)
        byte = static_cast<std::byte>(random() >> 8);
    return pcm;
}

void peak(benchmark::State& state) {
    const std::vector<std::byte> pcm = samples();
    const int bits = static_cast<int>(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(media::audio::peak(pcm, bits));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(pcm.size()));
}

void portablePeak(benchmark::State& state) {
    const std::vector<std::byte> pcm = samples();
    const auto scan = media::audio::level::portableScan(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(scan(pcm));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(pcm.size()));
}

BENCHMARK(peak)->ArgName("bits")->Arg(16)->Arg(24)->Arg(32);
BENCHMARK(portablePeak)->ArgName("bits")->Arg(16)->Arg(24)->Arg(32);

} // namespace
