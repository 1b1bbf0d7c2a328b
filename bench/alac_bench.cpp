// SPDX-License-Identifier: GPL-3.0-or-later
// Our Apple Lossless encoder beside libavcodec's at its defaults, each on one thread, over made-up speech,
// music and noise. `samples` is what a second encodes; `size` the packets against the PCM;
// `against_libavcodec` our packets against its.
#include <array>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/libav_lossless_encoder.h"
#include "media/audio/alac/encoder.h"

namespace {

constexpr double rate = 48000;
constexpr std::size_t frames = 10 * 48000;
constexpr double pi = 3.14159265358979323846;

using Signal = std::vector<double>;

Signal noise(double level, std::uint32_t seed) {
    std::mt19937 random(seed);
    std::normal_distribution<double> normal(0, level);
    Signal x(frames);
    for (double& sample : x)
        sample = normal(random);
    return x;
}

/// A resonance of `frequency` Hz and `width` Hz, in place.
void resonate(Signal& x, double frequency, double width) {
    const double r = std::exp(-pi * width / rate), a = 2 * r * std::cos(2 * pi * frequency / rate);
    double y1 = 0, y2 = 0;
    for (double& sample : x) {
        const double y = (1 - r) * sample + a * y1 - r * r * y2;
        y2 = y1;
        y1 = sample = y;
    }
}

void scaleTo(Signal& x, double peak) {
    double highest = 0;
    for (const double sample : x)
        highest = std::max(highest, std::abs(sample));
    for (double& sample : x)
        sample *= peak / highest;
}

/// A voice of gliding pitch through three formants, in syllables with pauses, over the noise of a room.
Signal speech(std::uint32_t seed) {
    std::mt19937 random(seed);
    const Signal breath = noise(0.02, seed + 1), room = noise(0.0004, seed + 2);
    Signal x(frames);
    double phase = 0, loudness = 0, target = 0, pitch = 120;
    for (std::size_t i = 0; i < frames; ++i) {
        if (i % 9600 == 0) { // a syllable
            target = random() % 4 == 0 ? 0 : 0.3 + 0.7 * static_cast<double>(random() % 100) / 100;
            pitch = 95 + static_cast<double>(random() % 80);
        }
        loudness += (target - loudness) * 0.001;
        phase += (pitch + 5 * std::sin(static_cast<double>(i) / 3000)) / rate;
        const double pulse = std::exp(-40 * (phase - std::floor(phase)));
        x[i] = loudness * (pulse + breath[i]);
    }
    resonate(x, 550, 80);
    resonate(x, 1600, 160);
    resonate(x, 2700, 250);
    scaleTo(x, 0.5);
    for (std::size_t i = 0; i < frames; ++i)
        x[i] += room[i];
    return x;
}

/// Struck and sustained notes of many partials, with cymbals.
Signal music(std::uint32_t seed) {
    constexpr std::array<double, 8> notes{110, 164.8, 220, 261.6, 329.6, 392, 440, 523.3};
    std::mt19937 random(seed);
    const Signal hiss = noise(1, seed + 1);
    Signal x(frames);
    for (std::size_t start = 0; start < frames; start += 12000)
        for (int voice = 0; voice < 3; ++voice) {
            const double pitch = notes[random() % notes.size()] * 2 * pi / rate;
            for (int partial = 1; partial <= 8; ++partial)
                for (std::size_t i = 0; i < std::min<std::size_t>(40000, frames - start); ++i)
                    x[start + i] += std::exp(-static_cast<double>(i) * partial / 20000) / partial *
                                    std::sin(pitch * partial * static_cast<double>(i));
        }
    for (std::size_t i = 0; i < frames; ++i)
        x[i] += 0.4 * hiss[i] * std::exp(-static_cast<double>(i % 12000) / 1500);
    scaleTo(x, 0.7);
    return x;
}

enum Material { speechLike, musicLike, noiseLike };

std::vector<std::byte> makePCM(Material material, int bits, std::size_t channels) {
    const auto make = [&](std::uint32_t seed) {
        return material == speechLike ? speech(seed) : material == musicLike ? music(seed) : noise(0.1, seed);
    };
    const Signal centre = make(1), side = make(2);
    std::vector<std::byte> pcm;
    for (std::size_t i = 0; i < frames; ++i)
        for (std::size_t c = 0; c < channels; ++c) {
            const double x = channels == 1 ? centre[i] : 0.8 * centre[i] + (c == 0 ? 0.2 : -0.2) * side[i];
            const double full = std::ldexp(1, bits - 1);
            const auto sample = std::lround(std::clamp(x * full, -full, full - 1));
            for (int b = 0; b < bits; b += 8)
                pcm.push_back(static_cast<std::byte>(sample >> b));
        }
    return pcm;
}

std::size_t encode(const media::audio::EncoderSettings& settings, std::span<const std::byte> pcm) {
    std::size_t bytes = 0;
    const auto sink = [&](std::span<const std::byte> packet, std::uint32_t) { bytes += packet.size(); };
    const auto encoder = media::audio::alac::makeEncoder(settings);
    // In pieces as a reader delivers them.
    const std::size_t piece = 16384 * settings.channels * static_cast<std::size_t>(settings.inputBits) / 8;
    while (!pcm.empty()) {
        encoder->encode(pcm.first(std::min(piece, pcm.size())), sink);
        pcm = pcm.subspan(std::min(piece, pcm.size()));
    }
    encoder->finish(sink);
    return bytes;
}

void finish(benchmark::State& state, std::size_t samples, std::size_t pcmBytes, std::size_t bytes) {
    state.counters["samples"] =
        benchmark::Counter(static_cast<double>(samples), benchmark::Counter::kIsIterationInvariantRate);
    state.counters["size"] = static_cast<double>(bytes) / static_cast<double>(pcmBytes);
}

void ours(benchmark::State& state, Material material, int bits, std::size_t channels) {
    const std::vector<std::byte> pcm = makePCM(material, bits, channels);
    media::audio::EncoderSettings settings;
    settings.sampleRate = rate;
    settings.channels = static_cast<std::uint32_t>(channels);
    settings.inputBits = bits;
    std::size_t bytes = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(bytes = encode(settings, pcm));
    finish(state, frames * channels, pcm.size(), bytes);
    LibavLosslessEncoder peer(pcm, static_cast<int>(channels), bits);
    state.counters["against_libavcodec"] = static_cast<double>(bytes) / static_cast<double>(peer.encode());
}

void libavcodec(benchmark::State& state, Material material, int bits, std::size_t channels) {
    const std::vector<std::byte> pcm = makePCM(material, bits, channels);
    LibavLosslessEncoder encoder(pcm, static_cast<int>(channels), bits);
    std::size_t bytes = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(bytes = encoder.encode());
    finish(state, frames * channels, pcm.size(), bytes);
}

void silence(benchmark::State& state) {
    const std::vector<std::byte> pcm(frames * 3);
    media::audio::EncoderSettings settings;
    settings.sampleRate = rate;
    settings.channels = 1;
    settings.inputBits = 24;
    for (auto _ : state)
        benchmark::DoNotOptimize(encode(settings, pcm));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(pcm.size()));
}

} // namespace

int main(int argc, char** argv) {
    struct Named {
        Material material;
        const char* name;
    };
    for (const auto& [material, name] :
         {Named{speechLike, "speech"}, Named{musicLike, "music"}, Named{noiseLike, "noise"}})
        for (const int bits : {24, 16})
            for (const std::size_t channels : {1U, 2U}) {
                const std::string what = std::string("/") + name + "/" + std::to_string(bits) +
                                         (channels == 1 ? "/mono" : "/stereo");
                benchmark::RegisterBenchmark(("ours" + what).c_str(), ours, material, bits, channels);
                benchmark::RegisterBenchmark(("libavcodec" + what).c_str(), libavcodec, material, bits,
                                             channels);
            }
    benchmark::RegisterBenchmark("ours/silence/24/mono", silence);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
