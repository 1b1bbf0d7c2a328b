// SPDX-License-Identifier: GPL-3.0-or-later
// Movies of sound whose packets have times of all kinds, drawn from a seed, with what is needed to say where
// each of their samples belongs.
#pragma once

#include "tests/support/movie_builder.h"

namespace test {

struct TimedPacket {
    std::int64_t start = 0;    ///< as stated, ticks
    std::int64_t duration = 0; ///< as stated, ticks
    std::int64_t first = 0;    ///< in `pcm`: the frames that it decodes to
    std::int64_t frames = 0;
    Bytes bytes{};
    bool opensFragment = false;
};

/// One track, linear PCM, A-law, Apple Lossless or AAC.
struct TimedMovie {
    std::string codec; ///< sowt, alaw, alac, mp4a
    std::uint32_t rate = 48'000;
    std::uint16_t channels = 1;
    std::uint32_t timescale = 48'000;
    std::uint32_t movieTimescale = 600;
    bool fragmented = false;
    std::vector<TimedPacket> packets;
    std::vector<MovieEdit> edits{};
    std::uint32_t statedMediaEnd = 0;   ///< `mdhd`, ticks
    std::uint32_t timecodePictures = 0; ///< above 0: with a timecode track of as many, 60000/1001 a second
    std::vector<std::int16_t> pcm{};    ///< interleaved: what the packets decode to, one after the other

    [[nodiscard]] std::int64_t mediaEnd() const; ///< ticks
    [[nodiscard]] Bytes file() const;
};

/// A movie with `count` packets of a codec that follow each other without a gap, in ticks of `timescale`; of
/// linear PCM, A-law and Apple Lossless every frame can be told from all others.
[[nodiscard]] TimedMovie regularMovie(const std::string& codec, std::uint32_t rate, std::uint16_t channels,
                                      std::uint32_t timescale, std::size_t count, bool fragmented = false,
                                      unsigned seed = 0);

/// Any movie.
[[nodiscard]] TimedMovie drawMovie(unsigned seed);

} // namespace test
