// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/quicktime_container.h"

#include <algorithm>
#include <array>
#include <utility>

#include "media/quicktime/edit_list.h"
#include "media/quicktime/frame_rate.h"
#include "media/quicktime/metadata.h"
#include "media/quicktime/movie_header.h"
#include "media/quicktime/movie_track.h"
#include "media/quicktime/track_reader.h"

namespace media::quicktime {

namespace {

constexpr std::size_t topLevelWindow = 64; // the headers of `ftyp`, `wide` and `mdat` with one read

class QuickTimeContainer final : public Container {
  public:
    explicit QuickTimeContainer(std::shared_ptr<const io::ByteSource> source);

    [[nodiscard]] Time duration() const override { return duration_; }
    [[nodiscard]] const std::vector<Track>& tracks() const override { return tracks_; }
    [[nodiscard]] const std::vector<MetadataItem>& metadata() const override { return metadata_; }
    [[nodiscard]] std::optional<Date> creationDate() const override { return creationDate_; }
    [[nodiscard]] std::unique_ptr<TrackReader> reader(std::size_t trackIndex) const override;

  private:
    void addTrack(TrackHeader& header, const MovieHeader& movie);

    std::shared_ptr<const io::ByteSource> source_;
    std::vector<Track> tracks_;
    std::vector<MovieTrack> movieTracks_; ///< one a track
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

bool countsForDuration(MediaType type) {
    return type == MediaType::video || type == MediaType::audio || type == MediaType::timecode;
}

QuickTimeContainer::QuickTimeContainer(std::shared_ptr<const io::ByteSource> source)
    : source_(std::move(source)) {
    const auto moov = findMovie(*source_);
    if (!moov)
        throw Error(Error::Category::endOfData, "The movie has no header: its recording was not finished.");
    MovieHeader movie = readMovieHeader(source_, *moov);
    for (TrackHeader& track : movie.tracks)
        addTrack(track, movie);
    for (const Track& track : tracks_)
        if (countsForDuration(track.mediaType))
            duration_ = std::max(duration_, track.end());
    if (duration_.value == 0 && movie.duration)
        duration_ = {static_cast<std::int64_t>(*movie.duration), movieTimescale(movie)};
    metadata_ = std::move(movie.metadata);
    creationDate_ = recordingDate(metadata_, movie.creationTime);
}

void QuickTimeContainer::addTrack(TrackHeader& header, const MovieHeader& movie) {
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

    const DurationCounts durations = header.samples.durations(*movie.source);
    std::int64_t length = durations.ticks();
    if (length <= 0 && durations.samples() > 0)
        length = static_cast<std::int64_t>(header.mediaDuration.value_or(0));
    MediaExtent extent;
    extent.movieTimescale = movieTimescale(movie);
    extent.timescale = track.timescale;
    extent.end = io::checkedAdd(length, header.samples.presentationStart(*movie.source));
    movieTrack.mediaEnd = extent.end;
    if (length > 0) {
        std::vector<EditEntry> entries = header.edits.value_or(std::vector<EditEntry>{});
        if (!track.formatDescriptions.empty())
            if (auto primed =
                    implicitPriming(header, track.formatDescriptions.front(), extent.movieTimescale))
                entries = std::move(*primed);
        if (entries.empty())
            track.edits = {{{0, track.timescale}, {length, track.timescale}, 0}};
        else
            track.edits = mapEdits(entries, extent);
    }
    if (track.mediaType == MediaType::video)
        track.nominalFrameRate = nominalFrameRate(durations, track.timescale);
    tracks_.push_back(std::move(track));
    movieTracks_.push_back(std::move(movieTrack));
}

std::unique_ptr<TrackReader> QuickTimeContainer::reader(std::size_t trackIndex) const {
    const Track& track = tracks_.at(trackIndex);
    for (const FormatDescription& format : track.formatDescriptions)
        if (!format.unreadable.empty())
            throw Error(Error::Category::unsupported, format.unreadable);
    return makeTrackReader(source_, track, movieTracks_.at(trackIndex));
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
