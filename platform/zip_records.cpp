// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/zip_records.h"

#include <algorithm>
#include <concepts>
#include <span>

#include <sys/stat.h>

namespace platform {

namespace {

/// What a field of 32 or 16 bits states when zip64's has the number (4.4.1.4).
constexpr std::uint64_t in64Bits = 0xFFFF'FFFF;
constexpr std::uint64_t in64BitsOf16 = 0xFFFF;

constexpr std::uint16_t plainVersion = 20; // folders and deflating
constexpr std::uint16_t zip64Version = 45;
constexpr std::uint16_t zip64Extra = 0x0001;

class LittleEndianWriter {
  public:
    template <std::unsigned_integral Number>
    void put(Number number) {
        for (std::size_t byte = 0; byte < sizeof number; ++byte)
            bytes_.push_back(static_cast<std::byte>(number >> 8 * byte & 0xFF));
    }
    void u16(std::uint64_t number) { put(static_cast<std::uint16_t>(number)); }
    void u32(std::uint64_t number) { put(static_cast<std::uint32_t>(number)); }
    void u64(std::uint64_t number) { put(number); }
    /// A size or place, or that it stands in zip64's field.
    void short32(std::uint64_t number) { u32(std::min(number, in64Bits)); }
    void raw(std::span<const std::byte> bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
    void text(const std::string& text) { raw(std::as_bytes(std::span(text))); }
    [[nodiscard]] std::vector<std::byte> take() { return std::move(bytes_); }

  private:
    std::vector<std::byte> bytes_;
};

bool isFolder(const ZipEntry& entry) {
    return entry.name.ends_with('/');
}

/// Can one of the sizes pass 32 bits? Deflating makes some files larger (by 5 bytes in 16,383, RFC 1951).
bool mayBeLarge(const ZipEntry& entry) {
    return entry.size + (entry.isDeflated ? entry.size / 1'000 + 1'000 : 0) >= in64Bits;
}

/// Local time in steps of two seconds from 1980 to 2107, date above time (4.4.6): all that zip has by itself.
std::uint32_t dosTime(std::time_t time) {
    std::tm local{};
    if (::localtime_r(&time, &local) == nullptr || local.tm_year < 80)
        return 1U << 21 | 1U << 16;
    const auto bits = [](int value, int shift) { return static_cast<std::uint32_t>(value) << shift; };
    return bits(std::min(local.tm_year - 80, 127), 25) | bits(local.tm_mon + 1, 21) |
           bits(local.tm_mday, 16) | bits(local.tm_hour, 11) | bits(local.tm_min, 5) |
           bits(local.tm_sec / 2, 0);
}

/// Info-ZIP's extended timestamp: the modification time in seconds since 1970, which holds in every time
/// zone.
void putTimestamp(LittleEndianWriter& bytes, std::time_t time) {
    constexpr std::uint8_t modificationTime = 1;
    bytes.u16(0x5455);
    bytes.u16(5);
    bytes.put(modificationTime);
    bytes.u32(static_cast<std::uint64_t>(time));
}
constexpr std::uint64_t timestampSize = 9;

/// What both headers of an entry have from the version that extracts it to the extra fields' length.
void putCommon(LittleEndianWriter& bytes, const ZipEntry& entry, std::uint64_t sizeShown,
               std::uint64_t storedSizeShown, std::uint64_t zip64Fields) {
    constexpr std::uint16_t namesAreUTF8 = 1 << 11;
    constexpr std::uint16_t deflated = 8;
    bytes.u16(zip64Fields > 0 ? zip64Version : plainVersion);
    bytes.u16(namesAreUTF8);
    bytes.u16(entry.isDeflated ? deflated : 0);
    bytes.u32(dosTime(entry.modified));
    bytes.u32(entry.checkSum);
    bytes.short32(storedSizeShown);
    bytes.short32(sizeShown);
    bytes.u16(entry.name.size());
    bytes.u16(timestampSize + (zip64Fields > 0 ? 4 + 8 * zip64Fields : 0));
}

} // namespace

std::vector<std::byte> localHeader(const ZipEntry& entry) {
    const bool isLarge = mayBeLarge(entry);
    LittleEndianWriter bytes;
    bytes.u32(0x0403'4B50);
    if (isLarge)
        putCommon(bytes, entry, in64Bits, in64Bits, 2);
    else
        putCommon(bytes, entry, entry.size, entry.storedSize, 0);
    bytes.text(entry.name);
    putTimestamp(bytes, entry.modified);
    if (isLarge) {
        bytes.u16(zip64Extra);
        bytes.u16(16);
        bytes.u64(entry.size);
        bytes.u64(entry.storedSize);
    }
    return bytes.take();
}

std::vector<std::byte> directoryHeader(const ZipEntry& entry) {
    constexpr std::uint32_t folderOfDOS = 0x10;
    constexpr std::uint32_t madeOnUnix = 3 << 8;
    const std::uint32_t mode = isFolder(entry) ? S_IFDIR | 0755U : S_IFREG | 0644U;
    std::vector<std::uint64_t> inZip64; // in this order
    for (const std::uint64_t number : {entry.size, entry.storedSize, entry.start})
        if (number >= in64Bits)
            inZip64.push_back(number);
    LittleEndianWriter bytes;
    bytes.u32(0x0201'4B50);
    bytes.u16(madeOnUnix | zip64Version);
    putCommon(bytes, entry, entry.size, entry.storedSize, inZip64.size());
    bytes.u16(0); // no comment
    bytes.u16(0); // the archive's only file
    bytes.u16(0);
    bytes.u32(mode << 16 | (isFolder(entry) ? folderOfDOS : 0));
    bytes.short32(entry.start);
    bytes.text(entry.name);
    putTimestamp(bytes, entry.modified);
    if (!inZip64.empty()) {
        bytes.u16(zip64Extra);
        bytes.u16(8 * inZip64.size());
        for (const std::uint64_t number : inZip64)
            bytes.u64(number);
    }
    return bytes.take();
}

std::vector<std::byte> directoryEnd(std::uint64_t entries, std::uint64_t start, std::uint64_t size) {
    LittleEndianWriter bytes;
    if (entries >= in64BitsOf16 || start >= in64Bits || size >= in64Bits) {
        constexpr std::uint64_t restOfRecord = 44;
        bytes.u32(0x0606'4B50);
        bytes.u64(restOfRecord);
        bytes.u16(zip64Version);
        bytes.u16(zip64Version);
        bytes.u32(0); // this disk, and the directory's
        bytes.u32(0);
        for (const std::uint64_t number : {entries, entries, size, start})
            bytes.u64(number);
        bytes.u32(0x0706'4B50); // where that record is
        bytes.u32(0);
        bytes.u64(start + size);
        bytes.u32(1); // disk
    }
    bytes.u32(0x0605'4B50);
    bytes.u32(0);
    bytes.u16(std::min(entries, in64BitsOf16));
    bytes.u16(std::min(entries, in64BitsOf16));
    bytes.short32(size);
    bytes.short32(start);
    bytes.u16(0); // no comment
    return bytes.take();
}

} // namespace platform
