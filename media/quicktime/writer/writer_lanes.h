// SPDX-License-Identifier: GPL-3.0-or-later
// The lanes of a movie being written: each turns one track's samples into chunks and remembers its sample
// tables.
#pragma once

#include <memory>
#include <optional>

#include "media/quicktime/writer/asset_writer.h"
#include "media/quicktime/writer/chunk_sequencer.h"
#include "media/quicktime/writer/written_track.h"

namespace media {

/// One track being written. Failures go to the sequencer.
class WriterLane : public WriterInput {
  public:
    WriterLane(ChunkSequencer& sequencer, quicktime::SpillFile& spill, MediaType type, std::int64_t timescale)
        : track_(spill, type, timescale), spill_(spill), sequencer_(sequencer), number_(sequencer.addLane()) {
    }

    [[nodiscard]] bool hasRoom() const noexcept final { return sequencer_.hasRoom(number_); }
    [[nodiscard]] bool append(const SampleBuffer& buffer) noexcept final;
    void markAsFinished() noexcept final;

    /// Once the lane is finished: its track, complete with description and edits. A timecode track is made to
    /// end at `sessionEnd`.
    virtual quicktime::WrittenTrack& complete(const std::optional<Time>& sessionEnd) = 0;
    /// The sequencer's write: where the chunk lies.
    void chunkWritten(std::uint64_t offset, std::uint64_t samples) { track_.addChunk(offset, samples); }

  protected:
    virtual void take(const SampleBuffer& buffer) = 0;
    /// What is still held back at the end.
    virtual void end() {}

    /// Adds whole samples to the chunk being filled; `pushChunk` ends it.
    void addToChunk(std::span<const std::byte> bytes, std::uint64_t samples);
    void pushChunk();
    /// Bytes that a chunk should not pass.
    [[nodiscard]] std::size_t largestChunk();

    quicktime::WrittenTrack track_;
    quicktime::SpillFile& spill_;
    Chunk chunk_; ///< being filled

  private:
    template <typename Step>
    [[nodiscard]] bool guarded(Step step) noexcept;

    ChunkSequencer& sequencer_;
    std::size_t number_;
    std::uint64_t chunkStart_ = 0; ///< ticks
    std::size_t largestChunk_ = 0; ///< 0: not asked for yet
};

[[nodiscard]] std::unique_ptr<WriterLane> makeTimecodeLane(ChunkSequencer& sequencer,
                                                           quicktime::SpillFile& spill, const Track& source);
[[nodiscard]] std::unique_ptr<WriterLane> makeEncodedLane(ChunkSequencer& sequencer,
                                                          quicktime::SpillFile& spill,
                                                          std::unique_ptr<audio::Encoder> encoder);
/// `sampleEntry` is the source's sample description, if it has one.
[[nodiscard]] std::unique_ptr<WriterLane> makePassThroughLane(ChunkSequencer& sequencer,
                                                              quicktime::SpillFile& spill,
                                                              const AudioStreamDescription& format,
                                                              std::vector<std::byte> sampleEntry = {});

} // namespace media
