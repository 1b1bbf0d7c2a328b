// SPDX-License-Identifier: GPL-3.0-or-later
// Where the fragments of a movie lie: a few bytes for each track's part of each, nothing for a sample.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "media/quicktime/reader/fragment.h"
#include "media/quicktime/reader/movie_header.h"

namespace media::quicktime {

/// A track's part of one fragment.
struct FragmentPlace {
    std::uint64_t box = 0;  ///< of `traf` in the file
    std::uint64_t base = 0; ///< where its data offsets count from
    std::int64_t time = 0;  ///< of its first sample, track ticks
    std::int64_t end = 0;   ///< of its last one
};

/// One track's samples in fragments.
struct TrackFragments {
    FragmentDefaults defaults;
    std::vector<FragmentPlace> places; ///< in the order of their times
    std::int64_t end = 0;              ///< of the last sample, track ticks
    DurationCounts durations;
    std::int64_t presentationStart = 0; ///< least composition offset near the first sample
};

/// Walks the file's top level and reads its `moof` boxes, nothing else. `ends`: for each track where its
/// samples in the `moov` box end (track ticks), which is where fragments without a time of their own go on.
/// A fragment that the end of the file cuts ends the movie. Throws Error.
[[nodiscard]] std::vector<TrackFragments> indexFragments(const io::ByteSource& file, const MovieHeader& movie,
                                                         std::span<const std::int64_t> ends);

/// The samples of a track's fragments in order.
class FragmentWalker {
  public:
    /// `fragments` must outlive this.
    FragmentWalker(std::shared_ptr<const io::ByteSource> file, const TrackFragments& fragments)
        : file_(std::move(file)), fragments_(&fragments) {}

    /// The next run; none at the end. Throws Error.
    [[nodiscard]] std::optional<SampleRun> next();
    /// Continues with the sample that holds `time` or the first one after it, or at the end.
    void seek(std::int64_t time);
    /// Continues with the first sample.
    void rewind();

  private:
    std::shared_ptr<const io::ByteSource> file_;
    const TrackFragments* fragments_;
    std::size_t place_ = 0;      ///< next one
    std::optional<Window> rows_; ///< of the current place
    std::optional<FragmentSamples> samples_;
    std::optional<SampleRun> found_; ///< by a seek, not handed out yet
};

} // namespace media::quicktime
