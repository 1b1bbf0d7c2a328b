// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/alac/channel_coder.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

#include "media/audio/alac/avx2.h"
#include "media/audio/alac/bit_writer.h"

namespace media::audio::alac {
namespace {

std::int32_t wrapTo(std::int32_t value, int bits) {
    const int unused = 32 - bits;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value) << unused) >> unused;
}

int signOf(std::int32_t value) {
    return (value > 0) - (value < 0);
}

/// Moves the coefficients towards the sign of the error, the oldest sample's first, until they explain as
/// much as the error.
void adapt(std::array<std::int32_t, predictorOrder>& coefficients, const std::int16_t* newest,
           std::int32_t base, std::int32_t error) {
    const int direction = signOf(error);
    for (int k = predictorOrder - 1; k >= 0 && error * direction > 0; --k) {
        const std::int32_t difference = newest[-k] - base;
        coefficients[static_cast<std::size_t>(k)] += signOf(difference) * direction;
        error -= (predictorOrder - k) * ((std::abs(difference) * direction) >> predictorShift);
    }
}

void predict(const ChannelJob& job, std::span<std::int32_t> residual) {
    const std::span<const std::int16_t> x = job.samples;
    std::array<std::int32_t, predictorOrder> coefficients;
    std::copy(job.coefficients.begin(), job.coefficients.end(), coefficients.begin());
    residual[0] = x[0];
    const std::size_t plain = std::min<std::size_t>(x.size(), predictorOrder + 1);
    for (std::size_t i = 1; i < plain; ++i)
        residual[i] = wrapTo(x[i] - x[i - 1], job.residualBits);
    for (std::size_t i = plain; i < x.size(); ++i) {
        const std::int32_t base = x[i - predictorOrder - 1];
        std::int32_t sum = 1 << (predictorShift - 1);
        for (std::size_t k = 0; k < predictorOrder; ++k)
            sum += coefficients[k] * (x[i - 1 - k] - base);
        residual[i] = wrapTo(x[i] - base - (sum >> predictorShift), job.residualBits);
        adapt(coefficients, &x[i - 1], base, residual[i]);
    }
}

/// A number in the Golomb code with divisor 2^k - 1; nine ones and `escapeBits` raw bits where the quotient
/// is too large.
void putGolomb(BitWriter& out, std::uint32_t number, int k, int escapeBits) {
    const std::uint32_t divisor = (1U << k) - 1;
    const std::uint32_t quotient = number / divisor;
    if (quotient >= 9) {
        out.put(0x1FFULL << escapeBits | number, static_cast<unsigned>(9 + escapeBits));
        return;
    }
    const std::uint32_t rest = number - quotient * divisor;
    const int tail = rest == 0 ? k - 1 : k;
    const std::uint64_t ones = (1U << quotient) - 1;
    out.put(ones << (tail + 1) | (rest == 0 ? 0 : rest + 1), quotient + 1 + static_cast<unsigned>(tail));
}

/// False when a code came out that decoders read differently: after a run of zeros the residual 32768 sets
/// the history to its ceiling in some and not in others.
bool putResidual(std::span<const std::int32_t> residual, int bits, BitWriter& out) {
    std::uint32_t history = initialHistory;
    std::uint32_t afterRun = 0;
    for (std::size_t i = 0; i < residual.size(); ++i) {
        const std::int32_t value = residual[i];
        const std::uint32_t number = static_cast<std::uint32_t>(value << 1 ^ value >> 31);
        const int k = std::min(static_cast<int>(std::bit_width((history >> 9) + 3)) - 1, int{riceLimit});
        if (afterRun != 0 && number == 0x10000)
            return false;
        putGolomb(out, number - afterRun, k, bits);
        afterRun = 0;
        history += historyMultiplier * number - (historyMultiplier * history >> 9);
        if (number > 0xFFFF)
            history = 0xFFFF;
        if (history < 128 && i + 1 < residual.size()) {
            const int runK = std::countl_zero(history) - 24 + static_cast<int>((history + 16) >> 6);
            std::uint32_t run = 0;
            while (i + 1 < residual.size() && residual[i + 1] == 0) {
                ++run;
                ++i;
            }
            putGolomb(out, run, runK, 16);
            history = 0;
            afterRun = 1;
        }
    }
    return true;
}

/// Up to eight jobs side by side.
void codeInLanes(std::span<ChannelJob* const> jobs) {
    std::array<std::uint8_t, codeCapacity> discarded;
    ChannelJob idle = *jobs.front();
    idle.code = discarded.data();
    std::array<ChannelJob*, vectorLanes> lanes;
    lanes.fill(&idle);
    std::copy(jobs.begin(), jobs.end(), lanes.begin());
    codeLanesAVX2(lanes);
}

} // namespace

void codeChannelsPortable(std::span<ChannelJob> jobs) {
    std::array<std::int32_t, packetFrames> residual;
    for (ChannelJob& job : jobs) {
        const std::span errors = std::span(residual).first(job.samples.size());
        predict(job, errors);
        BitWriter out(job.code);
        job.usable = putResidual(errors, job.residualBits, out);
        job.codedBits = out.bitCount();
    }
}

void codeChannels(std::span<ChannelJob> jobs) {
    if (!avx2Available()) {
        codeChannelsPortable(jobs);
        return;
    }
    while (!jobs.empty()) {
        std::array<ChannelJob*, vectorLanes> lanes;
        std::size_t count = 0;
        while (count < lanes.size() && count < jobs.size() && jobs[count].samples.size() % vectorStep == 0) {
            lanes[count] = &jobs[count];
            ++count;
        }
        if (count <= 1) // a stream's last packet may have any length
            codeChannelsPortable(jobs.first(count = 1));
        else
            codeInLanes(std::span(lanes).first(count));
        jobs = jobs.subspan(count);
    }
}

} // namespace media::audio::alac
