// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/movie_header.h"

#include <algorithm>
#include <limits>

#include "media/quicktime/reader/compressed_movie.h"
#include "media/quicktime/reader/metadata.h"

namespace media::quicktime {

namespace {

constexpr std::uint64_t wholeMovieHeader = std::uint64_t{256} * 1024; // read with one read up to here
constexpr std::size_t headerWindow = 4096;
constexpr std::uint64_t largestMovieHeader = std::uint64_t{1} << 30; // a day of 64 tracks has a tenth of it
constexpr std::size_t mostTracks = 4096;
constexpr std::size_t mostMetadataBoxes = 16;
constexpr std::size_t mostEdits = 100'000;
constexpr std::size_t largestDescriptions = std::size_t{1} << 20;

/// A duration of 32 or 64 bits; all ones mean that it is not known.
std::optional<std::uint64_t> readDuration(io::ByteReader& reader, std::uint8_t version) {
    constexpr std::uint64_t largest = std::uint64_t{1} << 62;
    if (version == 1) {
        const std::uint64_t value = reader.u64();
        return value < largest ? std::optional(value) : std::nullopt;
    }
    const std::uint32_t value = reader.u32();
    return value != std::numeric_limits<std::uint32_t>::max() ? std::optional<std::uint64_t>(value)
                                                              : std::nullopt;
}

std::uint64_t readTime(io::ByteReader& reader, std::uint8_t version) {
    return version == 1 ? reader.u64() : reader.u32();
}

void readMovieHeaderBox(io::ByteReader reader, MovieHeader& movie) {
    const FullBoxHeader head(reader);
    movie.creationTime = readTime(reader, head.version);
    (void)readTime(reader, head.version);
    movie.timescale = reader.u32();
    movie.duration = readDuration(reader, head.version);
}

void readTrackHeaderBox(io::ByteReader reader, TrackHeader& track) {
    const FullBoxHeader head(reader);
    (void)readTime(reader, head.version);
    (void)readTime(reader, head.version);
    track.id = reader.u32();
    reader.skip(4);
    track.duration = readDuration(reader, head.version);
}

void readMediaHeaderBox(io::ByteReader reader, TrackHeader& track) {
    const FullBoxHeader head(reader);
    (void)readTime(reader, head.version);
    (void)readTime(reader, head.version);
    track.timescale = reader.u32();
    track.mediaDuration = readDuration(reader, head.version);
}

/// Entries are counted by the box's size: the stated count is often wrong.
std::vector<EditEntry> readEditList(Window& window, const Box& box) {
    io::ByteReader reader = payload(window, box, 8);
    const FullBoxHeader head(reader);
    const std::uint32_t declared = reader.u32();
    const std::uint64_t entryBytes = head.version == 1 ? 20 : 12;
    const std::uint64_t count = std::min<std::uint64_t>(declared, (box.size() - 8) / entryBytes);
    if (count > mostEdits)
        throw Error(Error::Category::corrupt, "An edit list of the movie is longer than any real one.");
    std::vector<EditEntry> edits;
    edits.reserve(static_cast<std::size_t>(count));
    for (std::uint64_t i = 0; i < count; ++i) {
        io::ByteReader entry(window.at(box.begin + 8 + i * entryBytes, static_cast<std::size_t>(entryBytes)));
        EditEntry edit;
        edit.duration = readDuration(entry, head.version);
        edit.mediaTime = head.version == 1 ? entry.i64() : entry.i32();
        edit.dwell = entry.i32() == 0; // 16.16; rates below 1 are no dwell
        edits.push_back(edit);
    }
    return edits;
}

/// `dref`: bit 0 of an entry's flags says that the samples lie in this file; an entry without content can't
/// name another one either.
std::vector<bool> readDataReferences(Window& window, const Box& box) {
    constexpr std::size_t mostReferences = 4096;
    std::vector<bool> external;
    BoxWalk entries(window, std::min(box.begin + 8, box.end), box.end);
    while (const auto entry = entries.next()) {
        if (external.size() == mostReferences)
            break;
        const bool sameFile =
            entry->size() <= 4 || (window.at(entry->begin + 3, 1)[0] & std::byte{1}) != std::byte{0};
        external.push_back(!sameFile);
    }
    return external;
}

void readSampleTableBoxes(Window& window, const Box& stbl, TrackHeader& track) {
    BoxWalk boxes(window, stbl);
    while (const auto box = boxes.next()) {
        if (box->type == fourCC("stsd")) {
            if (track.descriptions.empty()) {
                const auto bytes = payload(window, *box, largestDescriptions).rest();
                track.descriptions.assign(bytes.begin(), bytes.end());
            }
        } else {
            track.samples.read(window, *box);
        }
    }
}

void readMediaInformation(Window& window, const Box& minf, TrackHeader& track) {
    BoxWalk boxes(window, minf);
    while (const auto box = boxes.next()) {
        if (box->type == fourCC("stbl")) {
            readSampleTableBoxes(window, *box, track);
        } else if (box->type == fourCC("dinf")) {
            BoxWalk references(window, *box);
            while (const auto reference = references.next())
                if (reference->type == fourCC("dref") && track.externalData.empty())
                    track.externalData = readDataReferences(window, *reference);
        }
    }
}

void readMedia(Window& window, const Box& mdia, TrackHeader& track) {
    BoxWalk boxes(window, mdia);
    while (const auto box = boxes.next()) {
        switch (box->type) {
        case fourCC("mdhd"):
            readMediaHeaderBox(payload(window, *box), track);
            break;
        case fourCC("hdlr"): // the one in `minf` is a data handler
            if (track.handler == 0 && box->size() >= 12)
                track.handler = io::ByteReader(window.at(box->begin + 8, 4)).u32();
            break;
        case fourCC("minf"):
            readMediaInformation(window, *box, track);
            break;
        default:
            break;
        }
    }
}

TrackHeader readTrack(Window& window, const Box& trak) {
    TrackHeader track;
    BoxWalk boxes(window, trak);
    while (const auto box = boxes.next()) {
        switch (box->type) {
        case fourCC("tkhd"):
            readTrackHeaderBox(payload(window, *box), track);
            break;
        case fourCC("edts"): {
            BoxWalk lists(window, *box);
            while (const auto list = lists.next())
                if (list->type == fourCC("elst") && list->size() >= 8 && !track.edits)
                    track.edits = readEditList(window, *list);
            break;
        }
        case fourCC("mdia"):
            readMedia(window, *box, track);
            break;
        default:
            break;
        }
    }
    return track;
}

void readMovieExtends(Window& window, const Box& mvex, MovieHeader& movie) {
    movie.fragmented = true;
    BoxWalk boxes(window, mvex);
    while (const auto box = boxes.next()) {
        if (box->type == fourCC("mehd")) {
            io::ByteReader reader = payload(window, *box);
            const FullBoxHeader head(reader);
            movie.fragmentedDuration = readDuration(reader, head.version);
        } else if (box->type == fourCC("trex") && movie.fragmentDefaults.size() < mostTracks) {
            io::ByteReader reader = payload(window, *box);
            reader.skip(4);
            FragmentDefaults defaults;
            defaults.trackID = reader.u32();
            defaults.descriptionIndex = reader.u32();
            defaults.duration = reader.u32();
            defaults.size = reader.u32();
            movie.fragmentDefaults.push_back(defaults);
        }
    }
}

/// Reads what lies in [begin, end) of movie.source as the content of `moov`.
void readContent(MovieHeader& movie, std::uint64_t begin, std::uint64_t end, bool compressedAllowed) {
    Window window(*movie.source, begin, end, headerWindow);
    BoxWalk boxes(window, begin, end);
    while (const auto box = boxes.next()) {
        switch (box->type) {
        case fourCC("mvhd"):
            readMovieHeaderBox(payload(window, *box), movie);
            break;
        case fourCC("trak"):
            if (movie.tracks.size() == mostTracks)
                throw Error(Error::Category::corrupt, "The movie has more tracks than any real one.");
            movie.tracks.push_back(readTrack(window, *box));
            break;
        case fourCC("mvex"):
            readMovieExtends(window, *box, movie);
            break;
        case fourCC("meta"):
            if (movie.metadataBoxes.size() < mostMetadataBoxes)
                movie.metadataBoxes.push_back(*box);
            [[fallthrough]];
        case fourCC("udta"):
            readMetadata(window, *box, movie.metadata);
            break;
        case fourCC("cmov"):
            if (compressedAllowed) {
                movie.source = io::memorySource(inflateMovie(window, *box));
                const auto size = movie.source->size();
                Window inflated(*movie.source, 0, size, headerWindow);
                const auto moov = BoxWalk(inflated, 0, size).next();
                if (!moov || moov->type != fourCC("moov"))
                    throw Error(Error::Category::corrupt, "The movie's compressed header is damaged.");
                readContent(movie, moov->begin, moov->end, false);
                return;
            }
            break;
        default:
            break;
        }
    }
}

} // namespace

MovieHeader readMovieHeader(const std::shared_ptr<const io::ByteSource>& file, const Box& moov) {
    if (moov.cut) // what is left could lack a track without anybody noticing
        io::endsEarly(fourCC("moov"));
    if (moov.size() > largestMovieHeader)
        throw Error(Error::Category::corrupt, "The movie's header is larger than any real one.");
    MovieHeader movie;
    if (moov.size() <= wholeMovieHeader) {
        std::vector<std::byte> bytes(static_cast<std::size_t>(moov.size()));
        file->readAt(moov.begin, bytes);
        const std::size_t size = bytes.size();
        movie.source = io::memorySource(std::move(bytes));
        readContent(movie, 0, size, true);
    } else {
        movie.source = file;
        readContent(movie, moov.begin, moov.end, true);
    }
    return movie;
}

} // namespace media::quicktime
