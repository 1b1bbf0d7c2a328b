// SPDX-License-Identifier: GPL-3.0-or-later
// One track of a movie being written: where its samples lie, how long they are, what of them is shown.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "media/base/error.h"
#include "media/quicktime/writer/spilled_table.h"
#include "media/track/container.h"

namespace media::quicktime {

/// Filled while samples come, then read once for the `moov`. Runs and spilled tables keep it small for any
/// length. Throws Error when a table would outgrow its 32-bit count.
struct WrittenTrack {
    WrittenTrack(SpillFile& spill, MediaType type, std::int64_t ticksPerSecond)
        : mediaType(type), timescale(ticksPerSecond), sizes(spill, SpilledTable::Width::four),
          chunkOffsets(spill, SpilledTable::Width::eight), durations(spill), samplesPerChunk(spill) {}

    void addSample(std::uint32_t size, std::uint64_t duration) {
        countSamples(1);
        sizes.append(size);
        durations.append(duration);
        mediaDuration += duration;
    }
    /// Linear PCM: every frame is a sample.
    void addFrames(std::uint64_t count, std::uint32_t bytesPerFrame, std::uint32_t ticksPerFrame) {
        countSamples(count);
        frameSize = bytesPerFrame;
        durations.append(ticksPerFrame, count);
        mediaDuration += count * ticksPerFrame;
    }
    void addChunk(std::uint64_t offset, std::uint64_t samples) {
        chunkOffsets.append(offset);
        samplesPerChunk.append(samples);
    }
    /// Makes the last sample longer so that the media lasts at least `ticks`.
    void lengthen(std::uint64_t ticks) {
        if (durations.empty() || mediaDuration >= ticks)
            return;
        durations.replaceLast(durations.last() + (ticks - mediaDuration));
        mediaDuration = ticks;
    }

    MediaType mediaType;
    FourCC handler = 0;                 ///< component subtype of the media
    std::int64_t timescale;             ///< of the media, at most 2^32 - 1
    std::vector<std::byte> sampleEntry; ///< the one sample description, whole
    std::vector<Edit> edits;            ///< gapless from time zero
    bool hidesPriming = false;          ///< AAC: mark the packets as needing the one before
    std::uint64_t sampleCount = 0;
    std::uint32_t frameSize = 0; ///< linear PCM: bytes a frame, which is a sample
    SpilledTable sizes;          ///< of samples, unless they are PCM frames
    SpilledTable chunkOffsets;
    SpilledRuns durations; ///< of samples, ticks
    SpilledRuns samplesPerChunk;
    std::uint64_t mediaDuration = 0; ///< ticks

  private:
    void countSamples(std::uint64_t count) {
        sampleCount += count;
        if (sampleCount > std::numeric_limits<std::uint32_t>::max())
            throw Error(Error::Category::unsupported,
                        "The copy can't be written: a track is longer than a movie can hold.");
    }
};

} // namespace media::quicktime
