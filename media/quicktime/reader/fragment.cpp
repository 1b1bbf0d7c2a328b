// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/fragment.h"

#include <algorithm>
#include <utility>

#include "media/base/checked.h"

namespace media::quicktime {

namespace {

// Flags of `tfhd`.
constexpr std::uint32_t hasBaseOffset = 1;
constexpr std::uint32_t hasDescriptionIndex = 2;
constexpr std::uint32_t hasDefaultDuration = 8;
constexpr std::uint32_t hasDefaultSize = 0x10;
constexpr std::uint32_t durationIsEmpty = 0x10000;
constexpr std::uint32_t baseIsFragment = 0x20000;

// Flags of `trun`.
constexpr std::uint32_t hasDataOffset = 1;
constexpr std::uint32_t hasFirstSampleFlags = 4;
constexpr std::uint32_t hasDuration = 0x100;
constexpr std::uint32_t hasSize = 0x200;
constexpr std::uint32_t hasSampleFlags = 0x400;
constexpr std::uint32_t hasCompositionOffset = 0x800;

constexpr std::size_t mostRuns = 65'536;

std::uint32_t rowBytes(std::uint32_t flags) {
    std::uint32_t fields = 0;
    for (const std::uint32_t field : {hasDuration, hasSize, hasSampleFlags, hasCompositionOffset})
        fields += (flags & field) != 0 ? 1 : 0;
    return 4 * fields;
}

void readHeader(io::ByteReader reader, TrackFragment& fragment) {
    const FullBoxHeader head(reader);
    fragment.trackID = reader.u32();
    fragment.durationIsEmpty = (head.flags & durationIsEmpty) != 0;
    fragment.baseIsFragment = (head.flags & baseIsFragment) != 0;
    if ((head.flags & hasBaseOffset) != 0)
        fragment.baseOffset = reader.u64();
    if ((head.flags & hasDescriptionIndex) != 0)
        fragment.descriptionIndex = reader.u32();
    if ((head.flags & hasDefaultDuration) != 0)
        fragment.duration = reader.u32();
    if ((head.flags & hasDefaultSize) != 0)
        fragment.size = reader.u32();
}

TrackFragment::Run readRun(Window& window, const Box& trun) {
    constexpr std::size_t longestHead = 16;
    io::ByteReader reader = payload(window, trun, longestHead);
    const FullBoxHeader head(reader);
    TrackFragment::Run run;
    run.flags = head.flags;
    run.count = reader.u32();
    if ((head.flags & hasDataOffset) != 0)
        run.dataOffset = reader.i32();
    if ((head.flags & hasFirstSampleFlags) != 0)
        reader.skip(4);
    run.rows = trun.begin + reader.position();
    if (const std::uint32_t bytes = rowBytes(head.flags); bytes != 0)
        run.count =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(run.count, (trun.end - run.rows) / bytes));
    return run;
}

} // namespace

TrackFragment readTrackFragment(Window& window, const Box& traf) {
    TrackFragment fragment;
    BoxWalk boxes(window, traf);
    while (const auto box = boxes.next()) {
        switch (box->type) {
        case fourCC("tfhd"):
            readHeader(payload(window, *box, 64), fragment);
            break;
        case fourCC("tfdt"): {
            io::ByteReader reader = payload(window, *box, 12);
            const FullBoxHeader head(reader);
            fragment.decodeTime = head.version == 1 ? reader.u64() : reader.u32();
            break;
        }
        case fourCC("trun"):
            if (fragment.runs.size() == mostRuns)
                throw Error(Error::Category::corrupt,
                            "A fragment of the movie has more runs than any real one.");
            fragment.runs.push_back(readRun(window, *box));
            break;
        default:
            break;
        }
    }
    return fragment;
}

FragmentSamples::FragmentSamples(Window& window, TrackFragment fragment, const FragmentDefaults& defaults,
                                 std::uint64_t base, std::int64_t time, std::uint64_t fileSize)
    : window_(&window), fragment_(std::move(fragment)),
      duration_(fragment_.duration.value_or(defaults.duration)),
      size_(fragment_.size.value_or(defaults.size)), base_(base), fileSize_(fileSize), offset_(base),
      time_(time) {
    const std::uint32_t description = fragment_.descriptionIndex.value_or(defaults.descriptionIndex);
    formatIndex_ = description == 0 ? 0 : description - 1;
    if (fragment_.durationIsEmpty && fragment_.runs.empty())
        time_ = io::checkedAdd<std::int64_t>(time_, duration_);
}

SampleRun FragmentSamples::readRow(const TrackFragment::Run& run) {
    SampleRun row;
    row.count = 1;
    row.size = size_;
    row.duration = sampleDuration(duration_);
    const std::uint32_t bytes = rowBytes(run.flags);
    io::ByteReader reader(window_->at(run.rows + std::uint64_t{row_} * bytes, bytes), fourCC("trun"));
    if ((run.flags & hasDuration) != 0)
        row.duration = sampleDuration(reader.u32());
    if ((run.flags & hasSize) != 0)
        row.size = reader.u32();
    if ((run.flags & hasSampleFlags) != 0)
        reader.skip(4);
    compositionOffset_ = (run.flags & hasCompositionOffset) != 0 ? reader.i32() : 0;
    ++row_;
    return row;
}

std::optional<SampleRun> FragmentSamples::next() {
    constexpr std::uint32_t differing = hasDuration | hasSize | hasCompositionOffset;
    while (run_ < fragment_.runs.size()) {
        const TrackFragment::Run& run = fragment_.runs[run_];
        if (row_ == 0 && (run.flags & hasDataOffset) != 0)
            offset_ = io::checked<std::uint64_t>(platform::Wide{base_} + run.dataOffset);
        if (row_ == run.count) {
            ++run_;
            row_ = 0;
            continue;
        }
        SampleRun found;
        if ((run.flags & differing) != 0) {
            found = readRow(run);
        } else {
            found.count = run.count;
            found.size = size_;
            found.duration = sampleDuration(duration_);
            compositionOffset_ = 0;
            row_ = run.count;
        }
        found.offset = offset_;
        found.time = time_;
        found.formatIndex = formatIndex_;
        found.inFragment = true;
        offset_ = io::checkedAdd(offset_, io::checkedMultiply<std::uint64_t>(found.count, found.size));
        if (offset_ > fileSize_) {
            run_ = fragment_.runs.size();
            found.count = found.offset < fileSize_ ? (fileSize_ - found.offset) / found.size : 0;
        }
        time_ =
            io::checked<std::int64_t>(platform::Wide{time_} + platform::Wide{found.duration} * found.count);
        if (found.size != 0 && found.count != 0)
            return found;
    }
    return std::nullopt;
}

} // namespace media::quicktime
