// SPDX-License-Identifier: GPL-3.0-or-later
// Clips of small cameras, made to the layouts that docs/formats.md describes: their timecode stands in
// documents and metadata samples instead of a timecode track.
#pragma once

#include <string>

#include "tests/support/movie_builder.h"

namespace test {

/// A picture track of one byte a picture whose edit leaves out a B-frame delay, 16-bit sound at 8 kHz, and
/// the places that are asked for.
struct CameraClip {
    std::uint32_t timescale = 25'000;
    std::uint32_t frameDuration = 1'000;
    std::uint32_t pictures = 10;
    std::string document{};  ///< Sony's, in `moov/meta`
    Bytes sample{};          ///< the first one of an `rtmd` track
    std::string panasonic{}; ///< the document in the movie metadata
};
[[nodiscard]] Movie movieOf(const CameraClip& clip);
[[nodiscard]] Bytes build(const CameraClip& clip);

/// Sony's document with one row at the first frame.
[[nodiscard]] std::string sonyDocument(const std::string& tcFps, const std::string& halfStep,
                                       const std::string& value);
/// Panasonic's, with elements such as "<StartTimecode>01:00:00:00</StartTimecode>".
[[nodiscard]] std::string panasonicDocument(const std::string& elements);
/// An `rtmd` sample of 1 KiB.
[[nodiscard]] Bytes rtmdSample(std::uint8_t hours, std::uint8_t minutes, std::uint8_t seconds,
                               std::uint8_t frames, bool dropFrame);

/// A timecode track of one sample a picture in chunks of ten, with the numbers from `frame` on, which are
/// appended to the movie's data.
void addTimecodePerPicture(Movie& movie, std::uint32_t frame, std::uint32_t pictures);

} // namespace test
