// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/mxf_editor.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace test {
namespace {

// Places in a partition pack (SMPTE ST 377-1, 7.1).
constexpr std::size_t thisPartition = 8;
constexpr std::size_t previousPartition = 16;
constexpr std::size_t footerPartition = 24;
constexpr std::size_t headerByteCount = 32;
constexpr std::size_t indexByteCount = 40;
constexpr std::size_t bodySID = 60;

bool startsWith(const std::array<std::uint8_t, 16>& key, std::initializer_list<std::uint8_t> bytes,
                std::size_t at) {
    return std::equal(bytes.begin(), bytes.end(), key.begin() + static_cast<std::ptrdiff_t>(at));
}

std::size_t sizeOf(const MXFTriplet& triplet) {
    return 16 + triplet.lengthBytes + triplet.value.size();
}

void append(Bytes& out, const MXFTriplet& triplet) {
    out.insert(out.end(), triplet.key.begin(), triplet.key.end());
    if (triplet.lengthBytes == 1) {
        out.push_back(static_cast<std::uint8_t>(triplet.value.size()));
    } else {
        out.push_back(static_cast<std::uint8_t>(0x80 + triplet.lengthBytes - 1));
        for (std::size_t i = triplet.lengthBytes - 1; i-- > 0;)
            out.push_back(
                static_cast<std::uint8_t>(i < 8 ? std::uint64_t{triplet.value.size()} >> (8 * i) : 0));
    }
    out.insert(out.end(), triplet.value.begin(), triplet.value.end());
}

} // namespace

Bytes readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error("can't read " + path.string());
    Bytes bytes(std::filesystem::file_size(path));
    in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

void writeFile(const std::filesystem::path& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

std::uint64_t number(const Bytes& bytes, std::size_t offset, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i)
        value = value << 8 | bytes.at(offset + i);
    return value;
}

void setNumber(Bytes& bytes, std::size_t offset, std::size_t size, std::uint64_t value) {
    for (std::size_t i = 0; i < size; ++i)
        bytes.at(offset + i) = static_cast<std::uint8_t>(value >> (8 * (size - 1 - i)));
}

bool MXFTriplet::isPartition() const {
    return startsWith(key, {0x0d, 0x01, 0x02, 0x01, 0x01}, 8) && key[5] == 0x05 && key[13] >= 2 &&
           key[13] <= 4;
}
bool MXFTriplet::isHeader() const {
    return isPartition() && key[13] == 2;
}
bool MXFTriplet::isBody() const {
    return isPartition() && key[13] == 3;
}
bool MXFTriplet::isFooter() const {
    return isPartition() && key[13] == 4;
}
bool MXFTriplet::isFill() const {
    return startsWith(key, {0x03, 0x01, 0x02, 0x10, 0x01}, 8);
}
bool MXFTriplet::isPrimer() const {
    return startsWith(key, {0x0d, 0x01, 0x02, 0x01, 0x01, 0x05}, 8);
}
bool MXFTriplet::isIndex() const {
    return startsWith(key, {0x0d, 0x01, 0x02, 0x01, 0x01, 0x10}, 8);
}
bool MXFTriplet::isRandomIndex() const {
    return startsWith(key, {0x0d, 0x01, 0x02, 0x01, 0x01, 0x11}, 8);
}
bool MXFTriplet::isEssence() const {
    return startsWith(key, {0x0d, 0x01, 0x03, 0x01}, 8);
}
bool MXFTriplet::isSet(std::uint8_t kind) const {
    return startsWith(key, {0x0d, 0x01, 0x01, 0x01, 0x01, 0x01, kind}, 8);
}
bool MXFTriplet::isMetadata() const {
    return isPrimer() || startsWith(key, {0x0d, 0x01, 0x01, 0x01, 0x01, 0x01}, 8);
}

std::size_t MXFTriplet::property(std::uint16_t tag) const {
    for (std::size_t at = 0; at + 4 <= value.size(); at += 4 + number(value, at + 2, 2))
        if (number(value, at, 2) == tag)
            return at + 4;
    return 0;
}

void MXFTriplet::set(std::uint16_t tag, std::uint64_t content) {
    const std::size_t at = property(tag);
    if (at != 0)
        setNumber(value, at, number(value, at - 2, 2), content);
}

void MXFTriplet::put(std::uint16_t tag, const Bytes& bytes) {
    if (const std::size_t at = property(tag); at != 0) {
        const auto begin = value.begin() + static_cast<std::ptrdiff_t>(at);
        value.erase(begin - 4, begin + static_cast<std::ptrdiff_t>(number(value, at - 2, 2)));
    }
    const Bytes head = bigEndian(std::uint64_t{tag} << 16 | (bytes.size() & 0xffff), 4);
    value.insert(value.end(), head.begin(), head.end());
    value.insert(value.end(), bytes.begin(), bytes.end());
    lengthBytes = std::max<std::size_t>(lengthBytes, 4);
}

Bytes MXFTriplet::bytesOf(std::uint16_t tag) const {
    const std::size_t at = property(tag);
    const auto start = value.begin() + static_cast<std::ptrdiff_t>(at);
    return {start, start + static_cast<std::ptrdiff_t>(number(value, at - 2, 2))};
}

MXFFile::MXFFile(const Bytes& bytes) {
    for (std::size_t at = 0; at + 17 <= bytes.size();) {
        MXFTriplet triplet;
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), 16, triplet.key.begin());
        const std::uint8_t first = bytes[at + 16];
        triplet.lengthBytes = first < 0x80 ? 1 : 1 + (first & 0x7fU);
        const std::uint64_t length = first < 0x80 ? first : number(bytes, at + 17, triplet.lengthBytes - 1);
        const std::size_t start = at + 16 + triplet.lengthBytes;
        if (length > bytes.size() - start)
            throw std::runtime_error("a triplet runs past the end of the file");
        triplet.value.assign(bytes.begin() + static_cast<std::ptrdiff_t>(start),
                             bytes.begin() + static_cast<std::ptrdiff_t>(start + length));
        at = start + length;
        triplets.push_back(std::move(triplet));
    }
}

Bytes MXFFile::bytes() const {
    std::vector<MXFTriplet> out = triplets;
    struct Place {
        std::size_t index = 0;
        std::uint64_t offset = 0;
    };
    std::vector<Place> partitions;
    std::uint64_t offset = 0;
    for (std::size_t i = 0; i < out.size(); ++i) {
        if (out[i].isPartition())
            partitions.push_back({i, offset});
        offset += sizeOf(out[i]);
    }
    std::uint64_t footer = 0;
    std::uint64_t previous = 0;
    for (const Place& place : partitions)
        footer = out[place.index].isFooter() ? place.offset : footer;
    for (const Place& place : partitions) {
        Bytes& pack = out[place.index].value;
        setNumber(pack, thisPartition, 8, place.offset);
        setNumber(pack, previousPartition, 8, previous);
        if (number(pack, footerPartition, 8) != 0)
            setNumber(pack, footerPartition, 8, footer);
        previous = place.offset;
        std::uint64_t metadata = 0;
        std::uint64_t index = 0;
        for (std::size_t i = place.index + 1; i < out.size() && !out[i].isPartition(); ++i) {
            if (out[i].isEssence() || out[i].isRandomIndex())
                break;
            if (out[i].isIndex() || index != 0)
                index += sizeOf(out[i]);
            else if (out[i].isPrimer() || metadata != 0)
                metadata += sizeOf(out[i]);
        }
        setNumber(pack, headerByteCount, 8, metadata);
        setNumber(pack, indexByteCount, 8, index);
    }
    for (MXFTriplet& triplet : out) {
        if (!triplet.isRandomIndex())
            continue;
        Bytes entries;
        for (const Place& place : partitions) {
            const Bytes& pack = out[place.index].value;
            entries.insert(entries.end(), pack.begin() + bodySID, pack.begin() + bodySID + 4);
            entries.resize(entries.size() + 8);
            setNumber(entries, entries.size() - 8, 8, place.offset);
        }
        entries.resize(entries.size() + 4);
        triplet.value = entries;
        triplet.lengthBytes = std::max<std::size_t>(triplet.lengthBytes, entries.size() < 128 ? 1 : 4);
        setNumber(triplet.value, entries.size() - 4, 4, sizeOf(triplet));
    }
    Bytes result = runIn;
    for (const MXFTriplet& triplet : out)
        append(result, triplet);
    if (closing)
        closing(result);
    return result;
}

void MXFFile::setAll(std::uint8_t kind, std::uint16_t tag, std::uint64_t content) {
    for (MXFTriplet* set : sets(kind))
        set->set(tag, content);
}

std::vector<MXFTriplet*> MXFFile::sets(std::uint8_t kind) {
    std::vector<MXFTriplet*> found;
    for (MXFTriplet& triplet : triplets)
        if (triplet.isSet(kind))
            found.push_back(&triplet);
    return found;
}

void MXFFile::setLengthBytes(std::size_t lengthBytes) {
    std::size_t grown = 0;
    for (MXFTriplet& triplet : triplets) {
        if (triplet.isPartition())
            grown = 0;
        grown += lengthBytes - triplet.lengthBytes;
        triplet.lengthBytes = lengthBytes;
        if (triplet.isFill() && triplet.value.size() >= grown) {
            triplet.value.resize(triplet.value.size() - grown);
            grown = 0;
        }
    }
}

MXFTriplet darkTriplet(std::size_t bytes) {
    MXFTriplet triplet;
    triplet.key = {0x06, 0x0e, 0x2b, 0x34, 0x02, 0x53, 0x01, 0x01,
                   0x0e, 0x06, 0x01, 0x7f, 0x03, 0x01, 0x05, 0x00};
    triplet.value.assign(bytes, 0x5a);
    return triplet;
}

Bytes bigEndian(std::uint64_t value, std::size_t size) {
    Bytes bytes(size);
    setNumber(bytes, 0, size, value);
    return bytes;
}

MXFTriplet metadataSet(std::uint8_t kind, std::uint8_t name,
                       const std::vector<std::pair<std::uint16_t, Bytes>>& properties) {
    MXFTriplet set;
    set.key = {0x06, 0x0e, 0x2b, 0x34, 2, 0x53, 1, 1, 0x0d, 1, 1, 1, 1, 1, kind, 0};
    set.put(0x3c0a, Bytes(16, name));
    for (const auto& [tag, bytes] : properties)
        set.put(tag, bytes);
    return set;
}

Bytes references(const std::vector<MXFTriplet>& sets) {
    Bytes list = bigEndian(std::uint64_t{sets.size()} << 32 | 16, 8);
    for (const MXFTriplet& set : sets) {
        const Bytes name = set.bytesOf(0x3c0a);
        list.insert(list.end(), name.begin(), name.end());
    }
    return list;
}

} // namespace test
