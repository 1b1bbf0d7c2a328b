// SPDX-License-Identifier: GPL-3.0-or-later
// Index tables: from an edit unit to its place in the essence container (SMPTE ST 377-1, 11). Only the
// segments' heads are kept; entries are read where they lie, a window at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "media/mxf/local_set.h"

namespace media::mxf {

/// The place of one element in every edit unit.
struct ElementPlace {
    std::uint8_t slice = 0;
    std::uint32_t delta = 0; ///< bytes from the start of the slice
};

struct IndexSegment {
    std::int64_t start = 0;
    std::int64_t duration = 0;   ///< edit units; 0 to the end of the container
    std::uint32_t unitBytes = 0; ///< constant size of an edit unit, or 0
    std::uint32_t bodySID = 0;
    std::uint32_t indexSID = 0;
    std::uint64_t constantBase = 0; ///< constant units: stream offset of the first one
    std::uint64_t entries = 0;      ///< file offset of the first entry
    std::uint64_t entryCount = 0;
    std::uint32_t entryBytes = 0;
    std::uint32_t entriesPerUnit = 1; ///< 2 where fields have entries of their own
    std::uint8_t slices = 0;          ///< beyond the first
    std::vector<ElementPlace> places; ///< of the elements of an edit unit, in order
};

/// The segments that index one container. Immutable.
class IndexTable {
  public:
    /// Collects them from the partitions; segments that contradict themselves are left out.
    IndexTable(const io::ByteSource& source, std::span<const Partition> partitions, std::uint32_t bodySID,
               std::uint32_t indexSID);

    [[nodiscard]] bool empty() const noexcept { return segments_.empty(); }
    /// The segment that holds an edit unit.
    [[nodiscard]] const IndexSegment* segment(std::int64_t unit) const;
    /// Stream offset of an edit unit, or of one of its elements; none where the table has no answer.
    /// `entries` is the caller's window on the file.
    [[nodiscard]] std::optional<std::uint64_t> offset(KlvReader& entries, std::int64_t unit,
                                                      std::optional<ElementPlace> place = std::nullopt) const;
    /// Edit units that the segments cover from the first on; 0 when the table does not say.
    [[nodiscard]] std::int64_t units() const;

  private:
    std::vector<IndexSegment> segments_; ///< by start, none inside another
};

} // namespace media::mxf
