// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/alac/analysis.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace media::audio::alac {
namespace {

constexpr std::size_t windowLength = 1024; ///< of a packet's samples, around the middle
constexpr std::size_t windowHalf = windowLength / 2;
constexpr std::size_t lags = predictorOrder + 1;

/// Welch window in units of 2^-15.
constexpr std::array<std::int16_t, windowLength> window = [] {
    std::array<std::int16_t, windowLength> w{};
    constexpr std::int64_t reach = windowLength + 1;
    for (std::size_t i = 0; i < windowLength; ++i) {
        const std::int64_t t = 2 * static_cast<std::int64_t>(i) - (std::int64_t{windowLength} - 1);
        w[i] = static_cast<std::int16_t>(32767 * (reach * reach - t * t) / (reach * reach));
    }
    return w;
}();

template <class T>
std::span<T> middle(std::span<T> samples) {
    return samples.subspan((samples.size() - windowLength) / 2, windowLength);
}

/// Sums of products of the windowed samples with those 0 to predictorOrder before. The samples are scaled to
/// 12 bits, so that half a window of products fits 32 bits.
std::array<double, lags> autocorrelation(std::span<const std::int16_t> x, int peak) {
    std::array<std::int16_t, lags - 1 + windowLength> store{};
    std::int16_t* const y = store.data() + lags - 1;
    const std::int32_t scale = (2047 << 15) / peak;
    for (std::size_t i = 0; i < windowLength; ++i) {
        const std::int32_t scaled = x[i] * scale >> 11; // at most 2047 * 16
        y[i] = static_cast<std::int16_t>((scaled * window[i] + (1 << 18)) >> 19);
    }
    std::array<double, lags> sums{};
    for (std::size_t lag = 0; lag < lags; ++lag) {
        for (std::size_t start = 0; start < windowLength; start += windowHalf) {
            const std::int16_t* const now = y + start;
            const std::int16_t* const before = now - lag;
            std::int32_t sum = 0;
            for (std::size_t i = 0; i < windowHalf; ++i)
                sum += now[i] * before[i];
            sums[lag] += sum;
        }
    }
    return sums;
}

/// Levinson-Durbin recursion.
std::array<double, predictorOrder> solve(const std::array<double, lags>& correlation) {
    std::array<double, predictorOrder> a{};
    double error = correlation[0] + 1;
    for (std::size_t i = 0; i < predictorOrder; ++i) {
        double sum = correlation[i + 1];
        for (std::size_t j = 0; j < i; ++j)
            sum -= a[j] * correlation[i - j];
        const double reflection = sum / error;
        const std::array<double, predictorOrder> before = a;
        for (std::size_t j = 0; j < i; ++j)
            a[j] -= reflection * before[i - 1 - j];
        a[i] = reflection;
        error *= 1 - reflection * reflection;
    }
    return a;
}

int peakOf(std::span<const std::int16_t> samples) {
    std::int16_t low = 0, high = 0;
    for (const std::int16_t x : samples) {
        low = std::min(low, x);
        high = std::max(high, x);
    }
    return std::max<int>(high, -low);
}

/// Cost of coding a channel, as the sum of its second differences.
template <class Sample>
std::int64_t roughness(Sample sample) {
    std::int32_t sum = 0; // 1022 differences of at most 2^18
    for (std::size_t i = 2; i < windowLength; ++i)
        sum += std::abs(sample(i) - 2 * sample(i - 1) + sample(i - 2));
    return sum;
}

} // namespace

Coefficients startingCoefficients(std::span<const std::int16_t> samples) {
    constexpr Coefficients usual{1216, -928, -64, 0};
    if (samples.size() < windowLength)
        return usual;
    const std::span<const std::int16_t> x = middle(samples);
    const int peak = peakOf(x);
    if (peak == 0)
        return usual;
    const std::array<double, predictorOrder> a = solve(autocorrelation(x, peak));
    Coefficients coefficients;
    for (std::size_t i = 0; i < a.size(); ++i)
        coefficients[i] = static_cast<std::int16_t>(std::clamp<double>(
            std::nearbyint(a[i] * (1 << predictorShift)), -coefficientLimit, coefficientLimit));
    return coefficients;
}

Mixing mixPair(std::span<std::int16_t> left, std::span<std::int16_t> right) {
    if (left.size() < windowLength)
        return {};
    const std::span<const std::int16_t> l = middle(left), r = middle(right);
    const std::int64_t leftCost = roughness([&](std::size_t i) { return int{l[i]}; });
    const std::int64_t rightCost = roughness([&](std::size_t i) { return int{r[i]}; });
    const std::int64_t middleCost = roughness([&](std::size_t i) { return (l[i] + r[i]) >> 1; });
    const std::int64_t sideCost = roughness([&](std::size_t i) { return l[i] - r[i]; });
    if (leftCost + rightCost <= std::min(leftCost, middleCost) + sideCost)
        return {};
    int largest = 0;
    for (std::size_t i = 0; i < left.size(); ++i)
        largest = std::max(largest, std::abs(left[i] - right[i]));
    if (largest > 32767)
        return {};
    const Mixing mixing = middleCost <= leftCost ? Mixing{1, 1} : Mixing{0, 1};
    for (std::size_t i = 0; i < left.size(); ++i) {
        const int difference = left[i] - right[i];
        if (mixing.shift != 0)
            left[i] = static_cast<std::int16_t>((left[i] + right[i]) >> 1);
        right[i] = static_cast<std::int16_t>(difference);
    }
    return mixing;
}

} // namespace media::audio::alac
