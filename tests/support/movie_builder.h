// SPDX-License-Identifier: GPL-3.0-or-later
// Tiny movies made in memory: well-formed by default, and odd in whatever way a test asks for.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "media/base/byte_writer.h"

namespace test {

using Bytes = std::vector<std::byte>;
using WriteBoxes = std::function<void(media::io::ByteWriter&)>;

struct MovieEdit {
    std::int64_t duration = 0; ///< movie ticks
    std::int64_t mediaTime = 0;
    double rate = 1;
};

struct MovieTrack {
    std::uint32_t id = 1;
    std::string handler = "soun"; ///< empty: no `hdlr`
    std::uint32_t timescale = 48'000;
    std::uint32_t duration = 0;      ///< `tkhd`, movie ticks
    std::uint32_t mediaDuration = 0; ///< `mdhd`
    bool externalData = false;
    bool otherFile = false;     ///< as a second data reference
    std::vector<Bytes> entries; ///< sample entries, whole
    std::uint8_t descriptionsVersion = 0;
    std::vector<std::array<std::uint32_t, 2>> durations; ///< `stts`: count, duration
    std::vector<std::array<std::uint32_t, 2>> compositionOffsets{};
    std::vector<std::array<std::uint32_t, 3>> chunks; ///< `stsc`
    std::vector<std::uint64_t> offsets;               ///< from the first byte of the movie's data
    std::uint32_t constantSize = 0;
    std::uint32_t sampleCount = 0; ///< with a constant size
    std::vector<std::uint32_t> sizes{};
    int sizeBits = 32; ///< below 32: `stz2`
    bool wideOffsets = false;
    std::vector<MovieEdit> edits{};
    WriteBoxes moreSampleTables{}; ///< further children of `stbl`
};

struct Movie {
    std::uint32_t timescale = 1000;
    std::uint32_t duration = 0;
    std::uint32_t creationTime = 0;
    std::uint8_t version = 0; ///< of `mvhd`, `tkhd`, `mdhd`, `elst`
    std::vector<MovieTrack> tracks;
    WriteBoxes moreMovieBoxes{}; ///< further children of `moov`
    Bytes data;                  ///< content of `mdat`
};

/// How the boxes of a file are laid out.
struct FileLayout {
    bool fileType = true;
    std::string_view brand = "qt  "; ///< major brand
    bool headerFirst = false;
    bool wide = false;       ///< an 8-byte hole before `mdat`
    bool largeSizes = false; ///< `mdat` with a 64-bit size
    bool openEnded = false;  ///< the last box has size 0
    bool compressed = false; ///< `cmov`
};

[[nodiscard]] Bytes build(const Movie& movie, const FileLayout& layout = {});

/// Samples of track 1 behind its tables (ISO/IEC 14496-12, 8.8).
struct Fragment {
    struct Sample {
        std::uint32_t duration;
        std::uint32_t size;
    };
    std::vector<std::vector<Sample>> runs; ///< `trun`
    Bytes data;
    std::optional<std::uint64_t> time{}; ///< `tfdt`
    std::optional<std::uint64_t> base{}; ///< of the data's offset, where it is stated
    bool baseIsFragment = false;
    std::uint32_t description = 0;    ///< sample description, counted from 1, where it is stated
    std::optional<Sample> defaults{}; ///< every sample's, in the header instead of the runs
};
[[nodiscard]] Bytes build(const Fragment& fragment);
/// `mvex`, which says that there are fragments.
void movieExtends(media::io::ByteWriter& w);

/// A sound entry of version 0 or 1 (samples a packet, bytes a packet, a frame, a sample).
[[nodiscard]] Bytes soundEntry(const char (&code)[5], std::uint16_t channels, std::uint16_t bits, double rate,
                               const WriteBoxes& boxes = {}, std::vector<std::uint32_t> version1 = {},
                               std::int16_t compressionID = 0);
/// `esds` with an AudioSpecificConfig, its descriptor lengths padded to `lengthBytes`.
[[nodiscard]] WriteBoxes elementaryStream(std::uint8_t objectType, const std::vector<std::uint8_t>& config,
                                          int lengthBytes);
/// A sound entry of version 2.
[[nodiscard]] Bytes soundEntry2(const char (&code)[5], std::uint32_t channels, std::uint32_t bits,
                                double rate, std::uint32_t flags, std::uint32_t bytesPerPacket,
                                std::uint32_t framesPerPacket);
[[nodiscard]] Bytes timecodeEntry(std::uint32_t flags, std::uint32_t timescale, std::uint32_t frameDuration,
                                  std::uint8_t frames, const char (&code)[5] = "tmcd",
                                  std::string_view reel = {});
[[nodiscard]] Bytes videoEntry(std::uint16_t width, std::uint16_t height);

/// A `meta` box with one text (of type 1, UTF-8, or another) behind a key of another name space.
void quickTimeMetadata(media::io::ByteWriter& w, std::string_view key, std::string_view value,
                       std::uint32_t type = 1);

/// A movie of one 16-bit mono track whose frames are the numbers from 0 on, big-endian, in chunks of the
/// given lengths that lie one after the other.
[[nodiscard]] Movie rampMovie(const std::vector<std::uint32_t>& chunks = {100});

} // namespace test
