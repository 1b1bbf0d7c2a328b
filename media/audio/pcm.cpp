// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/pcm.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "media/base/error.h"

namespace media::audio {

namespace {

/// How one stored sample becomes one delivered sample.
struct Layout {
    std::size_t bytes = 0; ///< of a stored sample
    bool bigEndian = false;
    bool isUnsigned = false; ///< offset binary
    unsigned unusedHigh = 0; ///< bits above the valid ones
};

[[noreturn]] void refuse(const char* what) {
    throw Error(Error::Category::unsupported,
                std::string("The sound is in a format that can't be read here (") + what + ").");
}

Layout layoutOf(const AudioStreamDescription& format) {
    if (format.isFloat())
        refuse("floating-point samples");
    const std::uint32_t channels = format.channelsPerFrame;
    if (channels == 0 || format.bytesPerFrame == 0 || format.bytesPerFrame % channels != 0)
        refuse("samples that share bytes");
    if ((format.formatFlags & pcmFlag::nonInterleaved) != 0 && channels > 1)
        refuse("channels stored one after another");
    Layout layout;
    layout.bytes = format.bytesPerFrame / channels;
    if (layout.bytes > 8 || format.bitsPerChannel == 0 || format.bitsPerChannel > layout.bytes * 8)
        refuse("linear PCM of an unknown sample size");
    layout.bigEndian = (format.formatFlags & pcmFlag::bigEndian) != 0;
    layout.isUnsigned = (format.formatFlags & pcmFlag::signedInteger) == 0;
    // Only samples that are said to lie low do: "packed" beside a wider container is written by systems that
    // mean samples padded with zero bits, as SMPTE ST 382 has them.
    if ((format.formatFlags & (pcmFlag::alignedHigh | pcmFlag::packed)) == 0)
        layout.unusedHigh = static_cast<unsigned>(layout.bytes * 8) - format.bitsPerChannel;
    return layout;
}

template <bool bigEndian, std::size_t bytes>
std::uint64_t load(const std::byte* from) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i)
        value |= std::to_integer<std::uint64_t>(from[i]) << (8 * (bigEndian ? bytes - 1 - i : i));
    return value;
}

template <std::size_t bytes>
void store(std::byte* to, std::uint64_t value) {
    for (std::size_t i = 0; i < bytes; ++i)
        to[i] = static_cast<std::byte>(value >> (8 * i));
}

/// Every layout, a sample at a time: the valid bits are moved to the top of 64, which are then cut.
template <bool bigEndian, std::size_t storedBytes, std::size_t bytes>
void convertSamples(const std::byte* from, std::size_t count, const Layout& layout, std::byte* to) {
    const unsigned shift = 64 - 8 * storedBytes + layout.unusedHigh;
    const std::uint64_t flip = layout.isUnsigned ? std::uint64_t{1} << 63 : 0;
    for (std::size_t i = 0; i < count; ++i, from += storedBytes, to += bytes)
        store<bytes>(to, ((load<bigEndian, storedBytes>(from) << shift) ^ flip) >> (64 - 8 * bytes));
}

using Conversion = void (*)(const std::byte*, std::size_t, const Layout&, std::byte*);

template <bool bigEndian, std::size_t bytes>
Conversion conversionFrom(std::size_t storedBytes) {
    static constexpr Conversion table[] = {
        convertSamples<bigEndian, 1, bytes>, convertSamples<bigEndian, 2, bytes>,
        convertSamples<bigEndian, 3, bytes>, convertSamples<bigEndian, 4, bytes>,
        convertSamples<bigEndian, 5, bytes>, convertSamples<bigEndian, 6, bytes>,
        convertSamples<bigEndian, 7, bytes>, convertSamples<bigEndian, 8, bytes>};
    return table[storedBytes - 1];
}

template <bool bigEndian>
Conversion conversion(std::size_t storedBytes, int bits) {
    switch (bits) {
    case 16:
        return conversionFrom<bigEndian, 2>(storedBytes);
    case 24:
        return conversionFrom<bigEndian, 3>(storedBytes);
    case 32:
        return conversionFrom<bigEndian, 4>(storedBytes);
    default:
        refuse("linear PCM of an unknown sample size");
    }
}

/// Reverses the bytes of samples that are a machine word; the compiler makes vectors of the loop.
template <class Word>
void swapWords(const std::byte* from, std::size_t count, std::byte* to) {
    for (std::size_t i = 0; i < count; ++i) {
        Word word;
        std::memcpy(&word, from + i * sizeof(Word), sizeof(Word));
        Word swapped = 0;
        for (std::size_t byte = 0; byte < sizeof(Word); ++byte)
            swapped =
                static_cast<Word>(swapped | static_cast<Word>(static_cast<Word>(word >> (8 * byte)) & 0xFF)
                                                << (8 * (sizeof(Word) - 1 - byte)));
        std::memcpy(to + i * sizeof(Word), &swapped, sizeof(Word));
    }
}

/// Reverses the bytes of 24-bit samples two at a time inside a 64-bit word: the middle bytes stay, the outer
/// ones change places. The two bytes that a word has too many are written again by the next one.
void swap24(const std::byte* from, std::size_t count, std::byte* to) {
    static_assert(std::endian::native == std::endian::little);
    constexpr std::uint64_t middle = 0xFF'0000'FF00;
    constexpr std::uint64_t first = 0xFF00'00FF;
    std::size_t i = 0;
    for (; i + 3 <= count; i += 2) {
        std::uint64_t word;
        std::memcpy(&word, from + 3 * i, sizeof word);
        word = (word & middle) | (word & first) << 16 | (word >> 16 & first);
        std::memcpy(to + 3 * i, &word, sizeof word);
    }
    convertSamples<true, 3, 3>(from + 3 * i, count - i, Layout{}, to + 3 * i);
}

bool differsInByteOrderAlone(const Layout& layout, int bits) {
    return layout.bytes == static_cast<std::size_t>(bits) / 8 && layout.unusedHigh == 0 && !layout.isUnsigned;
}

} // namespace

bool needsNoConversion(const AudioStreamDescription& format, int bits) {
    const Layout layout = layoutOf(format);
    return differsInByteOrderAlone(layout, bits) && !layout.bigEndian;
}

void convertPCM(std::span<const std::byte> stored, const AudioStreamDescription& format, int bits,
                std::vector<std::byte>& out) {
    const Layout layout = layoutOf(format);
    const auto convert =
        layout.bigEndian ? conversion<true>(layout.bytes, bits) : conversion<false>(layout.bytes, bits);
    const std::size_t frames = stored.size() / format.bytesPerFrame;
    const std::size_t count = frames * format.channelsPerFrame;
    const std::size_t bytes = static_cast<std::size_t>(bits) / 8;
    const std::byte* from = stored.data();
    if (differsInByteOrderAlone(layout, bits)) {
        if (!layout.bigEndian) {
            out.assign(from, from + count * bytes);
            return;
        }
        out.resize(count * bytes);
        if (bits == 16)
            swapWords<std::uint16_t>(from, count, out.data());
        else if (bits == 24)
            swap24(from, count, out.data());
        else
            swapWords<std::uint32_t>(from, count, out.data());
        return;
    }
    out.resize(count * bytes);
    convert(from, count, layout, out.data());
}

} // namespace media::audio
