// SPDX-License-Identifier: GPL-3.0-or-later
// The interface that a container format implements: what a file says of itself, and its tracks' samples as
// stored. Each implementation is one folder (quicktime/, mxf/); media/open picks one.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/base/time.h"
#include "media/io/byte_source.h"
#include "media/track/format_description.h"

namespace media {

/// A stretch of the clip's timeline and the stretch of the track's own media that it shows.
struct Edit {
    Time start;    ///< on the clip's timeline
    Time duration; ///< the same on both timelines
    std::int64_t mediaTime =
        0; ///< first media tick shown, in the track's timescale; `emptyEdit` shows nothing
};
inline constexpr std::int64_t emptyEdit = -1;

/// One track of a clip.
struct Track {
    std::size_t index = 0; ///< place among the container's tracks, in file order
    MediaType mediaType = MediaType::other;
    std::int64_t timescale = 1; ///< ticks a second of the track's media times
    std::vector<FormatDescription> formatDescriptions;
    /// Gapless from time zero and in order; an edit that runs past the media is cut to it. A track without
    /// samples has none.
    std::vector<Edit> edits;
    /// The media may end less than a video frame before the last edit does, which then ends with it.
    bool endsWithMedia = false;
    /// Compressed sound: no packet states a duration. Packets of one time follow each other.
    bool packetsAreTimeless = false;
    double nominalFrameRate = 0; ///< video: frames a second, snapped to n or n x 1000/1001; else 0

    /// The media time at which the first edit that shows any begins; zero without one.
    [[nodiscard]] std::int64_t firstShown() const;
    /// The end of the last edit on the clip's timeline; zero without edits.
    [[nodiscard]] Time end() const;
};

/// A metadata item: an identifier that names its key space and key, and its text where it has one.
struct MetadataItem {
    std::string identifier;
    std::optional<std::string> stringValue;
};

/// Consecutive samples of one track as they lie in the file, in decoding order, edits not applied. Readers
/// refill one such record again and again, so its buffers are reused.
struct StoredSamples {
    struct Sample {
        std::uint32_t size = 0;     ///< bytes
        std::uint32_t duration = 0; ///< track ticks
    };
    std::vector<std::byte> data;
    std::size_t formatIndex = 0;
    /// Track ticks from the start of the media to the first sample.
    std::int64_t mediaTime = 0;
    /// Linear PCM: whole frames in `data`, and the place of the first one counted in frames; `samples` is
    /// empty.
    std::int64_t frameCount = 0;
    std::int64_t firstFrame = 0;
    /// Everything else: one entry a sample; `data` holds their bytes back to back.
    std::vector<Sample> samples;
    /// Timecode: the number that each sample states, none where it is damaged.
    std::vector<std::optional<std::int64_t>> frameNumbers;
};

/// Reads one track's samples in order. One reader belongs to one thread; readers of the same container may
/// run in parallel.
class TrackReader {
  public:
    virtual ~TrackReader() = default;
    /// The next samples, at most about 256 KiB at a time; false at the end of the track. Throws Error.
    virtual bool next(StoredSamples& samples) = 0;
    /// Continues at the sample that holds the given media time (track ticks), or at the end when there is
    /// none.
    virtual void seek(std::int64_t mediaTime) = 0;
};

/// An opened file. Immutable after opening; every member may be called from any thread.
class Container {
  public:
    using Date = std::chrono::system_clock::time_point;

    virtual ~Container() = default;
    /// The end of the longest of the picture, sound and timecode tracks.
    [[nodiscard]] virtual Time duration() const = 0;
    [[nodiscard]] virtual const std::vector<Track>& tracks() const = 0;
    [[nodiscard]] virtual const std::vector<MetadataItem>& metadata() const = 0;
    /// Why the file's timecode is not taken, a sentence for a person; empty where it is, or where there is
    /// none.
    [[nodiscard]] virtual std::string timecodeRefusal() const { return {}; }
    /// The recording date that the file states, if it does.
    [[nodiscard]] virtual std::optional<Date> creationDate() const = 0;
    /// A reader at the start of the track's media. Throws Error, also when the track's samples can't be read
    /// here.
    [[nodiscard]] virtual std::unique_ptr<TrackReader> reader(std::size_t trackIndex) const = 0;
};

} // namespace media
