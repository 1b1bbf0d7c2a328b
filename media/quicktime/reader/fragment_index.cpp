// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/fragment_index.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include "media/base/checked.h"

namespace media::quicktime {

namespace {

constexpr std::size_t fragmentWindow = std::size_t{64} * 1024; // most `moof` boxes whole
constexpr std::uint64_t reorderingDepth = 64;                  // more samples than any codec reorders
/// Putting places before others takes time with the square of their number: this much is a fraction of a
/// second, and ten thousand fragments from the last to the first.
constexpr std::uint64_t mostMoved = 50'000'000;

/// What one track fragment adds to its track.
struct Content {
    DurationCounts durations;
    std::int64_t end = 0;
    std::uint64_t dataEnd = 0;
    std::int64_t presentationStart = 0;
};

Content measure(FragmentSamples samples, std::int64_t begin) {
    Content content;
    std::int64_t least = std::numeric_limits<std::int64_t>::max();
    while (const auto run = samples.next()) {
        if (content.durations.samples() < reorderingDepth)
            least = std::min(least, io::checkedAdd(run->time - begin, samples.compositionOffset()));
        content.durations.add(run->duration, run->count);
    }
    content.presentationStart = content.durations.samples() > 0 ? least : 0;
    content.end = samples.time();
    content.dataEnd = samples.dataEnd();
    return content;
}

class Indexer {
  public:
    Indexer(const io::ByteSource& file, const MovieHeader& movie, std::span<const std::int64_t> ends)
        : file_(file), movie_(movie), tracks_(movie.tracks.size()) {
        for (std::size_t i = 0; i < tracks_.size(); ++i) {
            tracks_[i].end = ends[i];
            for (const FragmentDefaults& defaults : movie.fragmentDefaults)
                if (defaults.trackID == movie.tracks[i].id)
                    tracks_[i].defaults = defaults;
        }
    }

    void add(const Box& moof) {
        Window window(file_, moof.headerBegin, moof.end, fragmentWindow);
        BoxWalk boxes(window, moof);
        std::uint64_t previousEnd = moof.headerBegin;
        while (const auto box = boxes.next()) {
            if (box->type != fourCC("traf"))
                continue;
            TrackFragment fragment = readTrackFragment(window, *box);
            std::uint64_t base = previousEnd;
            if (fragment.baseOffset)
                base = *fragment.baseOffset;
            else if (fragment.baseIsFragment)
                base = moof.headerBegin;
            previousEnd = addTrackFragment(window, *box, std::move(fragment), base);
        }
    }

    std::vector<TrackFragments> take() { return std::move(tracks_); }

  private:
    /// Returns where the fragment's data ends.
    std::uint64_t addTrackFragment(Window& window, const Box& traf, TrackFragment fragment,
                                   std::uint64_t base) {
        const auto header =
            std::find_if(movie_.tracks.begin(), movie_.tracks.end(),
                         [&](const TrackHeader& track) { return track.id == fragment.trackID; });
        if (header == movie_.tracks.end())
            return measure(FragmentSamples(window, std::move(fragment), {}, base, 0, file_.size()), 0)
                .dataEnd;
        TrackFragments& track = tracks_[static_cast<std::size_t>(header - movie_.tracks.begin())];
        const auto stated = io::checked<std::int64_t>(
            platform::Wide{fragment.decodeTime.value_or(static_cast<std::uint64_t>(track.end))});
        // Fragments may overlap; one that was there already is left out, and none begins before another ends
        // to begin.
        const std::int64_t time = std::max(stated, track.places.empty() ? 0 : track.places.back().time);
        const Content content = measure(
            FragmentSamples(window, std::move(fragment), track.defaults, base, time, file_.size()), time);
        const std::int64_t length = content.end - time;
        const auto next = std::ranges::upper_bound(track.places, stated, {}, &FragmentPlace::time);
        if (next != track.places.end()) { // of an earlier time: it may be what is missing there
            const std::int64_t free =
                next == track.places.begin() ? stated : std::max(stated, std::prev(next)->end);
            if (length > 0 && next->time - free >= length) {
                moved_ += static_cast<std::uint64_t>(track.places.end() - next);
                if (moved_ > mostMoved)
                    throw Error(Error::Category::corrupt,
                                "The movie's fragments stand in no order: the file is damaged.");
                track.durations.add(content.durations);
                track.places.insert(next, {traf.headerBegin, base, free, free + length});
                return content.dataEnd;
            }
        }
        const bool repeated = length > 0 && stated < track.end && track.end - stated >= length;
        if (repeated)
            return content.dataEnd;
        if (content.durations.samples() > 0) {
            if (track.durations.samples() == 0)
                track.presentationStart = content.presentationStart;
            track.durations.add(content.durations);
            track.places.push_back({traf.headerBegin, base, time, content.end});
        }
        track.end = std::max(track.end, content.end);
        return content.dataEnd;
    }

    const io::ByteSource& file_;
    const MovieHeader& movie_;
    std::vector<TrackFragments> tracks_;
    std::uint64_t moved_ = 0; ///< places, by those that were put before them
};

/// Where a file that was written to its end keeps its index of fragments (`mfra`, whose last box `mfro` tells
/// its size; ISO/IEC 14496-12, 8.8.11); none in any other file.
std::optional<std::uint64_t> fragmentTable(const io::ByteSource& file) {
    constexpr std::uint64_t tail = 16;
    if (file.size() < tail)
        return std::nullopt;
    Window window(file, file.size() - tail, file.size(), tail);
    io::ByteReader offset(window.at(file.size() - tail, tail));
    if (offset.u32() != tail || offset.u32() != fourCC("mfro"))
        return std::nullopt;
    offset.skip(4);
    const std::uint32_t size = offset.u32();
    if (size < tail || size > file.size())
        return std::nullopt;
    Window table(file, file.size() - size, file.size(), 8);
    const auto box = BoxWalk(table, file.size() - size, file.size()).next();
    return box && box->type == fourCC("mfra") ? std::optional(box->headerBegin) : std::nullopt;
}

} // namespace

std::vector<TrackFragments> indexFragments(const io::ByteSource& file, const MovieHeader& movie,
                                           std::span<const std::int64_t> ends) {
    constexpr std::size_t headerBytes = 16;
    Indexer indexer(file, movie, ends);
    Window window(file, 0, file.size(), headerBytes);
    BoxWalk boxes(window, 0, file.size(), BoxWalk::Level::file);
    std::uint64_t last = 0; // box found
    while (const auto box = boxes.next()) {
        last = box->headerBegin;
        if (box->type != fourCC("moof"))
            continue;
        if (box->cut)
            break;
        indexer.add(*box);
    }
    if (const auto table = fragmentTable(file); table && last < *table)
        throw Error(Error::Category::corrupt,
                    "The movie's fragments break off before its end: the file is damaged.");
    return indexer.take();
}

std::optional<SampleRun> FragmentWalker::next() {
    if (found_)
        return std::exchange(found_, std::nullopt);
    while (true) {
        if (samples_)
            if (auto run = samples_->next())
                return run;
        if (place_ == fragments_->places.size())
            return std::nullopt;
        constexpr std::size_t rowWindow = std::size_t{16} * 1024;
        const FragmentPlace& place = fragments_->places[place_++];
        Window window(*file_, place.box, file_->size(), 16);
        const auto traf = BoxWalk(window, place.box, file_->size()).next();
        if (!traf || traf->type != fourCC("traf"))
            io::wasChanged();
        samples_.reset();
        rows_.emplace(*file_, traf->headerBegin, traf->end, rowWindow);
        TrackFragment fragment = readTrackFragment(*rows_, *traf);
        samples_.emplace(*rows_, std::move(fragment), fragments_->defaults, place.base, place.time,
                         file_->size());
    }
}

void FragmentWalker::rewind() {
    place_ = 0;
    samples_.reset();
    found_.reset();
}

void FragmentWalker::seek(std::int64_t time) {
    rewind();
    const auto& places = fragments_->places;
    const auto after =
        std::upper_bound(places.begin(), places.end(), time,
                         [](std::int64_t t, const FragmentPlace& place) { return t < place.time; });
    place_ = static_cast<std::size_t>(after - places.begin());
    place_ -= place_ > 0 ? 1 : 0;
    while (auto run = next()) {
        const platform::Wide end = platform::Wide{run->time} + platform::Wide{run->duration} * run->count;
        if (end <= time)
            continue;
        if (run->duration > 0 && time > run->time) {
            const std::uint64_t skipped =
                static_cast<std::uint64_t>(time - run->time) / static_cast<std::uint64_t>(run->duration);
            run->offset += skipped * run->size;
            run->time += static_cast<std::int64_t>(skipped) * run->duration;
            run->count -= skipped;
        }
        found_ = run;
        return;
    }
}

} // namespace media::quicktime
