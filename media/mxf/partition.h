// SPDX-License-Identifier: GPL-3.0-or-later
// Partitions of an MXF file: their packs, and where in the file they lie (SMPTE ST 377-1, 7 and 12).
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "media/mxf/klv.h"

namespace media::mxf {

/// A partition pack. Offsets into the file are absolute here: the run-in is already added to those that the
/// file counts from its header pack.
struct Partition {
    KeyKind kind = KeyKind::headerPartition;
    bool closed = false;   ///< its values are final
    bool complete = false; ///< its metadata lacks no value
    std::uint64_t offset = 0;
    std::uint64_t end = 0;      ///< first byte after the pack
    std::uint64_t previous = 0; ///< 0 relative to the run-in in a header
    std::uint64_t footer = 0;   ///< the run-in alone when unknown
    std::uint64_t headerBytes = 0;
    std::uint32_t indexSID = 0; ///< 0: no index segments here
    std::uint32_t bodySID = 0;  ///< 0: no essence here
    std::uint64_t bodyOffset = 0;
};

/// The partition pack at `offset`; none when there is no readable one.
[[nodiscard]] std::optional<Partition> partitionAt(KlvReader& reader, std::uint64_t offset,
                                                   std::uint64_t runIn);

/// What follows a partition pack: where its index segments lie, and where its essence starts.
struct PartitionContent {
    std::vector<Klv> indexSegments;
    std::uint64_t essenceStart = 0;
};
[[nodiscard]] PartitionContent contentOf(KlvReader& reader, const Partition& partition);

/// The offset of the header partition pack behind at most 64 KiB of run-in; none when the file has none.
[[nodiscard]] std::optional<std::uint64_t> findHeaderPartition(const io::ByteSource& source);

/// What the two ends of a file say about its partitions. Costs the same however long the file is.
class FileLayout {
  public:
    /// Throws Error when there is no header partition.
    explicit FileLayout(const io::ByteSource& source);

    [[nodiscard]] std::uint64_t runIn() const noexcept { return runIn_; }
    [[nodiscard]] const Partition& header() const noexcept { return header_; }
    /// None in a recording that was cut off.
    [[nodiscard]] const std::optional<Partition>& footer() const noexcept { return footer_; }

    /// Every partition in file order, as far as the random index pack or the chain of previous partitions
    /// tells; the first one is always the header.
    [[nodiscard]] std::vector<Partition> partitions() const;

  private:
    /// Where the random index pack lists its entries.
    struct RandomIndex {
        std::uint64_t entries = 0; ///< file offset
        std::uint64_t count = 0;
    };
    void readRandomIndex(KlvReader& tail);
    void findFooter(KlvReader& tail);
    [[nodiscard]] std::optional<Partition> footerAt(KlvReader& reader, std::uint64_t offset) const;
    [[nodiscard]] std::optional<Partition> searchFooter() const;
    [[nodiscard]] std::vector<Partition> listed() const;
    [[nodiscard]] std::vector<Partition> chained() const;

    const io::ByteSource* source_;
    std::uint64_t runIn_ = 0;
    Partition header_;
    std::optional<Partition> footer_;
    std::optional<RandomIndex> randomIndex_;
};

} // namespace media::mxf
