// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/quicktime_container.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "media/audio/format_name.h"
#include "media/quicktime/reader/camera/camera_facts.h"
#include "media/quicktime/reader/edit_list.h"
#include "media/quicktime/reader/frame_rate.h"
#include "media/quicktime/reader/metadata.h"
#include "media/quicktime/reader/movie_header.h"
#include "media/quicktime/reader/movie_track.h"
#include "media/quicktime/reader/table_walker.h"
#include "media/quicktime/reader/track_reader.h"
#include "media/track/container_facts.h"
#include "media/track/timecode_track.h"

namespace media::quicktime {

namespace {

constexpr std::size_t topLevelWindow = 64; // the headers of `ftyp`, `wide` and `mdat` with one read

class QuickTimeContainer final : public Container, public ContainerFacts {
  public:
    explicit QuickTimeContainer(std::shared_ptr<const io::ByteSource> source);

    [[nodiscard]] Time duration() const override { return duration_; }
    [[nodiscard]] const std::vector<Track>& tracks() const override { return tracks_; }
    [[nodiscard]] const std::vector<MetadataItem>& metadata() const override { return metadata_; }
    [[nodiscard]] std::optional<Date> creationDate() const override { return creationDate_; }
    [[nodiscard]] std::string timecodeRefusal() const override { return timecodeRefusal_; }
    [[nodiscard]] std::unique_ptr<TrackReader> reader(std::size_t trackIndex) const override;
    [[nodiscard]] std::string formatName() const override;
    [[nodiscard]] std::string timecodeOrigin() const override { return timecodeOrigin_; }

  private:
    void addTrack(const TrackHeader& header, const MovieHeader& movie, const Box& moov);
    void addFragments(const MovieHeader& movie);
    void chooseTimecodeDescription(std::size_t index);
    void placeOnTimeline(const TrackHeader& header, const MovieHeader& movie, std::size_t index);
    void guessRateOfSingleFrames();
    void addCameraTimecode(const MovieHeader& movie);
    [[nodiscard]] Time longest() const;

    std::shared_ptr<const io::ByteSource> source_;
    std::vector<Track> tracks_;
    std::vector<MovieTrack> movieTracks_;       ///< one a track of the file
    std::optional<TimecodeTrack> madeTimecode_; ///< the last track, where the file has none of timecode
    std::string timecodeOrigin_;
    std::string timecodeRefusal_;
    std::shared_ptr<SharedChunks> sharedChunks_;
    std::vector<MetadataItem> metadata_;
    std::optional<Date> creationDate_;
    Time duration_;
};

std::optional<Box> findMovie(const io::ByteSource& source) {
    Window window(source, 0, source.size(), topLevelWindow);
    BoxWalk boxes(window, 0, source.size(), BoxWalk::Level::file);
    while (auto box = boxes.next())
        if (box->type == fourCC("moov"))
            return box;
    return std::nullopt;
}

std::int64_t movieTimescale(const MovieHeader& movie) {
    constexpr std::int64_t usual = 600;
    return movie.timescale != 0 ? movie.timescale : usual;
}

/// What the movie's header says of its length, for movies whose tracks don't tell.
Time statedDuration(const MovieHeader& movie) {
    const std::uint64_t ticks =
        movie.fragmentedDuration.value_or(0) > 0 ? *movie.fragmentedDuration : movie.duration.value_or(0);
    return {static_cast<std::int64_t>(ticks), movieTimescale(movie)};
}

QuickTimeContainer::QuickTimeContainer(std::shared_ptr<const io::ByteSource> source)
    : source_(std::move(source)), sharedChunks_(std::make_shared<SharedChunks>(source_)) {
    const auto moov = findMovie(*source_);
    if (!moov)
        throw Error(Error::Category::endOfData, "The movie has no header: its recording was not finished.");
    MovieHeader movie = readMovieHeader(source_, *moov);
    for (const TrackHeader& track : movie.tracks)
        addTrack(track, movie, *moov);
    addFragments(movie);
    for (std::size_t i = 0; i < tracks_.size(); ++i)
        chooseTimecodeDescription(i);
    for (std::size_t i = 0; i < tracks_.size(); ++i)
        if (!movieTracks_[i].timeless)
            placeOnTimeline(movie.tracks[i], movie, i);
    duration_ = longest();
    if (duration_.value == 0)
        duration_ = statedDuration(movie);
    for (std::size_t i = 0; i < tracks_.size(); ++i)
        if (movieTracks_[i].timeless) {
            movieTracks_[i].mediaEnd = duration_.ticks(tracks_[i].timescale);
            placeOnTimeline(movie.tracks[i], movie, i);
        }
    guessRateOfSingleFrames();
    metadata_ = movie.metadata;
    creationDate_ = recordingDate(metadata_, movie.creationTime);
    addCameraTimecode(movie);
}

void QuickTimeContainer::addTrack(const TrackHeader& header, const MovieHeader& movie, const Box& moov) {
    SampleDescriptions descriptions = readSampleDescriptions(header);
    Track track;
    track.index = tracks_.size();
    track.mediaType = descriptions.mediaType;
    track.formatDescriptions = std::move(descriptions.formats);
    track.timescale = header.timescale;
    if (track.timescale == 0) {
        const bool sound = !track.formatDescriptions.empty() && track.formatDescriptions.front().audio;
        const double rate = sound ? track.formatDescriptions.front().audio->sampleRate : 0;
        track.timescale = rate >= 1 ? static_cast<std::int64_t>(rate) : 1;
    }
    MovieTrack movieTrack;
    movieTrack.layouts = std::move(descriptions.layouts);
    movieTrack.samples = header.samples;
    movieTrack.tableSource = movie.source;
    movieTrack.movie = moov;
    movieTrack.durations = header.samples.durations(*movie.source);
    movieTrack.tableEnd = std::max<std::int64_t>(movieTrack.durations.ticks(), 0);
    movieTrack.presentationStart = header.samples.presentationStart(*movie.source);
    tracks_.push_back(std::move(track));
    movieTracks_.push_back(std::move(movieTrack));
}

void QuickTimeContainer::addFragments(const MovieHeader& movie) {
    const bool samples = std::any_of(movie.tracks.begin(), movie.tracks.end(),
                                     [](const TrackHeader& track) { return track.samples.sampleCount > 0; });
    std::vector<TrackFragments> fragments(tracks_.size());
    if (movie.fragmented || !samples) {
        std::vector<std::int64_t> ends;
        for (const MovieTrack& track : movieTracks_)
            ends.push_back(track.tableEnd);
        fragments = indexFragments(*source_, movie, ends);
    }
    for (std::size_t i = 0; i < tracks_.size(); ++i) {
        MovieTrack& track = movieTracks_[i];
        if (track.durations.samples() == 0)
            track.presentationStart = fragments[i].presentationStart;
        track.durations.add(fragments[i].durations);
        track.mediaEnd = fragments[i].places.empty() ? track.tableEnd : fragments[i].end;
        track.fragments = std::move(fragments[i]);
        if (tracks_[i].mediaType == MediaType::video)
            tracks_[i].nominalFrameRate = nominalFrameRate(track.durations, tracks_[i].timescale);
        tracks_[i].packetsAreTimeless = track.durations.ticks() <= 0;
        if (track.durations.samples() == 0 || track.mediaEnd > 0)
            continue;
        if (tracks_[i].mediaType == MediaType::timecode)
            track.timeless = true;
        else
            track.mediaEnd = static_cast<std::int64_t>(movie.tracks[i].mediaDuration.value_or(0));
    }
}

/// Of several descriptions of timecode the one that the samples use is the track's: the copy has no other.
void QuickTimeContainer::chooseTimecodeDescription(std::size_t index) {
    std::vector<FormatDescription>& formats = tracks_[index].formatDescriptions;
    MovieTrack& track = movieTracks_[index];
    if (tracks_[index].mediaType != MediaType::timecode || formats.size() < 2)
        return;
    auto first = TableWalker(track.tableSource, track.samples, track.layouts).next();
    if (!first)
        first = FragmentWalker(source_, track.fragments).next();
    const std::size_t used = first && first->formatIndex < formats.size() ? first->formatIndex : 0;
    track.timecodeFormats = formats;
    formats = {track.timecodeFormats[used]};
}

/// Edits count in presentation times (ISO/IEC 14496-12, 8.6.6). Samples that nothing reorders are found by
/// their decode times, `offset` ticks before.
void shiftToDecodeTimes(std::vector<EditEntry>& entries, MediaExtent& extent, std::int64_t offset) {
    if (entries.empty())
        entries.push_back({}); // all of the media
    for (EditEntry& entry : entries)
        if (entry.mediaTime != emptyEdit)
            entry.mediaTime = io::checked<std::int64_t>(platform::Wide{entry.mediaTime} - offset);
    extent.end -= offset;
    extent.endBeforeFragments -= extent.endBeforeFragments > 0 ? offset : 0;
}

void QuickTimeContainer::placeOnTimeline(const TrackHeader& header, const MovieHeader& movie,
                                         std::size_t index) {
    Track& track = tracks_[index];
    const MovieTrack& movieTrack = movieTracks_[index];
    if (movieTrack.durations.samples() == 0 || movieTrack.mediaEnd <= 0)
        return;
    MediaExtent extent;
    extent.movieTimescale = movieTimescale(movie);
    extent.timescale = track.timescale;
    extent.end = io::checkedAdd(movieTrack.mediaEnd, movieTrack.presentationStart);
    if (movieTrack.mediaEnd > movieTrack.tableEnd && movieTrack.tableEnd > 0)
        extent.endBeforeFragments = io::checkedAdd(movieTrack.tableEnd, movieTrack.presentationStart);
    std::vector<EditEntry> entries = header.edits.value_or(std::vector<EditEntry>{});
    if (!track.formatDescriptions.empty() && !movie.fragmented && movieTrack.fragments.places.empty())
        if (auto primed = implicitPriming(header, track.formatDescriptions.front(), extent.movieTimescale))
            entries = std::move(*primed);
    if (track.mediaType != MediaType::video && movieTrack.presentationStart != 0)
        shiftToDecodeTimes(entries, extent, movieTrack.presentationStart);
    if (entries.empty())
        track.edits = {{{0, track.timescale}, {movieTrack.mediaEnd, track.timescale}, 0}};
    else
        track.edits = mapEdits(entries, extent);
}

Time QuickTimeContainer::longest() const {
    Time end;
    for (const Track& track : tracks_)
        if (track.mediaType != MediaType::other)
            end = std::max(end, track.end());
    return end;
}

/// A still picture has no rate of its own: the timecode's, where there is one.
void QuickTimeContainer::guessRateOfSingleFrames() {
    const auto timecode = std::find_if(tracks_.begin(), tracks_.end(), [](const Track& track) {
        return track.mediaType == MediaType::timecode && !track.formatDescriptions.empty() &&
               track.formatDescriptions.front().timecode;
    });
    if (timecode == tracks_.end())
        return;
    const Rational rate = timecode->formatDescriptions.front().timecode->rate;
    if (rate.num == 0)
        return;
    for (std::size_t i = 0; i < tracks_.size(); ++i)
        if (tracks_[i].mediaType == MediaType::video && movieTracks_[i].durations.samples() == 1)
            tracks_[i].nominalFrameRate = snappedFrameRate(rate.value());
}

/// Timecode that the camera wrote elsewhere becomes a track as long as the clip. A timecode track of the
/// file's wins always.
void QuickTimeContainer::addCameraTimecode(const MovieHeader& movie) {
    constexpr double longestClip = 1e7; // seconds
    const bool isThere =
        std::ranges::any_of(tracks_, [](const Track& t) { return t.mediaType == MediaType::timecode; });
    if (isThere || duration_ <= Time{} || duration_.seconds() > longestClip)
        return;
    camera::CameraFacts facts = camera::readCameraFacts(source_, movie, tracks_, movieTracks_);
    std::ranges::move(facts.items, std::back_inserter(metadata_));
    timecodeRefusal_ = facts.timecodeRefusal;
    if (!facts.timecode)
        return;
    timecodeOrigin_ = facts.timecodeOrigin;
    madeTimecode_.emplace(std::vector{*facts.timecode}, duration_);
    tracks_.push_back(madeTimecode_->track());
    tracks_.back().index = movieTracks_.size();
}

/// By the major brand (ISO/IEC 14496-12, 4.3); old movies have none.
std::string QuickTimeContainer::formatName() const {
    Window window(*source_, 0, source_->size(), topLevelWindow);
    const auto first = BoxWalk(window, 0, source_->size(), BoxWalk::Level::file).next();
    if (!first || first->type != fourCC("ftyp") || first->size() < 4)
        return "QuickTime";
    const FourCC brand = payload(window, *first, 4).u32();
    return brand == fourCC("qt  ") ? "QuickTime" : "MPEG-4 (" + audio::formatName(brand) + ")";
}

std::unique_ptr<TrackReader> QuickTimeContainer::reader(std::size_t trackIndex) const {
    const Track& track = tracks_.at(trackIndex);
    if (trackIndex == movieTracks_.size())
        return madeTimecode_->reader();
    return makeTrackReader(source_, track, movieTracks_.at(trackIndex), sharedChunks_);
}

} // namespace

bool recognises(const io::ByteSource& source) {
    constexpr std::array beginnings{fourCC("ftyp"), fourCC("moov"), fourCC("mdat"),
                                    fourCC("wide"), fourCC("free"), fourCC("skip"),
                                    fourCC("pnot"), fourCC("uuid"), fourCC("styp")};
    Window window(source, 0, source.size(), 16);
    const auto first = BoxWalk(window, 0, source.size(), BoxWalk::Level::file).next();
    return first && std::find(beginnings.begin(), beginnings.end(), first->type) != beginnings.end();
}

std::unique_ptr<Container> open(std::shared_ptr<const io::ByteSource> source) {
    return std::make_unique<QuickTimeContainer>(std::move(source));
}

} // namespace media::quicktime
