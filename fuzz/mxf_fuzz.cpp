// SPDX-License-Identifier: GPL-3.0-or-later
// Any bytes as an MXF file: opened, asked for everything it says, its tracks read from the start and again
// after a seek. Nothing but media::Error may come out.
#include <cstddef>
#include <cstdint>

#include "media/mxf/mxf_container.h"
#include "media/track/format_description.h"

namespace {

constexpr std::size_t largestInput = 256 << 10;
constexpr std::size_t mostTracks = 4;
constexpr int mostReads = 24;

void readSome(media::TrackReader& reader) {
    media::StoredSamples samples;
    for (int i = 0; i < mostReads && reader.next(samples); ++i) {
    }
}

void readTrack(const media::Container& container, const media::Track& track) {
    try {
        const auto reader = container.reader(track.index);
        readSome(*reader);
        reader->seek(track.edits.empty() ? 1 : track.edits.back().mediaTime + 1);
        readSome(*reader);
    } catch (const media::Error&) { // as good an end as any other
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > largestInput)
        return 0;
    const auto bytes = std::as_bytes(std::span(data, size));
    try {
        const auto container = media::mxf::open(media::io::memorySource({bytes.begin(), bytes.end()}));
        std::size_t read = 0;
        for (const media::Track& track : container->tracks()) {
            (void)track.end();
            if (track.mediaType != media::MediaType::video && read++ < mostTracks)
                readTrack(*container, track);
        }
    } catch (const media::Error&) {
    }
    return 0;
}
