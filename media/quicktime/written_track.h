// SPDX-License-Identifier: GPL-3.0-or-later
// One track of a movie being written: where its samples lie, how long they are, what of them is shown.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "media/container.h"
#include "media/quicktime/spilled_table.h"

namespace media::quicktime {

/// Filled while samples come, then read once for the `moov`. Runs and spilled tables keep it small for any
/// length.
struct WrittenTrack {
    /// `count` equal entries in a row.
    struct Run {
        std::uint64_t count = 0;
        std::uint64_t value = 0;
    };

    WrittenTrack(SpillFile& spill, MediaType type, std::int64_t ticksPerSecond)
        : mediaType(type), timescale(ticksPerSecond), sizes(spill), chunkOffsets(spill) {}

    void addSample(std::uint32_t size, std::uint64_t duration) {
        sizes.append(size);
        extend(durations, duration, 1);
        mediaDuration += duration;
    }
    /// Linear PCM: every frame is a sample.
    void addFrames(std::uint64_t count, std::uint32_t bytesPerFrame) {
        frameSize = bytesPerFrame;
        frameCount += count;
        extend(durations, 1, count);
        mediaDuration += count;
    }
    void addChunk(std::uint64_t offset, std::uint64_t samples) {
        chunkOffsets.append(offset);
        extend(samplesPerChunk, samples, 1);
    }
    /// Makes the last sample longer so that the media lasts at least `ticks`.
    void lengthen(std::uint64_t ticks) {
        if (durations.empty() || mediaDuration >= ticks)
            return;
        const std::uint64_t last = durations.back().value + (ticks - mediaDuration);
        if (--durations.back().count == 0)
            durations.pop_back();
        extend(durations, last, 1);
        mediaDuration = ticks;
    }

    [[nodiscard]] std::uint64_t sampleCount() const noexcept {
        return frameSize > 0 ? frameCount : sizes.count();
    }

    MediaType mediaType;
    FourCC handler = 0;                 ///< component subtype of the media
    std::int64_t timescale;             ///< of the media, at most 2^32 - 1
    std::vector<std::byte> sampleEntry; ///< the one sample description, whole
    std::vector<Edit> edits;            ///< gapless from time zero
    bool hidesPriming = false;          ///< AAC: mark the packets as needing the one before
    SpilledTable sizes;
    SpilledTable chunkOffsets;
    std::vector<Run> durations;
    std::vector<Run> samplesPerChunk;
    std::uint64_t mediaDuration = 0; ///< ticks
    std::uint32_t frameSize = 0;     ///< linear PCM: bytes a frame
    std::uint64_t frameCount = 0;

  private:
    static void extend(std::vector<Run>& runs, std::uint64_t value, std::uint64_t count) {
        if (!runs.empty() && runs.back().value == value)
            runs.back().count += count;
        else
            runs.push_back({count, value});
    }
};

} // namespace media::quicktime
