// SPDX-License-Identifier: GPL-3.0-or-later
// Feeds an asset writer from parallel threads, as the copy of a clip does.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "media/quicktime/writer/asset_writer.h"
#include "tests/support/movie_boxes.h"

namespace test {

/// A timecode sample description, whole with its size word, with the data reference and a reel name as given.
struct TimecodeEntry {
    media::FourCC code = media::fourCC("tmcd");
    std::uint32_t flags = 0;
    std::uint32_t timescale = 25;
    std::uint32_t frameDuration = 1;
    std::uint8_t quanta = 25;
    std::uint16_t dataReference = 1;
    std::string_view reel{};
};
[[nodiscard]] Bytes timecodeEntry(const TimecodeEntry& entry);

/// A timecode track as a container describes it.
[[nodiscard]] media::Track timecodeTrack(const TimecodeEntry& entry, std::int64_t timescale,
                                         std::vector<media::Edit> edits);

/// One timecode sample of 4 or 8 bytes.
[[nodiscard]] media::SampleBuffer timecodeSample(std::int64_t frameNumber, media::Time start,
                                                 std::int64_t duration, std::size_t bytes = 4);

/// Repeatable noise of any length.
[[nodiscard]] Bytes noise(std::size_t bytes, unsigned seed);

/// Sound in buffers of a quarter of a second.
[[nodiscard]] std::vector<media::SampleBuffer> soundBuffers(const Bytes& pcm, std::size_t bytesPerFrame,
                                                            std::int64_t rate);

struct FedLane {
    media::WriterInput& input;
    std::vector<media::SampleBuffer> buffers;
};
/// Appends all lanes' buffers side by side, each lane at a speed that depends on the seed. Returns whether
/// every append was taken.
bool feed(const std::vector<FedLane>& lanes, unsigned seed = 0);

} // namespace test
