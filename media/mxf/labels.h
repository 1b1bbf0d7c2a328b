// SPDX-License-Identifier: GPL-3.0-or-later
// Universal labels: what a key or label of an MXF file stands for (SMPTE ST 377-1, ST 379, ST 381 to ST 386
// and the SMPTE metadata registers). The version byte of a label never counts.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace media::mxf {

/// 16 bytes: a universal label, a key or the identifier of a metadata set.
using Label = std::array<std::uint8_t, 16>;
/// A package identifier (SMPTE ST 330).
using Umid = std::array<std::uint8_t, 32>;

/// Equality of universal labels: byte 7, the version of the register, is ignored.
[[nodiscard]] bool sameLabel(const Label& a, const Label& b) noexcept;
[[nodiscard]] bool isZero(std::span<const std::uint8_t> bytes) noexcept;

/// What the key of a KLV triplet announces.
enum class KeyKind {
    headerPartition,
    bodyPartition,
    footerPartition,
    genericStreamPartition, ///< a body partition of data that is not essence (SMPTE ST 410)
    primer,
    randomIndexPack,
    metadataSet,
    indexSegment,
    fill,
    essenceElement,
    systemItem,
    encryptedTriplet,
    dark,    ///< a SMPTE key that means nothing to us
    foreign, ///< not a SMPTE key at all
};
[[nodiscard]] KeyKind classify(const Label& key) noexcept;
[[nodiscard]] constexpr bool isPartition(KeyKind kind) noexcept {
    return kind <= KeyKind::genericStreamPartition;
}
/// What lies in the essence container of a body partition.
[[nodiscard]] constexpr bool isEssence(KeyKind kind) noexcept {
    return kind == KeyKind::essenceElement || kind == KeyKind::systemItem ||
           kind == KeyKind::encryptedTriplet;
}

/// Byte 14 of a header metadata set's key (SMPTE ST 377-1, annex A).
namespace setKind {
inline constexpr std::uint8_t preface = 0x2f;
inline constexpr std::uint8_t identification = 0x30;
inline constexpr std::uint8_t essenceContainerData = 0x23;
inline constexpr std::uint8_t materialPackage = 0x36;
inline constexpr std::uint8_t sourcePackage = 0x37;
inline constexpr std::uint8_t track = 0x3b;
inline constexpr std::uint8_t sequence = 0x0f;
inline constexpr std::uint8_t sourceClip = 0x11;
inline constexpr std::uint8_t timecodeComponent = 0x14;
inline constexpr std::uint8_t filler = 0x09;
inline constexpr std::uint8_t essenceGroup = 0x05;
inline constexpr std::uint8_t pulldown = 0x0c;
inline constexpr std::uint8_t multipleDescriptor = 0x44;
inline constexpr std::uint8_t genericSound = 0x42;
inline constexpr std::uint8_t waveSound = 0x48;
inline constexpr std::uint8_t aes3Sound = 0x47;
} // namespace setKind

/// The kind of set that a header metadata key names; 0 for every other key.
[[nodiscard]] std::uint8_t setKindOf(const Label& key) noexcept;

/// Bytes 12 to 15 of an essence element's key, which a track of the file's package repeats as its number.
[[nodiscard]] std::uint32_t elementNumber(const Label& key) noexcept;
/// Whether an element number is that of sound (item types 06 and 16, SMPTE ST 379).
[[nodiscard]] constexpr bool isSoundElement(std::uint32_t number) noexcept {
    return (number >> 24 & 0xef) == 0x06;
}
/// The eight-channel AES3 element of D-10 (SMPTE ST 386, ST 331).
[[nodiscard]] constexpr bool isD10Sound(std::uint32_t number) noexcept {
    return (number & 0xff00ff00) == 0x06001000;
}

enum class DataKind { picture, sound, timecode, data, unknown };
/// What a data definition says of a track.
[[nodiscard]] DataKind dataKind(const Label& definition) noexcept;

enum class SoundCoding { pcm, pcmBigEndian, aLaw, other };
/// How the samples of a sound track are coded, from its compression label (all zero when absent) and its
/// essence container label.
[[nodiscard]] SoundCoding soundCoding(const Label& compression, const Label& container) noexcept;
/// The name of a sound compression for a sentence: "Dolby E".
[[nodiscard]] std::string compressionName(const Label& compression);

/// Essence container labels: encrypted essence (SMPTE ST 429-6), and units of one field instead of one frame.
[[nodiscard]] bool isEncryptedContainer(const Label& container) noexcept;
[[nodiscard]] bool isFieldWrapped(const Label& container) noexcept;

} // namespace media::mxf
