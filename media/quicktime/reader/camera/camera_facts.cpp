// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/camera/camera_facts.h"

#include <algorithm>
#include <array>
#include <utility>

#include "media/quicktime/reader/camera/panasonic_document.h"
#include "media/quicktime/reader/camera/reading.h"
#include "media/quicktime/reader/camera/rtmd.h"
#include "media/quicktime/reader/camera/sony_document.h"
#include "media/quicktime/reader/camera/xml_document.h"
#include "media/quicktime/reader/table_walker.h"
#include "media/timecode/counting.h"
#include "media/timecode/frame_rate.h"

namespace media::quicktime::camera {

namespace {

/// The bytes of the document in a `meta` box with the handler `nrtm`.
std::vector<std::byte> embeddedDocument(const io::ByteSource& source, const Box& meta) {
    constexpr std::size_t window = 512;
    Window heads(source, meta.begin, meta.end, window);
    // QuickTime's box is a plain one, ISO's begins with a version word.
    const bool plain =
        meta.size() >= 8 && io::ByteReader(heads.at(meta.begin + 4, 4)).u32() == fourCC("hdlr");
    BoxWalk boxes(heads, std::min(meta.begin + (plain ? 0 : 4), meta.end), meta.end);
    bool isSony = false;
    while (const auto box = boxes.next()) {
        constexpr std::uint64_t versionBytes = 4;
        if (box->type == fourCC("hdlr") && box->size() >= 12)
            isSony = io::ByteReader(heads.at(box->begin + 8, 4)).u32() == fourCC("nrtm");
        if (!isSony || box->type != fourCC("xml ") || box->size() <= versionBytes ||
            box->size() > largestDocument + versionBytes)
            continue;
        std::vector<std::byte> document(static_cast<std::size_t>(box->size() - versionBytes));
        source.readAt(box->begin + versionBytes, document);
        return document;
    }
    return {};
}

/// The first bytes of a track's first sample.
std::vector<std::byte> firstSample(const std::shared_ptr<const io::ByteSource>& file,
                                   const MovieTrack& track) {
    auto run = TableWalker(track.tableSource, track.samples, track.layouts).next();
    if (!run)
        run = FragmentWalker(file, track.fragments).next();
    std::vector<std::byte> bytes;
    if (run && run->size >= rtmdHeadBytes) {
        bytes.resize(rtmdHeadBytes);
        file->readAt(run->offset, bytes);
    }
    return bytes;
}

/// Does `read`, for which damage is nothing to be told of; a failing disk is.
template <typename Read>
auto unlessDamaged(Read read) -> decltype(read()) {
    try {
        return read();
    } catch (const Error& error) {
        if (error.category() == Error::Category::io)
            throw;
        return {};
    }
}

/// Sony's documents and where they stand, the embedded one first.
std::vector<std::pair<const char*, SonyDocument>> sonyDocuments(const io::ByteSource& file,
                                                                const MovieHeader& movie) {
    /// The camera's name for it, the same as some file systems show it, and what some people rename it to.
    constexpr std::array endings{"M01.XML", "M01.xml", "m01.xml", ".XML", ".xml"};
    std::vector<std::pair<const char*, SonyDocument>> documents;
    for (const Box& meta : movie.metadataBoxes)
        if (auto document =
                readSonyDocument(unlessDamaged([&] { return embeddedDocument(*movie.source, meta); })))
            documents.emplace_back("Sony's document in the clip", std::move(*document));
    for (const char* ending : endings)
        if (const auto bytes = file.companion(ending, largestDocument))
            if (auto document = readSonyDocument(*bytes)) {
                documents.emplace_back("Sony's document beside the clip", std::move(*document));
                break;
            }
    return documents;
}

/// The rate of the first picture track that has one, where cameras have such.
std::optional<Rational> pictureRate(std::span<const Track> tracks) {
    const auto picture = std::ranges::find_if(tracks, [](const Track& track) {
        return track.mediaType == MediaType::video && track.nominalFrameRate > 0;
    });
    constexpr double highest = 1000;
    if (picture == tracks.end() || picture->nominalFrameRate < 1 || picture->nominalFrameRate > highest)
        return std::nullopt;
    return standardFrameRate(picture->nominalFrameRate);
}

} // namespace

CameraFacts readCameraFacts(const std::shared_ptr<const io::ByteSource>& file, const MovieHeader& movie,
                            std::span<const Track> tracks, std::span<const MovieTrack> movieTracks) {
    CameraFacts facts;
    const auto rate = pictureRate(tracks);
    if (!rate)
        return facts;
    std::optional<Reading> first; // counts; the others must agree
    const auto add = [&](const char* origin, const std::optional<Reading>& reading) {
        if (!reading)
            return;
        if (!first) {
            first = reading;
            facts.timecodeOrigin = origin;
        } else if (facts.timecodeRefusal.empty() && !agree(*first, *reading)) {
            facts.timecodeRefusal =
                "The timecodes of " + facts.timecodeOrigin + " and of " + origin + " differ.";
        }
    };
    for (const auto& [origin, document] : sonyDocuments(*file, movie)) {
        if (document.timecode)
            add(origin, checked(*document.timecode, *rate));
        const auto addItem = [&](const char* identifier, const std::string& text) {
            const bool isThere =
                std::ranges::find(facts.items, identifier, &MetadataItem::identifier) != facts.items.end();
            if (!text.empty() && !isThere)
                facts.items.push_back({identifier, text});
        };
        addItem("nrtm/device.applicationsuppliername", document.manufacturer);
        addItem("nrtm/device.applicationname", document.model);
        addItem("nrtm/package.material.packageid", document.umid);
    }
    const auto metadata = std::ranges::find_if(tracks, [](const Track& track) {
        return !track.formatDescriptions.empty() && track.formatDescriptions.front().unreadable.empty() &&
               track.formatDescriptions.front().mediaSubType == fourCC("rtmd");
    });
    if (metadata != tracks.end())
        add("the camera's metadata track",
            readRtmdSample(unlessDamaged([&] { return firstSample(file, movieTracks[metadata->index]); }),
                           *rate));
    const auto panasonic = std::ranges::find(movie.metadata, "mdta/com.panasonic.Semi-Pro.metadata.xml",
                                             &MetadataItem::identifier);
    if (panasonic != movie.metadata.end() && panasonic->stringValue)
        add("Panasonic's document in the clip",
            readPanasonicDocument(std::as_bytes(std::span(*panasonic->stringValue)), *rate));
    if (!first || !facts.timecodeRefusal.empty())
        return facts;
    TimecodeRun run;
    run.frame = frameNumber(first->address, first->base).value();
    run.counting = {first->base, first->address.dropFrame, countingRate(first->base, *rate)};
    facts.timecode = run;
    return facts;
}

} // namespace media::quicktime::camera
