// SPDX-License-Identifier: GPL-3.0-or-later
// Takes an MXF file apart into its triplets and writes it again with whatever was changed, offsets corrected:
// the way to the files that ffmpeg can't make.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test {

using Bytes = std::vector<std::uint8_t>;

[[nodiscard]] Bytes readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const Bytes& bytes);

/// Big-endian numbers in place.
[[nodiscard]] std::uint64_t number(const Bytes& bytes, std::size_t offset, std::size_t size);
void setNumber(Bytes& bytes, std::size_t offset, std::size_t size, std::uint64_t value);

struct MXFTriplet {
    std::array<std::uint8_t, 16> key{};
    Bytes value;
    std::size_t lengthBytes = 4; ///< 1 for lengths below 128, else 2 to 9

    [[nodiscard]] bool isPartition() const; ///< header, body or footer pack
    [[nodiscard]] bool isHeader() const;
    [[nodiscard]] bool isBody() const;
    [[nodiscard]] bool isFooter() const;
    [[nodiscard]] bool isFill() const;
    [[nodiscard]] bool isPrimer() const;
    [[nodiscard]] bool isIndex() const;
    [[nodiscard]] bool isRandomIndex() const;
    [[nodiscard]] bool isEssence() const;              ///< elements and system items
    [[nodiscard]] bool isSet(std::uint8_t kind) const; ///< a metadata set of this kind
    [[nodiscard]] bool isMetadata() const;             ///< primer or any metadata set

    /// The place of a local set's property in `value`, or 0 when it is not there.
    [[nodiscard]] std::size_t property(std::uint16_t tag) const;
    /// Overwrites a property that is there, with a number of its own size.
    void set(std::uint16_t tag, std::uint64_t number);
    /// Gives the set a property of any size, in place of one that it has.
    void put(std::uint16_t tag, const Bytes& bytes);
    [[nodiscard]] Bytes bytesOf(std::uint16_t tag) const;
};

struct MXFFile {
    Bytes runIn;
    std::vector<MXFTriplet> triplets;
    std::function<void(Bytes&)> closing; ///< a last change to the finished bytes

    explicit MXFFile(const Bytes& bytes);
    explicit MXFFile(const std::filesystem::path& path) : MXFFile(readFile(path)) {}

    /// The file's bytes. Partition packs and the random index pack get the offsets and byte counts that are
    /// right for where things lie now; a footer offset of 0 stays 0.
    [[nodiscard]] Bytes bytes() const;

    /// Sets a property of every set of one kind, in every copy of the metadata.
    void setAll(std::uint8_t kind, std::uint16_t tag, std::uint64_t number);
    /// The first triplet that a predicate picks: first(&MXFTriplet::isBody). And all of a set's kind.
    template <typename Predicate>
    [[nodiscard]] auto first(Predicate&& predicate) {
        return std::ranges::find_if(triplets, predicate);
    }
    [[nodiscard]] std::vector<MXFTriplet*> sets(std::uint8_t kind);
    /// Removes what a predicate picks.
    template <typename Predicate>
    void remove(Predicate&& predicate) {
        std::erase_if(triplets, std::bind_front(std::forward<Predicate>(predicate)));
    }
    /// Makes every length take `lengthBytes` bytes; fill shrinks so that essence keeps its places.
    void setLengthBytes(std::size_t lengthBytes);
};

/// A triplet without content.
[[nodiscard]] MXFTriplet darkTriplet(std::size_t bytes);
/// A number's bytes.
[[nodiscard]] Bytes bigEndian(std::uint64_t value, std::size_t size);
/// A metadata set with a name of its own, and the content of a property that refers to sets.
[[nodiscard]] MXFTriplet metadataSet(std::uint8_t kind, std::uint8_t name,
                                     const std::vector<std::pair<std::uint16_t, Bytes>>& properties);
[[nodiscard]] Bytes references(const std::vector<MXFTriplet>& sets);

} // namespace test
