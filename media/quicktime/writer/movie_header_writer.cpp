// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/writer/movie_header_writer.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "media/base/byte_reader.h"
#include "media/quicktime/writer/header_builder.h"

namespace media::quicktime {

namespace {

constexpr std::uint64_t largest32 = std::numeric_limits<std::uint32_t>::max();
/// Readers that take durations as signed numbers are served by a 64-bit one above this.
constexpr std::int64_t largestShortDuration = std::numeric_limits<std::int32_t>::max();

/// A time scale in which the ends of all edits and single frames of sound are whole. (Readers take an edit
/// that ends less than a tick before its media for a rounded one and play on: with coarse ticks that would be
/// an encoder's padding.) When it would pass 31 bits the longest tracks count first, and what isn't whole is
/// rounded to the finest ticks there are.
std::int64_t movieTimescale(std::span<WrittenTrack* const> tracks) {
    constexpr std::int64_t smallest = 48'000;
    constexpr std::int64_t largest = std::numeric_limits<std::int32_t>::max();
    std::int64_t timescale = 1;
    bool isExact = true;
    const auto include = [&](std::int64_t ticks) {
        const std::int64_t factor = ticks / std::gcd(ticks, timescale);
        if (factor <= largest / timescale)
            timescale *= factor;
        else
            isExact = false;
    };
    std::vector<WrittenTrack*> longestFirst(tracks.begin(), tracks.end());
    const auto end = [](const WrittenTrack* track) {
        return track->edits.empty() ? Time{} : track->edits.back().start + track->edits.back().duration;
    };
    std::stable_sort(longestFirst.begin(), longestFirst.end(),
                     [&](const WrittenTrack* a, const WrittenTrack* b) { return end(a) > end(b); });
    for (const WrittenTrack* track : longestFirst)
        for (const Edit& edit : track->edits) {
            const Time editEnd = edit.start + edit.duration;
            include(editEnd.timescale / std::gcd(editEnd.value, editEnd.timescale));
        }
    for (const WrittenTrack* track : longestFirst)
        if (track->mediaType == MediaType::audio)
            include(track->timescale);
    if (!isExact)
        return timescale * (largest / timescale);
    return timescale >= smallest ? timescale : timescale * ((smallest + timescale - 1) / timescale);
}

class HeaderWriter {
  public:
    HeaderWriter(std::span<WrittenTrack* const> tracks, std::span<const MetadataItem> metadata)
        : tracks_(tracks), metadata_(metadata), timescale_(movieTimescale(tracks)) {}

    void write(MovieOutput& output) {
        builder_.box(fourCC("moov"), [&] {
            movieHeader();
            for (std::size_t index = 0; index < tracks_.size(); ++index)
                track(*tracks_[index], static_cast<std::uint32_t>(index + 1));
            metadata();
        });
        builder_.write(output);
    }

  private:
    [[nodiscard]] std::int64_t durationOf(const WrittenTrack& track) const {
        return track.edits.empty()
                   ? 0
                   : (track.edits.back().start + track.edits.back().duration).ticks(timescale_);
    }

    /// A duration and what goes with it in 32 or 64 bits, as the box's version says.
    void number(std::uint8_t version, std::int64_t value) {
        if (version == 1)
            bytes().i64(value);
        else
            bytes().u32(static_cast<std::uint32_t>(value));
    }
    static std::uint8_t versionFor(std::int64_t duration) { return duration > largestShortDuration ? 1 : 0; }

    void matrix() {
        for (const std::uint32_t value : {0x10000U, 0U, 0U, 0U, 0x10000U, 0U, 0U, 0U, 0x40000000U})
            bytes().u32(value);
    }

    void movieHeader() {
        std::int64_t duration = 0;
        for (const WrittenTrack* track : tracks_)
            duration = std::max(duration, durationOf(*track));
        const std::uint8_t version = versionFor(duration);
        builder_.fullBox(fourCC("mvhd"), version, 0, [&] {
            number(version, 0); // created and modified: unknown, so that the same clip gives the same bytes
            number(version, 0);
            bytes().u32(static_cast<std::uint32_t>(timescale_));
            number(version, duration);
            bytes().u32(0x10000); // rate
            bytes().u16(0x100);   // volume
            bytes().zeros(10);
            matrix();
            bytes().zeros(24);
            bytes().u32(static_cast<std::uint32_t>(tracks_.size() + 1));
        });
    }

    void track(const WrittenTrack& track, std::uint32_t id) {
        builder_.box(fourCC("trak"), [&] {
            trackHeader(track, id);
            edits(track);
            if (track.mediaType == MediaType::audio)
                builder_.box(fourCC("tref"), [&] { // editors take the sound's timecode from there
                    for (std::size_t index = 0; index < tracks_.size(); ++index)
                        if (tracks_[index]->mediaType == MediaType::timecode)
                            builder_.box(fourCC("tmcd"),
                                         [&] { bytes().u32(static_cast<std::uint32_t>(index + 1)); });
                });
            media(track);
        });
    }

    void trackHeader(const WrittenTrack& track, std::uint32_t id) {
        constexpr std::uint32_t enabledEverywhere = 0xF;
        const std::int64_t duration = durationOf(track);
        const std::uint8_t version = versionFor(duration);
        builder_.fullBox(fourCC("tkhd"), version, enabledEverywhere, [&] {
            number(version, 0);
            number(version, 0);
            bytes().u32(id);
            bytes().u32(0);
            number(version, duration);
            bytes().zeros(8);
            bytes().u16(0); // layer
            bytes().u16(0); // alternate group: none, all sound tracks play
            bytes().u16(track.mediaType == MediaType::audio ? 0x100 : 0);
            bytes().u16(0);
            matrix();
            bytes().zeros(8); // width and height
        });
    }

    void edits(const WrittenTrack& track) {
        // Differences of rounded times: a rounded edit shifts none behind it.
        const auto ticks = [&](const Edit& edit) {
            return (edit.start + edit.duration).ticks(timescale_) - edit.start.ticks(timescale_);
        };
        // To some readers a duration of 0 means the rest of the media.
        std::vector<Edit> edits = track.edits;
        std::erase_if(edits, [&](const Edit& edit) { return ticks(edit) <= 0; });
        if (edits.empty())
            return;
        std::uint8_t version = versionFor(durationOf(track));
        for (const Edit& edit : edits)
            version = std::max(version, versionFor(edit.mediaTime));
        builder_.box(fourCC("edts"), [&] {
            builder_.fullBox(fourCC("elst"), version, 0, [&] {
                bytes().u32(io::checked<std::uint32_t>(edits.size()));
                for (const Edit& edit : edits) {
                    number(version, ticks(edit));
                    number(version, edit.mediaTime);
                    bytes().u32(0x10000); // rate
                }
            });
        });
    }

    void handler(FourCC type, FourCC subtype, std::string_view name) {
        builder_.fullBox(fourCC("hdlr"), 0, 0, [&] {
            bytes().u32(type);
            bytes().u32(subtype);
            bytes().zeros(12);
            bytes().u8(static_cast<std::uint8_t>(name.size())); // a Pascal string
            bytes().text(name);
        });
    }

    void media(const WrittenTrack& track) {
        constexpr std::uint16_t unspecifiedLanguage = 0x7FFF;
        const bool isTimecode = track.mediaType == MediaType::timecode;
        builder_.box(fourCC("mdia"), [&] {
            const auto duration = static_cast<std::int64_t>(track.mediaDuration);
            const std::uint8_t version = versionFor(duration);
            builder_.fullBox(fourCC("mdhd"), version, 0, [&] {
                number(version, 0);
                number(version, 0);
                bytes().u32(static_cast<std::uint32_t>(track.timescale));
                number(version, duration);
                bytes().u16(unspecifiedLanguage);
                bytes().u16(0); // quality
            });
            handler(fourCC("mhlr"), track.handler,
                    isTimecode ? "Time Code Media Handler" : "Sound Media Handler");
            builder_.box(fourCC("minf"), [&] {
                if (isTimecode)
                    timecodeHeader();
                else
                    builder_.fullBox(fourCC("smhd"), 0, 0, [&] { bytes().u32(0); });
                handler(fourCC("dhlr"), fourCC("alis"), "Alias Data Handler");
                builder_.box(fourCC("dinf"), [&] {
                    builder_.fullBox(fourCC("dref"), 0, 0, [&] {
                        constexpr std::uint32_t sameFile = 1;
                        const std::uint32_t count = dataReferences(track);
                        bytes().u32(count);
                        for (std::uint32_t i = 0; i < count; ++i)
                            builder_.fullBox(fourCC("alis"), 0, sameFile, [] {});
                    });
                });
                sampleTable(track);
            });
        });
    }

    /// As many as it takes for the one that the sample description names, which stays as it was in the
    /// source.
    static std::uint32_t dataReferences(const WrittenTrack& track) {
        constexpr std::size_t placeInEntry = 14;
        constexpr std::uint32_t most = 64; // beyond is nonsense
        io::ByteReader entry(track.sampleEntry);
        entry.skip(placeInEntry);
        return std::clamp<std::uint32_t>(entry.u16(), 1, most);
    }

    /// QuickTime File Format, base media information header and timecode media information.
    void timecodeHeader() {
        builder_.box(fourCC("gmhd"), [&] {
            builder_.fullBox(fourCC("gmin"), 0, 0, [&] {
                bytes().u16(0x40); // graphics mode: dither copy
                for (int colour = 0; colour < 3; ++colour)
                    bytes().u16(0x8000);
                bytes().u16(0); // balance
                bytes().u16(0);
            });
            builder_.box(fourCC("tmcd"), [&] {
                builder_.fullBox(fourCC("tcmi"), 0, 0, [&] {
                    constexpr std::string_view font = "Helvetica";
                    bytes().u16(0);  // font number: take the name
                    bytes().u16(0);  // face
                    bytes().u16(12); // size
                    bytes().u16(0);
                    bytes().zeros(6); // text colour: black
                    for (int colour = 0; colour < 3; ++colour)
                        bytes().u16(0xFFFF); // background: white
                    bytes().u8(static_cast<std::uint8_t>(font.size()));
                    bytes().text(font);
                });
            });
        });
    }

    void sampleTable(const WrittenTrack& track) {
        builder_.box(fourCC("stbl"), [&] {
            builder_.fullBox(fourCC("stsd"), 0, 0, [&] {
                bytes().u32(1);
                bytes().raw(track.sampleEntry);
            });
            builder_.fullBox(fourCC("stts"), 0, 0, [&] {
                bytes().u32(io::checked<std::uint32_t>(track.durations.runCount()));
                builder_.runs(track.durations, 8, [](io::ByteWriter& out, const Run& run) {
                    out.u32(io::checked<std::uint32_t>(run.count));
                    out.u32(io::checked<std::uint32_t>(run.value));
                });
            });
            builder_.fullBox(fourCC("stsc"), 0, 0, [&] {
                bytes().u32(io::checked<std::uint32_t>(track.samplesPerChunk.runCount()));
                builder_.runs(track.samplesPerChunk, 12,
                              [chunk = std::uint64_t{1}](io::ByteWriter& out, const Run& run) mutable {
                                  out.u32(io::checked<std::uint32_t>(chunk));
                                  out.u32(io::checked<std::uint32_t>(run.value));
                                  out.u32(1); // sample description
                                  chunk += run.count;
                              });
            });
            sampleSizes(track);
            const bool wide = track.chunkOffsets.largest() > largest32;
            builder_.fullBox(wide ? fourCC("co64") : fourCC("stco"), 0, 0, [&] {
                bytes().u32(io::checked<std::uint32_t>(track.chunkOffsets.count()));
                builder_.table(track.chunkOffsets,
                               wide ? HeaderBuilder::Numbers::wide : HeaderBuilder::Numbers::narrow);
            });
            if (track.hidesPriming)
                rollGroups(io::checked<std::uint32_t>(track.sampleCount));
        });
    }

    void sampleSizes(const WrittenTrack& track) {
        builder_.fullBox(fourCC("stsz"), 0, 0, [&] {
            const auto same = track.frameSize > 0 ? track.frameSize : track.sizes.constant().value_or(0);
            bytes().u32(static_cast<std::uint32_t>(same));
            bytes().u32(io::checked<std::uint32_t>(track.sampleCount));
            if (same == 0)
                builder_.table(track.sizes, HeaderBuilder::Numbers::narrow);
        });
    }

    /// ISO/IEC 14496-12, 10.1: each packet is right only after the one before it. With an edit that begins
    /// behind the priming, this is what makes Apple's readers take the edit as it stands.
    void rollGroups(std::uint32_t packets) {
        builder_.fullBox(fourCC("sgpd"), 1, 0, [&] {
            bytes().u32(fourCC("roll"));
            bytes().u32(2); // bytes of a description
            bytes().u32(1);
            bytes().i16(-1);
        });
        builder_.fullBox(fourCC("sbgp"), 0, 0, [&] {
            bytes().u32(fourCC("roll"));
            bytes().u32(1);
            bytes().u32(packets);
            bytes().u32(1);
        });
    }

    void metadata() {
        if (metadata_.empty())
            return;
        builder_.box(fourCC("meta"), [&] { // in QuickTime a plain box
            builder_.fullBox(fourCC("hdlr"), 0, 0, [&] {
                bytes().u32(0);
                bytes().u32(fourCC("mdta"));
                bytes().zeros(12 + 2);
            });
            builder_.fullBox(fourCC("keys"), 0, 0, [&] {
                bytes().u32(static_cast<std::uint32_t>(metadata_.size()));
                for (const MetadataItem& item : metadata_)
                    builder_.box(fourCC("mdta"), [&] { bytes().text(item.identifier); });
            });
            builder_.box(fourCC("ilst"), [&] {
                FourCC index = 0;
                for (const MetadataItem& item : metadata_)
                    builder_.box(++index, [&] {
                        constexpr std::uint32_t utf8 = 1;
                        builder_.box(fourCC("data"), [&] {
                            bytes().u32(utf8);
                            bytes().u32(0); // any locale
                            bytes().text(item.stringValue.value_or(std::string()));
                        });
                    });
            });
        });
    }

    io::ByteWriter& bytes() { return builder_.bytes; }

    std::span<WrittenTrack* const> tracks_;
    std::span<const MetadataItem> metadata_;
    std::int64_t timescale_;
    HeaderBuilder builder_;
};

} // namespace

void writeMovieHeader(MovieOutput& output, std::span<WrittenTrack* const> tracks,
                      std::span<const MetadataItem> metadata) {
    HeaderWriter(tracks, metadata).write(output);
}

} // namespace media::quicktime
