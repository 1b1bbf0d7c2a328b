// SPDX-License-Identifier: GPL-3.0-or-later
// Where a track's sample tables lie in the file (ISO/IEC 14496-12, 8.6 to 8.7). They stay in the file: a day
// of sound has millions of entries, and most of them are never needed.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "media/quicktime/box.h"

namespace media::quicktime {

/// The entries of one table, as a place in the header's source.
struct Table {
    std::uint64_t offset = 0;
    std::uint32_t count = 0;    ///< entries that lie in the box
    std::uint32_t declared = 0; ///< entries that the box states; more than `count` when it is cut
    std::uint32_t entryBits = 0;
    FourCC box = 0; ///< that it stands in

    [[nodiscard]] bool present() const noexcept { return entryBits != 0; }
    [[nodiscard]] std::uint64_t end() const noexcept {
        return offset + (std::uint64_t{count} * entryBits + 7) / 8;
    }
};

/// How often each sample duration occurs, in bounded memory: what comes beyond the first few dozen different
/// durations is only counted in the totals.
class DurationCounts {
  public:
    void add(std::int64_t duration, std::uint64_t samples);
    void add(const DurationCounts& other);
    /// Sum of all durations in track ticks. Throws Error (corrupt) when it does not fit.
    [[nodiscard]] std::int64_t ticks() const { return ticks_; }
    [[nodiscard]] std::uint64_t samples() const noexcept { return samples_; }
    /// The most frequent duration above zero and its number of samples.
    struct Mode {
        std::int64_t duration = 0;
        std::uint64_t samples = 0;
    };
    [[nodiscard]] Mode mode() const;

  private:
    std::array<Mode, 64> counts_{};
    std::size_t used_ = 0;
    std::int64_t ticks_ = 0;
    std::uint64_t samples_ = 0;
};

/// What `stbl` says beside the sample descriptions.
struct SampleTable {
    Table timeToSample;       ///< `stts`: sample count, duration
    Table compositionOffsets; ///< `ctts`: sample count, offset
    Table sampleToChunk;      ///< `stsc`: first chunk, samples a chunk, description
    Table chunkOffsets;       ///< `stco` and `co64`
    Table sizes;              ///< `stsz` and `stz2` where the sizes differ
    bool hasSizes = false;
    std::uint32_t constantSize = 0; ///< bytes of every sample, or 0 when `sizes` tells
    std::uint32_t sampleCount = 0;
    bool hasRollGroups = false; ///< `sgpd` or `sbgp` of grouping type 'roll'

    std::int64_t firstDuration = 0; ///< ticks, of the first entry of `timeToSample`

    /// Takes note of a child of `stbl`; of two boxes of one type the first one counts.
    void read(Window& window, const Box& box);
    /// The durations of all samples: streams `timeToSample` once. Where the table holds fewer samples than
    /// there are, its last duration repeats; where it holds more, they don't count.
    [[nodiscard]] DurationCounts durations(const io::ByteSource& source) const;
    /// The least composition offset in decoding order that a sample near the track's start has against time
    /// zero: where its presentation begins, in track ticks.
    [[nodiscard]] std::int64_t presentationStart(const io::ByteSource& source) const;
};

/// A duration of `stts` or `trun`: some writers pull time back with small negative numbers.
[[nodiscard]] std::int64_t sampleDuration(std::uint32_t stored);

/// Entries of a table by their index, read through a window.
class TableReader {
  public:
    TableReader(const io::ByteSource& source, const Table& table);

    [[nodiscard]] std::uint32_t count() const noexcept { return table_.count; }
    /// The entry's bytes, valid until the next call. Throws Error (endOfData) for one that the file states
    /// but does not hold.
    [[nodiscard]] io::ByteReader entry(std::uint32_t index);
    /// An entry of 4, 8, 16, 32 or 64 bits as a number.
    [[nodiscard]] std::uint64_t number(std::uint32_t index);

  private:
    Table table_;
    Window window_;
};

} // namespace media::quicktime
