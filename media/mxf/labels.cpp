// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/labels.h"

#include <algorithm>
#include <initializer_list>

namespace media::mxf {

namespace {

using Bytes = std::initializer_list<std::uint8_t>;

bool bytesAt(const Label& label, std::size_t position, Bytes expected) noexcept {
    return std::equal(expected.begin(), expected.end(),
                      label.begin() + static_cast<std::ptrdiff_t>(position));
}

bool isSMPTE(const Label& label) noexcept {
    return bytesAt(label, 0, {0x06, 0x0e, 0x2b, 0x34});
}

/// Whether a label is an essence container label of the mapping kind `kind` (SMPTE ST 379).
bool isMapping(const Label& container, std::uint8_t kind) noexcept {
    return isSMPTE(container) && bytesAt(container, 8, {0x0d, 0x01, 0x03, 0x01, 0x02, kind});
}

KeyKind classifyPack(const Label& key) noexcept {
    const std::uint8_t status = key[14];
    switch (key[13]) {
    case 0x02:
        return KeyKind::headerPartition;
    case 0x03:
        return status == 0x11 ? KeyKind::genericStreamPartition : KeyKind::bodyPartition;
    case 0x04:
        return KeyKind::footerPartition;
    case 0x05:
        return KeyKind::primer;
    case 0x11:
        return KeyKind::randomIndexPack;
    default:
        return KeyKind::dark;
    }
}

} // namespace

bool sameLabel(const Label& a, const Label& b) noexcept {
    return std::equal(a.begin(), a.begin() + 7, b.begin()) &&
           std::equal(a.begin() + 8, a.end(), b.begin() + 8);
}

bool isZero(std::span<const std::uint8_t> bytes) noexcept {
    return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

KeyKind classify(const Label& key) noexcept {
    if (!isSMPTE(key))
        return KeyKind::foreign;
    if (key[4] == 0x02 && key[5] == 0x05 && bytesAt(key, 8, {0x0d, 0x01, 0x02, 0x01, 0x01}))
        return classifyPack(key);
    if (key[4] == 0x01 && key[5] == 0x01 && bytesAt(key, 8, {0x03, 0x01, 0x02, 0x10, 0x01}))
        return KeyKind::fill;
    if (key[4] == 0x02 && bytesAt(key, 8, {0x0d, 0x01, 0x02, 0x01, 0x01, 0x10}))
        return KeyKind::indexSegment;
    if (setKindOf(key) != 0)
        return KeyKind::metadataSet;
    if (key[4] == 0x02 && key[5] == 0x04 && bytesAt(key, 8, {0x0d, 0x01, 0x03, 0x01, 0x02, 0x7e}))
        return KeyKind::encryptedTriplet;
    if (key[4] == 0x02 && bytesAt(key, 8, {0x0d, 0x01, 0x03, 0x01}) && (key[12] & 0xef) == 0x04)
        return KeyKind::systemItem;
    if (key[4] == 0x01 && key[5] == 0x02 && key[8] == 0x0d && key[10] == 0x03 && key[11] == 0x01)
        return KeyKind::essenceElement;
    // Avid, Canopus and Dolby number their private elements in the same way under labels of their own.
    if (key[4] == 0x01 && key[5] == 0x02 && key[8] == 0x0e)
        return KeyKind::essenceElement;
    return KeyKind::dark;
}

std::uint8_t setKindOf(const Label& key) noexcept {
    const bool isSet = isSMPTE(key) && key[4] == 0x02 && (key[5] == 0x53 || key[5] == 0x7f) &&
                       bytesAt(key, 8, {0x0d, 0x01, 0x01, 0x01, 0x01, 0x01});
    return isSet ? key[14] : 0;
}

std::uint32_t elementNumber(const Label& key) noexcept {
    return std::uint32_t{key[12]} << 24 | std::uint32_t{key[13]} << 16 | std::uint32_t{key[14]} << 8 |
           key[15];
}

DataKind dataKind(const Label& definition) noexcept {
    if (isSMPTE(definition) && bytesAt(definition, 8, {0x01, 0x03, 0x02})) {
        if (definition[11] == 0x01 && definition[12] >= 0x01 && definition[12] <= 0x03)
            return DataKind::timecode;
        if (definition[11] == 0x02)
            return definition[12] == 0x01   ? DataKind::picture
                   : definition[12] == 0x02 ? DataKind::sound
                                            : DataKind::data;
        return DataKind::data;
    }
    // The definitions of the older AAF object model, which some editors still write.
    if (bytesAt(definition, 1, {0x7d, 0x00, 0x60, 0x08, 0x14, 0x3e, 0x6f, 0x6f, 0x3c, 0x8c, 0xe1}))
        return DataKind::picture;
    if (bytesAt(definition, 1, {0x7d, 0x00, 0x60, 0x08, 0x14, 0x3e, 0x6f, 0x78, 0xe1, 0xeb, 0xe1}))
        return DataKind::sound;
    if (bytesAt(definition, 1, {0x7f, 0x00, 0x60, 0x08, 0x14, 0x3e, 0x6f, 0x7f, 0x27, 0x5e, 0x81}))
        return DataKind::timecode;
    return DataKind::unknown;
}

SoundCoding soundCoding(const Label& compression, const Label& container) noexcept {
    // A container of plain waves or AES3 says more than a compression label that contradicts it.
    const bool plainContainer = isMapping(container, 0x06);
    if (!isSMPTE(compression) || bytesAt(compression, 8, {0x04, 0x02, 0x02, 0x01, 0x7f}) ||
        bytesAt(compression, 8, {0x04, 0x02, 0x02, 0x01, 0x01}))
        return isMapping(container, 0x0a) ? SoundCoding::aLaw : SoundCoding::pcm;
    if (bytesAt(compression, 8, {0x04, 0x02, 0x02, 0x01, 0x7e}))
        return SoundCoding::pcmBigEndian;
    if (bytesAt(compression, 8, {0x04, 0x02, 0x02, 0x02, 0x03, 0x01, 0x01}))
        return plainContainer ? SoundCoding::pcm : SoundCoding::aLaw;
    return SoundCoding::other;
}

std::string compressionName(const Label& compression) {
    if (bytesAt(compression, 8, {0x04, 0x02, 0x02, 0x02, 0x03, 0x01, 0x10}))
        return "DV audio";
    if (bytesAt(compression, 8, {0x04, 0x02, 0x02, 0x02, 0x03, 0x02})) {
        switch (compression[14]) {
        case 0x01:
            return "AC-3";
        case 0x04:
        case 0x05:
        case 0x06:
            return "MPEG audio";
        case 0x1c:
            return "Dolby E";
        default:
            break;
        }
    }
    if (bytesAt(compression, 8, {0x04, 0x02, 0x02, 0x02, 0x03, 0x03}) ||
        bytesAt(compression, 8, {0x04, 0x02, 0x02, 0x02, 0x04, 0x03}) ||
        bytesAt(compression, 8, {0x04, 0x02, 0x02, 0x02, 0x04, 0x04}))
        return "AAC in MXF";
    if (bytesAt(compression, 8, {0x04, 0x02, 0x02, 0x01, 0x02, 0x01}))
        return "MGA audio";
    constexpr const char* digits = "0123456789abcdef";
    std::string name = "of an unknown compression (";
    for (std::size_t i = 8; i < compression.size(); ++i) {
        name += digits[compression[i] >> 4];
        name += digits[compression[i] & 15];
    }
    return name + ")";
}

bool isEncryptedContainer(const Label& container) noexcept {
    return isMapping(container, 0x0b);
}

bool isFieldWrapped(const Label& container) noexcept {
    if (isMapping(container, 0x0c)) // JPEG 2000 (SMPTE ST 422): one field a unit
        return container[14] == 0x05;
    if (isMapping(container, 0x0f) || isMapping(container, 0x10) || isMapping(container, 0x1f) ||
        isMapping(container, 0x20)) // AVC and HEVC
        return container[15] == 0x09;
    return false;
}

} // namespace media::mxf
