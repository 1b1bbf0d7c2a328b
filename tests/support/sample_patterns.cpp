// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/sample_patterns.h"

#include <algorithm>
#include <cmath>

namespace test {
namespace {

std::uint32_t below(std::mt19937& random, std::uint32_t limit) {
    return static_cast<std::uint32_t>(random() % limit);
}

} // namespace

std::vector<std::int32_t> samplePattern(std::mt19937& random, std::size_t frames, int bits) {
    const std::int64_t top = (std::int64_t{1} << (bits - 1)) - 1, bottom = -top - 1;
    const std::int64_t level = std::int64_t{1}
                               << below(random, static_cast<std::uint32_t>(bits)); // 1 to 2^(bits-1)
    std::vector<std::int64_t> x(frames);
    const auto noise = [&] { return static_cast<std::int64_t>(random()) % (2 * level) - level; };
    const double pitch = 0.001 + 0.003 * below(random, 900);
    const std::uint32_t period = 1 + below(random, 200);
    switch (below(random, 12)) {
    case 0:
        break; // silence
    case 1:
        std::generate(x.begin(), x.end(), noise);
        break;
    case 2:
        std::fill(x.begin(), x.end(), below(random, 2) == 0 ? top : bottom);
        break;
    case 3: // alternating extremes, now and then one is repeated
        for (std::size_t i = 0, side = 0; i < frames; ++i, side += below(random, period) == 0 ? 0 : 1)
            x[i] = side % 2 == 0 ? top : bottom;
        break;
    case 4:
        for (std::int64_t& sample : x)
            sample = below(random, 2) == 0 ? top : bottom;
        break;
    case 5:
        for (std::size_t i = 0; i < frames; ++i)
            x[i] = std::llround(std::sin(pitch * static_cast<double>(i)) * static_cast<double>(level - 1)) +
                   noise() / 16;
        break;
    case 6: // spikes between zeros
        for (std::int64_t& sample : x)
            if (below(random, period) == 0)
                sample = noise();
        break;
    case 7: // steps
        for (std::size_t i = 0; i < frames; ++i)
            x[i] = i > 0 && below(random, period) != 0 ? x[i - 1] : noise();
        break;
    case 8: // unused low bits
        for (std::int64_t& sample : x)
            sample = noise() & ~((std::int64_t{1} << (period % static_cast<std::uint32_t>(bits))) - 1);
        break;
    case 9: // a walk that clips
        for (std::size_t i = 0; i < frames; ++i)
            x[i] = std::clamp((i == 0 ? 0 : x[i - 1]) + noise(), bottom, top);
        break;
    case 10: // quiet, then loud, then quiet
        for (std::size_t i = 0; i < frames; ++i)
            x[i] = i / (frames / 3 + 1) == 1 ? noise() : static_cast<std::int64_t>(below(random, 3)) - 1;
        break;
    default: // held just below zero, with rare jumps to the extremes
        for (std::int64_t& sample : x)
            sample = below(random, period) != 0 ? -1 : below(random, 2) == 0 ? top : bottom;
    }
    std::vector<std::int32_t> samples;
    for (const std::int64_t sample : x)
        samples.push_back(static_cast<std::int32_t>(std::clamp(sample, bottom, top)));
    return samples;
}

std::vector<std::byte> patternPCM(std::mt19937& random, std::size_t frames, std::size_t channels, int bits) {
    std::vector<std::vector<std::int32_t>> planes;
    for (std::size_t c = 0; c < channels; ++c) {
        std::vector<std::int32_t> plane = samplePattern(random, frames, bits);
        if (c > 0) {
            const std::vector<std::int32_t>& neighbour = planes.back();
            const std::uint32_t relation = below(random, 6);
            for (std::size_t i = 0; i < frames; ++i) {
                if (relation == 0)
                    plane[i] = neighbour[i];
                else if (relation == 1)
                    plane[i] = ~neighbour[i];
                else if (relation == 2)
                    plane[i] = (neighbour[i] >> 1) + (plane[i] >> 6);
            }
        }
        planes.push_back(std::move(plane));
    }
    std::vector<std::byte> pcm;
    for (std::size_t i = 0; i < frames; ++i)
        for (const std::vector<std::int32_t>& plane : planes)
            for (int b = 0; b < bits; b += 8)
                pcm.push_back(static_cast<std::byte>(plane[i] >> b));
    return pcm;
}

} // namespace test
