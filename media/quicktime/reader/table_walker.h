// SPDX-License-Identifier: GPL-3.0-or-later
// Walks the samples of a track's sample tables in runs, with a few small windows onto the tables.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "media/quicktime/reader/sample_description.h"
#include "media/quicktime/reader/sample_run.h"
#include "media/quicktime/reader/sample_table.h"

namespace media::quicktime {

class TableWalker {
  public:
    /// `source`: what the tables' places refer to. Throws Error (corrupt) when a table is missing.
    TableWalker(std::shared_ptr<const io::ByteSource> source, const SampleTable& table,
                std::vector<PacketLayout> layouts);

    /// The next run; none at the end. With a fixed packet layout the packets are the samples. Throws Error.
    [[nodiscard]] std::optional<SampleRun> next();
    /// Continues with the sample that holds `time` (track ticks), or at the end. Costs entries of the tables,
    /// not samples.
    void seek(std::int64_t time);
    /// Continues with a sample by its number from 0 on, or at the end.
    void seekSample(std::uint64_t sample);
    /// Continues with the first sample.
    void rewind();

  private:
    bool nextChunk();
    bool nextChunkRun();
    /// Makes the entry of `stts` that holds the next sample the current one.
    void settleDuration();
    [[nodiscard]] PacketLayout layout() const;
    void pass(std::uint64_t samples);
    void goToSample(std::uint64_t sample);

    std::shared_ptr<const io::ByteSource> source_;
    SampleTable table_;
    std::vector<PacketLayout> layouts_;
    TableReader times_;
    TableReader chunks_;
    TableReader offsets_;
    TableReader sizes_;

    std::uint64_t sample_ = 0; ///< next one
    std::uint32_t timeEntry_ = 0;
    std::uint64_t durationLeft_ = 0; ///< samples that still have duration_
    std::int64_t duration_ = 0;
    std::int64_t time_ = 0; ///< of sample_

    std::uint32_t chunkEntry_ = 0;
    std::uint32_t chunk_ = 0;       ///< next one, from 0
    std::uint32_t chunkRunEnd_ = 0; ///< chunks below it share the next two
    std::uint32_t samplesPerChunk_ = 0;
    std::size_t formatIndex_ = 0;
    std::uint64_t leftInChunk_ = 0;
    std::uint64_t offset_ = 0; ///< of sample_
};

} // namespace media::quicktime
