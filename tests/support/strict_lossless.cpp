// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/strict_lossless.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace test {
namespace {

void require(bool holds, const char* what) {
    if (!holds)
        throw std::runtime_error(what);
}

class Bits {
  public:
    explicit Bits(std::span<const std::byte> bytes) : bytes_(bytes) {}
    std::uint32_t get(unsigned count) {
        std::uint64_t value = 0;
        for (; count > 0; --count, ++position_) {
            require(position_ < bytes_.size() * 8, "read past the packet");
            value =
                value << 1 | (std::to_integer<unsigned>(bytes_[position_ / 8]) >> (7 - position_ % 8) & 1U);
        }
        return static_cast<std::uint32_t>(value);
    }
    std::int32_t getSigned(unsigned count) {
        return static_cast<std::int32_t>(get(count) << (32 - count)) >> (32 - count);
    }
    [[nodiscard]] std::size_t left() const { return bytes_.size() * 8 - position_; }

  private:
    std::span<const std::byte> bytes_;
    std::size_t position_ = 0;
};

struct Parameters {
    unsigned multiplier, initialHistory, riceLimit;
};

std::uint32_t getGolomb(Bits& bits, int k, unsigned escapeBits) {
    std::uint32_t quotient = 0;
    while (quotient < 9 && bits.get(1) == 1)
        ++quotient;
    if (quotient == 9)
        return bits.get(escapeBits);
    const auto width = static_cast<unsigned>(k);
    const std::uint32_t first = bits.get(width - 1);
    std::uint32_t number = quotient * ((1U << width) - 1);
    // The last bit belongs to the code only where the rest is not zero.
    if (first != 0)
        number += (first << 1 | bits.get(1)) - 1;
    return number;
}

std::vector<std::int32_t> getResidual(Bits& bits, std::size_t count, unsigned width, const Parameters& p) {
    std::vector<std::int32_t> residual;
    std::int64_t history = p.initialHistory;
    bool afterRun = false;
    while (residual.size() < count) {
        const int k =
            std::min(static_cast<int>(std::bit_width(static_cast<std::uint32_t>((history >> 9) + 3))) - 1,
                     static_cast<int>(p.riceLimit));
        const std::uint32_t sent = getGolomb(bits, k, width);
        const std::uint32_t number = sent + (afterRun ? 1 : 0);
        require(!afterRun || sent != 0xFFFF, "decoders disagree about the history after this code");
        require(number < 1U << width, "a residual is wider than its channel");
        residual.push_back(static_cast<std::int32_t>(number >> 1) ^ -static_cast<std::int32_t>(number & 1));
        history += std::int64_t{p.multiplier} * number - (p.multiplier * history >> 9);
        if (sent > 0xFFFF)
            history = 0xFFFF;
        require(history >= 0 && history < std::int64_t{1} << 26, "the history overflows");
        afterRun = false;
        if (history < 128 && residual.size() < count) {
            require(history > 0, "decoders disagree about a run's parameter");
            const int runK = std::countl_zero(static_cast<std::uint32_t>(history)) - 24 +
                             static_cast<int>((history + 16) >> 6);
            const std::uint32_t run = getGolomb(bits, runK, 16);
            require(run <= count - residual.size(), "a run of zeros passes the end");
            residual.resize(residual.size() + run);
            require(run < 0xFFFF, "a run is too long");
            history = 0;
            afterRun = true;
        }
    }
    return residual;
}

std::int32_t wrapTo(std::int64_t value, unsigned width) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value) << (32 - width)) >> (32 - width);
}

struct Predictor {
    unsigned shift = 0;
    std::vector<std::int32_t> coefficients; ///< the newest sample's first
};

std::vector<std::int32_t> unpredict(Predictor p, const std::vector<std::int32_t>& residual, unsigned width) {
    std::vector<std::int32_t> x;
    const std::size_t order = p.coefficients.size();
    for (std::size_t i = 0; i < residual.size(); ++i) {
        if (i <= order) {
            x.push_back(i == 0 ? residual[0] : wrapTo(std::int64_t{x[i - 1]} + residual[i], width));
            continue;
        }
        const std::int64_t base = x[i - order - 1];
        std::int64_t sum = std::int64_t{1} << (p.shift - 1);
        for (std::size_t k = 0; k < order; ++k)
            sum += p.coefficients[k] * (x[i - 1 - k] - base);
        require(std::llabs(sum) < std::int64_t{1} << 31, "a sum overflows");
        x.push_back(wrapTo(base + (sum >> p.shift) + residual[i], width));
        std::int64_t error = residual[i];
        const int direction = error > 0 ? 1 : -1;
        for (std::size_t k = order; k-- > 0 && error * direction > 0;) {
            const std::int64_t difference = base - x[i - 1 - k];
            const int sign = (difference > 0) - (difference < 0);
            p.coefficients[k] -= sign * direction;
            require(std::abs(p.coefficients[k]) < 1 << 15, "a coefficient overflows");
            error -= static_cast<std::int64_t>(order - k) * ((sign * direction * difference) >> p.shift);
        }
    }
    return x;
}

struct Header {
    bool pair = false, escape = false;
    unsigned shiftBits = 0;
    std::size_t frames = 0;
};

/// The samples of the element's one or two channels.
std::array<std::vector<std::int32_t>, 2> getElement(Bits& bits, const Header& h, unsigned depth,
                                                    const Parameters& parameters) {
    const std::size_t channels = h.pair ? 2 : 1;
    std::array<std::vector<std::int32_t>, 2> out;
    if (h.escape) {
        require(h.shiftBits == 0 && depth + (h.pair ? 1 : 0) <= 32,
                "an uncompressed element that not all decoders take");
        for (std::size_t i = 0; i < h.frames; ++i)
            for (std::size_t c = 0; c < channels; ++c)
                out[c].push_back(bits.getSigned(depth));
        return out;
    }
    const unsigned width = depth - h.shiftBits + (h.pair ? 1 : 0);
    require(width <= 25, "more bits than decoders' sums bear");
    const unsigned mixBits = bits.get(8);
    const std::int32_t mixWeight = bits.getSigned(8);
    require(mixBits <= 2 && mixWeight >= 0 && mixWeight <= 1 << mixBits, "an unusual mixing");
    std::array<Predictor, 2> predictors;
    for (std::size_t c = 0; c < channels; ++c) {
        require(bits.get(4) == 0, "an unusual prediction mode");
        predictors[c].shift = bits.get(4);
        require(predictors[c].shift > 0, "a shift that decoders refuse");
        require(bits.get(3) == 4, "an unusual history factor");
        predictors[c].coefficients.resize(bits.get(5));
        require(predictors[c].coefficients.size() == 4 || predictors[c].coefficients.size() == 8,
                "an unusual order");
        for (std::int32_t& coefficient : predictors[c].coefficients)
            coefficient = bits.getSigned(16);
    }
    std::vector<std::uint32_t> low(h.frames * channels);
    if (h.shiftBits > 0)
        for (std::uint32_t& value : low)
            value = bits.get(h.shiftBits);
    for (std::size_t c = 0; c < channels; ++c)
        out[c] = unpredict(predictors[c], getResidual(bits, h.frames, width, parameters), width);
    if (h.pair && mixWeight != 0)
        for (std::size_t i = 0; i < h.frames; ++i) {
            const std::int32_t u = out[0][i], v = out[1][i];
            out[0][i] = u + v - ((mixWeight * v) >> mixBits);
            out[1][i] = out[0][i] - v;
        }
    for (std::size_t c = 0; c < channels; ++c)
        for (std::size_t i = 0; i < h.frames; ++i) {
            const std::int64_t sample = std::int64_t{out[c][i]} * (std::int64_t{1} << h.shiftBits);
            require(wrapTo(sample, depth) == sample, "a sample is wider than the stream");
            out[c][i] = static_cast<std::int32_t>(sample | low[i * channels + c]);
        }
    return out;
}

} // namespace

void decodeStrictly(std::span<const std::byte> cookie, std::span<const std::byte> packet,
                    std::vector<std::byte>& pcm) {
    Bits head(cookie);
    require(head.get(32) == 4096 && head.get(8) == 0, "an unusual cookie");
    const unsigned depth = head.get(8);
    const unsigned multiplier = head.get(8), initialHistory = head.get(8), riceLimit = head.get(8);
    const std::size_t channels = head.get(8);

    Bits bits(packet);
    std::vector<std::vector<std::int32_t>> out;
    std::array<unsigned, 8> instances{};
    for (;;) {
        const unsigned tag = bits.get(3);
        if (tag == 7)
            break;
        require(tag == 0 || tag == 1 || tag == 3, "an unknown element");
        require(bits.get(4) == instances.at(tag)++, "elements are counted wrongly");
        require(bits.get(12) == 0, "reserved bits are set");
        Header h;
        h.pair = tag == 1;
        const bool partial = bits.get(1) == 1;
        h.shiftBits = bits.get(2) * 8;
        require(h.shiftBits < 24, "an invalid shift");
        h.escape = bits.get(1) == 1;
        h.frames = partial ? bits.get(32) : 4096;
        require(h.frames > 0 && h.frames <= 4096 && (out.empty() || out[0].size() == h.frames),
                "a wrong number of frames");
        auto element = getElement(bits, h, depth, {multiplier, initialHistory, riceLimit});
        for (std::size_t c = 0; c < (h.pair ? 2U : 1U); ++c)
            out.push_back(std::move(element[c]));
    }
    require(out.size() == channels, "a wrong number of channels");
    require(bits.left() < 8 && (bits.left() == 0 || bits.get(static_cast<unsigned>(bits.left())) == 0),
            "more behind the end");
    for (std::size_t i = 0; i < out[0].size(); ++i)
        for (const std::vector<std::int32_t>& channel : out)
            for (unsigned b = 0; b < depth / 8; ++b)
                pcm.push_back(static_cast<std::byte>(channel[i] >> (8 * b)));
}

} // namespace test
