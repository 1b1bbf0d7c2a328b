// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/sample_table.h"

#include <algorithm>
#include <limits>

#include "media/base/checked.h"

namespace media::quicktime {

namespace {

constexpr std::size_t tableWindow = std::size_t{16} * 1024;

/// A full box of a count and that many entries.
Table countedTable(Window& window, const Box& box, std::uint32_t entryBits) {
    constexpr std::uint64_t head = 8;
    if (box.size() < head)
        return {};
    io::ByteReader reader(window.at(box.begin, head), box.type);
    reader.skip(4);
    Table table;
    table.declared = reader.u32();
    table.entryBits = entryBits;
    table.box = box.type;
    table.offset = box.begin + head;
    table.count = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(table.declared, (box.size() - head) * 8 / entryBits));
    return table;
}

bool isRoll(Window& window, const Box& box) {
    return box.size() >= 8 && io::ByteReader(window.at(box.begin + 4, 4)).u32() == fourCC("roll");
}

} // namespace

void DurationCounts::add(std::int64_t duration, std::uint64_t samples) {
    ticks_ = io::checked<std::int64_t>(platform::Wide{ticks_} + platform::Wide{duration} * samples);
    samples_ = io::checkedAdd(samples_, samples);
    const auto end = counts_.begin() + static_cast<std::ptrdiff_t>(used_);
    const auto known =
        std::find_if(counts_.begin(), end, [&](const Mode& mode) { return mode.duration == duration; });
    if (known != end)
        known->samples += samples;
    else if (used_ < counts_.size())
        counts_[used_++] = {duration, samples};
}

void DurationCounts::add(const DurationCounts& other) {
    const std::int64_t ticks = io::checkedAdd(ticks_, other.ticks_);
    const std::uint64_t samples = io::checkedAdd(samples_, other.samples_);
    for (std::size_t i = 0; i < other.used_; ++i)
        add(other.counts_[i].duration, other.counts_[i].samples);
    ticks_ = ticks; // with what lies beyond the counted durations
    samples_ = samples;
}

DurationCounts::Mode DurationCounts::mode() const {
    Mode best;
    for (std::size_t i = 0; i < used_; ++i)
        if (counts_[i].duration > 0 && counts_[i].samples > best.samples)
            best = counts_[i];
    return best;
}

std::int64_t sampleDuration(std::uint32_t stored) {
    // Ten seconds back at 48 kHz: beyond that a number is a long duration rather than a negative one.
    constexpr std::uint32_t smallestNegative = std::numeric_limits<std::uint32_t>::max() - 480'000;
    return stored > smallestNegative ? static_cast<std::int32_t>(stored) : std::int64_t{stored};
}

void SampleTable::read(Window& window, const Box& box) {
    const auto take = [&](Table& table, std::uint32_t entryBits) {
        if (!table.present())
            table = countedTable(window, box, entryBits);
    };
    switch (box.type) {
    case fourCC("stts"):
        take(timeToSample, 64);
        if (firstDuration == 0 && timeToSample.count > 0)
            firstDuration = sampleDuration(io::ByteReader(window.at(timeToSample.offset + 4, 4)).u32());
        break;
    case fourCC("ctts"):
        take(compositionOffsets, 64);
        break;
    case fourCC("stsc"):
        take(sampleToChunk, 96);
        break;
    case fourCC("stco"):
        take(chunkOffsets, 32);
        break;
    case fourCC("co64"):
        take(chunkOffsets, 64);
        break;
    case fourCC("stsz"):
    case fourCC("stz2"): {
        constexpr std::uint64_t head = 12;
        if (hasSizes || box.size() < head)
            break;
        io::ByteReader reader(window.at(box.begin, head), box.type);
        reader.skip(4);
        std::uint32_t entryBits = 32;
        if (box.type == fourCC("stsz")) {
            constantSize = reader.u32();
        } else {
            entryBits = reader.u32() & 0xFF;
            if (entryBits != 4 && entryBits != 8 && entryBits != 16)
                break;
        }
        hasSizes = true;
        sampleCount = reader.u32();
        if (constantSize == 0) {
            const auto held = static_cast<std::uint32_t>(
                std::min<std::uint64_t>(sampleCount, (box.size() - head) * 8 / entryBits));
            sizes = {box.begin + head, held, sampleCount, entryBits, box.type};
        }
        break;
    }
    case fourCC("sgpd"):
    case fourCC("sbgp"):
        hasRollGroups = hasRollGroups || isRoll(window, box);
        break;
    default:
        break;
    }
}

DurationCounts SampleTable::durations(const io::ByteSource& source) const {
    DurationCounts counts;
    TableReader entries(source, timeToSample);
    std::uint64_t left = sampleCount;
    std::int64_t duration = 0;
    for (std::uint32_t i = 0; i < entries.count() && left > 0; ++i) {
        io::ByteReader entry = entries.entry(i);
        const std::uint64_t samples = std::min<std::uint64_t>(entry.u32(), left);
        duration = sampleDuration(entry.u32());
        counts.add(duration, samples);
        left -= samples;
    }
    if (left > 0)
        counts.add(duration, left);
    return counts;
}

std::int64_t SampleTable::presentationStart(const io::ByteSource& source) const {
    constexpr std::uint32_t reorderingDepth = 64; // more samples than any codec reorders
    if (compositionOffsets.count == 0)
        return 0;
    TableReader offsets(source, compositionOffsets);
    TableReader times(source, timeToSample);
    std::int64_t least = std::numeric_limits<std::int64_t>::max();
    std::int64_t time = 0;
    std::uint32_t timeIndex = 0;
    std::uint64_t timeLeft = 0;
    std::int64_t duration = 0;
    std::uint32_t sample = 0;
    for (std::uint32_t i = 0; i < offsets.count() && sample < reorderingDepth; ++i) {
        io::ByteReader entry = offsets.entry(i);
        const std::uint32_t samples = entry.u32();
        const std::int64_t offset = entry.i32(); // QuickTime writes negative ones in version 0 too
        for (std::uint32_t j = 0; j < samples && sample < reorderingDepth; ++j, ++sample) {
            least = std::min(least, time + offset);
            while (timeLeft == 0 && timeIndex < times.count()) {
                io::ByteReader run = times.entry(timeIndex++);
                timeLeft = run.u32();
                duration = sampleDuration(run.u32());
            }
            time += duration;
            timeLeft -= timeLeft > 0 ? 1 : 0;
        }
    }
    return sample > 0 ? least : 0;
}

TableReader::TableReader(const io::ByteSource& source, const Table& table)
    : table_(table), window_(source, table.offset, table.end(), tableWindow) {}

io::ByteReader TableReader::entry(std::uint32_t index) {
    if (index >= table_.count)
        io::endsEarly(table_.box);
    const std::uint32_t bytes = table_.entryBits / 8;
    return io::ByteReader(window_.at(table_.offset + std::uint64_t{index} * bytes, bytes), table_.box);
}

std::uint64_t TableReader::number(std::uint32_t index) {
    switch (table_.entryBits) {
    case 4: {
        if (index >= table_.count)
            io::endsEarly(table_.box);
        const std::uint8_t pair = io::ByteReader(window_.at(table_.offset + index / 2, 1)).u8();
        return index % 2 == 0 ? pair >> 4 : pair & 0x0F;
    }
    case 8:
        return entry(index).u8();
    case 16:
        return entry(index).u16();
    case 64:
        return entry(index).u64();
    default:
        return entry(index).u32();
    }
}

} // namespace media::quicktime
