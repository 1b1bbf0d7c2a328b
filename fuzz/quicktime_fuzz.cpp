// SPDX-License-Identifier: GPL-3.0-or-later
// Any bytes as a QuickTime or ISO base media file: opened, every track read a little, sought in and read
// again.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "media/base/error.h"
#include "media/quicktime/reader/quicktime_container.h"

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

/// The first run of a reader that shares its chunks with others has what it has alone.
void pullTogether(const media::Container& container,
                  std::span<const std::pair<std::size_t, std::vector<std::byte>>> alone) {
    std::vector<std::unique_ptr<media::TrackReader>> readers;
    for (const auto& first : alone)
        readers.push_back(container.reader(first.first));
    media::StoredSamples run;
    for (std::size_t i = 0; i < alone.size(); ++i)
        if (!readers[i]->next(run) || run.data != alone[i].second)
            std::abort();
}

void walk(const media::Container& container, std::size_t fileSize) {
    std::vector<std::pair<std::size_t, std::vector<std::byte>>> firstRuns;
    for (const media::Track& track : container.tracks()) {
        media::Time place;
        for (const media::Edit& edit : track.edits) {
            if (edit.start != place || edit.duration.value <= 0 || edit.duration.timescale < 1)
                std::abort();
            place = edit.start + edit.duration;
        }
        try {
            const auto reader = container.reader(track.index);
            media::StoredSamples first;
            if (reader->next(first))
                firstRuns.emplace_back(track.index, std::move(first.data));
            pull(*reader, track, fileSize);
            for (const std::int64_t time : {place.ticks(track.timescale) / 2, std::int64_t{1}}) {
                reader->seek(time);
                pull(*reader, track, fileSize);
            }
        } catch (const media::Error&) {
        }
    }
    if (firstRuns.size() > 1)
        pullTogether(container, firstRuns);
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
