// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/table_walker.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "media/base/checked.h"

namespace media::quicktime {

TableWalker::TableWalker(std::shared_ptr<const io::ByteSource> source, const SampleTable& table,
                         std::vector<PacketLayout> layouts)
    : source_(std::move(source)), table_(table), layouts_(std::move(layouts)),
      times_(*source_, table.timeToSample), chunks_(*source_, table.sampleToChunk),
      offsets_(*source_, table.chunkOffsets), sizes_(*source_, table.sizes) {
    if (table_.sampleCount > 0 && (!table_.sampleToChunk.present() || !table_.chunkOffsets.present()))
        throw Error(Error::Category::corrupt, "The movie's sample tables are incomplete.");
}

std::optional<SampleRun> TableWalker::next() {
    while (sample_ < table_.sampleCount) {
        if (leftInChunk_ == 0 && !nextChunk())
            return std::nullopt;
        settleDuration();
        const std::uint64_t samples =
            std::min({leftInChunk_, durationLeft_, static_cast<std::uint64_t>(table_.sampleCount) - sample_});
        SampleRun run;
        run.offset = offset_;
        run.time = time_;
        run.duration = duration_;
        run.formatIndex = formatIndex_;
        std::uint64_t passed = samples;
        const PacketLayout packets = layout();
        if (packets.fixed()) {
            run.count = (samples + packets.frames - 1) / packets.frames;
            run.size = packets.bytes;
            run.duration = io::checkedMultiply<std::int64_t>(duration_, packets.frames);
        } else if (table_.constantSize != 0) {
            run.count = samples;
            run.size = table_.constantSize;
        } else {
            run.count = passed = 1;
            run.size = static_cast<std::uint32_t>(sizes_.number(static_cast<std::uint32_t>(sample_)));
        }
        const std::uint64_t bytes = io::checkedMultiply<std::uint64_t>(run.count, run.size);
        pass(passed);
        offset_ = io::checkedAdd(offset_, bytes);
        leftInChunk_ -= passed;
        if (run.size != 0)
            return run;
    }
    return std::nullopt;
}

void TableWalker::seek(std::int64_t time) {
    rewind();
    // Find the sample first, by the durations alone.
    while (sample_ < table_.sampleCount) {
        settleDuration();
        const std::uint64_t samples =
            std::min(durationLeft_, static_cast<std::uint64_t>(table_.sampleCount) - sample_);
        const platform::Wide end = platform::Wide{time_} + platform::Wide{duration_} * samples;
        if (end > time && duration_ > 0) {
            pass(time > time_
                     ? static_cast<std::uint64_t>(time - time_) / static_cast<std::uint64_t>(duration_)
                     : 0);
            break;
        }
        pass(samples);
    }
    goToSample(sample_);
}

void TableWalker::seekSample(std::uint64_t sample) {
    rewind();
    while (sample_ < std::min<std::uint64_t>(sample, table_.sampleCount)) {
        settleDuration();
        pass(std::min(durationLeft_, std::min<std::uint64_t>(sample, table_.sampleCount) - sample_));
    }
    goToSample(sample_);
}

void TableWalker::rewind() {
    sample_ = 0;
    timeEntry_ = 0;
    durationLeft_ = 0;
    duration_ = 0;
    time_ = 0;
    chunkEntry_ = 0;
    chunk_ = 0;
    chunkRunEnd_ = 0;
    leftInChunk_ = 0;
}

void TableWalker::goToSample(std::uint64_t sample) {
    if (sample >= table_.sampleCount)
        return;
    std::uint64_t first = 0; // sample of chunk_
    while (true) {
        if (chunk_ == chunkRunEnd_ && !nextChunkRun()) {
            sample_ = table_.sampleCount;
            return;
        }
        const std::uint64_t inRun = std::uint64_t{chunkRunEnd_ - chunk_} * samplesPerChunk_;
        if (sample - first < inRun)
            break;
        first += inRun;
        chunk_ = chunkRunEnd_;
    }
    const std::uint64_t chunks = (sample - first) / samplesPerChunk_;
    chunk_ += static_cast<std::uint32_t>(chunks);
    first += chunks * samplesPerChunk_;
    if (!nextChunk())
        return;
    // Within the chunk: fixed packets begin at multiples of their frames.
    std::uint64_t skipped = sample - first;
    const PacketLayout packets = layout();
    if (packets.fixed()) {
        const std::uint64_t back = skipped % packets.frames;
        skipped -= back;
        sample_ -= back;
        durationLeft_ += back;
        time_ -= static_cast<std::int64_t>(back) * duration_;
    }
    const std::uint64_t begin = first;
    if (packets.fixed()) {
        offset_ = io::checkedAdd(offset_,
                                 io::checkedMultiply<std::uint64_t>(skipped / packets.frames, packets.bytes));
    } else if (table_.constantSize != 0) {
        offset_ = io::checkedAdd(offset_, io::checkedMultiply<std::uint64_t>(skipped, table_.constantSize));
    } else {
        for (std::uint64_t i = 0; i < skipped; ++i)
            offset_ = io::checkedAdd(offset_, sizes_.number(static_cast<std::uint32_t>(begin + i)));
    }
    leftInChunk_ -= skipped;
}

bool TableWalker::nextChunk() {
    while (leftInChunk_ == 0) {
        if (chunk_ == chunkRunEnd_ && !nextChunkRun())
            return false;
        offset_ = offsets_.number(chunk_++);
        leftInChunk_ = samplesPerChunk_;
    }
    return true;
}

bool TableWalker::nextChunkRun() {
    // Chunks that the file states but does not hold are counted, so that reaching one fails loudly.
    const std::uint32_t chunks = table_.chunkOffsets.declared;
    while (chunkEntry_ < chunks_.count() && chunk_ < chunks) {
        io::ByteReader entry = chunks_.entry(chunkEntry_++);
        entry.skip(4);
        samplesPerChunk_ = entry.u32();
        const std::uint32_t description = entry.u32();
        formatIndex_ = description == 0 ? 0 : description - 1;
        chunkRunEnd_ = chunks;
        if (chunkEntry_ < chunks_.count()) {
            const std::uint32_t next = chunks_.entry(chunkEntry_).u32();
            // An entry that doesn't rise above this one replaces it.
            chunkRunEnd_ = next == 0 ? chunk_ : std::clamp(next - 1, chunk_, chunks);
        }
        if (samplesPerChunk_ == 0)
            chunk_ = chunkRunEnd_;
        if (chunk_ < chunkRunEnd_)
            return true;
    }
    chunkRunEnd_ = chunk_;
    return false;
}

void TableWalker::settleDuration() {
    while (durationLeft_ == 0) {
        if (timeEntry_ >= times_.count()) {
            durationLeft_ = std::numeric_limits<std::uint64_t>::max() / 2; // the last duration repeats
            return;
        }
        io::ByteReader entry = times_.entry(timeEntry_++);
        durationLeft_ = entry.u32();
        duration_ = sampleDuration(entry.u32());
    }
}

PacketLayout TableWalker::layout() const {
    return formatIndex_ < layouts_.size() ? layouts_[formatIndex_] : PacketLayout{};
}

void TableWalker::pass(std::uint64_t samples) {
    sample_ += samples;
    durationLeft_ -= samples;
    time_ = io::checked<std::int64_t>(platform::Wide{time_} + platform::Wide{duration_} * samples);
}

} // namespace media::quicktime
