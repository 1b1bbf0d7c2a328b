// SPDX-License-Identifier: GPL-3.0-or-later
// Any bytes as a QuickTime or ISO base media file: opened, every track read a little, sought in and read
// again.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "media/error.h"
#include "media/quicktime/quicktime_container.h"

namespace {

/// Reads a few runs and holds them against what every caller relies on.
void pull(media::TrackReader& reader, const media::Track& track, std::size_t fileSize) {
    constexpr int runs = 8;
    // Chunks may lie over one another; what is read at once is bounded all the same.
    constexpr std::size_t largestRead = std::size_t{256} << 10;
    media::StoredSamples run;
    for (int i = 0; i < runs && reader.next(run); ++i) {
        if (run.data.size() > std::max(fileSize, largestRead))
            std::abort();
        std::size_t bytes = 0;
        for (const auto& sample : run.samples)
            bytes += sample.size;
        if (run.frameCount > 0)
            bytes = static_cast<std::size_t>(run.frameCount) *
                    track.formatDescriptions.at(run.formatIndex).audio.value().bytesPerFrame;
        if (bytes != run.data.size())
            std::abort();
    }
}

void walk(const media::Container& container, std::size_t fileSize) {
    for (const media::Track& track : container.tracks()) {
        media::Time place;
        for (const media::Edit& edit : track.edits) {
            if (edit.start != place || edit.duration.value <= 0 || edit.duration.timescale < 1)
                std::abort();
            place = edit.start + edit.duration;
        }
        try {
            const auto reader = container.reader(track.index);
            pull(*reader, track, fileSize);
            for (const std::int64_t time : {place.ticks(track.timescale) / 2, std::int64_t{1}}) {
                reader->seek(time);
                pull(*reader, track, fileSize);
            }
        } catch (const media::Error&) {
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto bytes = std::as_bytes(std::span(data, size));
    const auto source = media::io::memorySource({bytes.begin(), bytes.end()});
    if (!media::quicktime::recognises(*source))
        return 0;
    try {
        walk(*media::quicktime::open(source), size);
    } catch (const media::Error&) {
    }
    return 0;
}
