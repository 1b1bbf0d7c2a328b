// SPDX-License-Identifier: GPL-3.0-or-later
// One track's part of a movie fragment (`traf`; ISO/IEC 14496-12, 8.8) and the samples in it.
#pragma once

#include <optional>
#include <vector>

#include "media/quicktime/box.h"
#include "media/quicktime/reader/movie_header.h"
#include "media/quicktime/reader/sample_run.h"

namespace media::quicktime {

/// `tfhd`, `tfdt` and the places of the `trun` rows.
struct TrackFragment {
    /// A `trun` box.
    struct Run {
        std::uint32_t count = 0;
        std::uint32_t flags = 0;
        std::int32_t dataOffset = 0; ///< from the base, where the flags have it
        std::uint64_t rows = 0;      ///< place of the first row in the file
    };
    std::uint32_t trackID = 0;
    std::optional<std::uint64_t> baseOffset; ///< in the file
    bool baseIsFragment = false;             ///< offsets count from the start of `moof`
    bool durationIsEmpty = false;            ///< no samples, but time passes
    std::optional<std::uint32_t> descriptionIndex;
    std::optional<std::uint32_t> duration; ///< of samples that have none of their own
    std::optional<std::uint32_t> size;
    std::optional<std::uint64_t> decodeTime;
    std::vector<Run> runs;
};

/// Reads the boxes in `traf`. Rows that a `trun` states but does not hold are left out. Throws Error.
[[nodiscard]] TrackFragment readTrackFragment(Window& window, const Box& traf);

/// The samples of one track fragment in order. Those that lie past the end of the file are left out: a
/// recording that broke off ends in the middle of a fragment.
class FragmentSamples {
  public:
    /// `window`: onto the `traf`, must outlive this. `base`: where data offsets count from; `time`: of the
    /// first sample, in track ticks.
    FragmentSamples(Window& window, TrackFragment fragment, const FragmentDefaults& defaults,
                    std::uint64_t base, std::int64_t time, std::uint64_t fileSize);

    /// The next run; samples without bytes are passed over, their time is not. Throws Error.
    [[nodiscard]] std::optional<SampleRun> next();
    /// Composition offset of the last run's first sample, track ticks.
    [[nodiscard]] std::int64_t compositionOffset() const noexcept { return compositionOffset_; }
    /// Where the next sample would lie, and when it would start.
    [[nodiscard]] std::uint64_t dataEnd() const noexcept { return offset_; }
    [[nodiscard]] std::int64_t time() const noexcept { return time_; }

  private:
    SampleRun readRow(const TrackFragment::Run& run);

    Window* window_;
    TrackFragment fragment_;
    std::uint32_t duration_;
    std::uint32_t size_;
    std::size_t formatIndex_;
    std::uint64_t base_;
    std::uint64_t fileSize_;
    std::size_t run_ = 0;
    std::uint32_t row_ = 0;
    std::uint64_t offset_;
    std::int64_t time_;
    std::int64_t compositionOffset_ = 0;
};

} // namespace media::quicktime
