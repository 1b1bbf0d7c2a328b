// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/movie_lanes.h"

#include <algorithm>
#include <random>
#include <thread>

#include "media/quicktime/writer/lane_crew.h"
#include "media/track/format_description.h"
#include "tests/support/movie_builder.h"

namespace test {

Bytes timecodeEntry(const TimecodeEntry& entry) {
    const bool is64 = entry.code == media::fourCC("tc64");
    Bytes bytes = timecodeEntry(entry.flags, entry.timescale, entry.frameDuration, entry.quanta,
                                is64 ? "tc64" : "tmcd", entry.reel);
    bytes[15] = static_cast<std::byte>(entry.dataReference);
    return bytes;
}

media::Track timecodeTrack(const TimecodeEntry& entry, std::int64_t timescale,
                           std::vector<media::Edit> edits) {
    media::Track track;
    track.mediaType = media::MediaType::timecode;
    track.timescale = timescale;
    media::FormatDescription& format = track.formatDescriptions.emplace_back();
    format.mediaType = media::MediaType::timecode;
    format.mediaSubType = entry.code;
    format.sampleEntry = timecodeEntry(entry);
    format.timecode = media::TimecodeDescription{entry.quanta,
                                                 entry.flags % 2 == 1,
                                                 {entry.timescale, entry.frameDuration},
                                                 entry.code == media::fourCC("tc64")};
    track.edits = std::move(edits);
    return track;
}

media::SampleBuffer timecodeSample(std::int64_t frameNumber, media::Time start, std::int64_t duration,
                                   std::size_t bytes) {
    media::io::ByteWriter number;
    number.i64(frameNumber);
    media::SampleBuffer buffer;
    buffer.data.assign(number.bytes().end() - static_cast<std::ptrdiff_t>(bytes), number.bytes().end());
    buffer.sampleCount = 1;
    buffer.presentationTime = start;
    buffer.duration = duration;
    buffer.frameNumber = frameNumber;
    return buffer;
}

Bytes noise(std::size_t bytes, unsigned seed) {
    std::mt19937 random(seed);
    Bytes data(bytes);
    for (std::byte& byte : data)
        byte = static_cast<std::byte>(random());
    return data;
}

std::vector<media::SampleBuffer> soundBuffers(const Bytes& pcm, std::size_t bytesPerFrame,
                                              std::int64_t rate) {
    const std::size_t step = static_cast<std::size_t>(rate / 4) * bytesPerFrame;
    std::vector<media::SampleBuffer> buffers;
    for (std::size_t at = 0; at < pcm.size(); at += step) {
        const std::size_t count = std::min(step, pcm.size() - at);
        media::SampleBuffer& buffer = buffers.emplace_back();
        const auto begin = pcm.begin() + static_cast<std::ptrdiff_t>(at);
        buffer.data.assign(begin, begin + static_cast<std::ptrdiff_t>(count));
        buffer.sampleCount = static_cast<std::int64_t>(count / bytesPerFrame);
        buffer.presentationTime = {static_cast<std::int64_t>(at / bytesPerFrame), rate};
    }
    return buffers;
}

namespace {

/// One lane being fed, at random speed.
struct Feeding final : media::LaneWork {
    Feeding(const FedLane& what, unsigned seed) : lane(what), random(seed) {}
    [[nodiscard]] bool hasRoom() const noexcept override { return lane.input.hasRoom(); }
    [[nodiscard]] double position() const noexcept override { return static_cast<double>(next); }
    [[nodiscard]] bool step() noexcept override {
        if (random() % 8 == 0)
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
        if (next < lane.buffers.size() && (taken = lane.input.append(lane.buffers[next++])))
            return true;
        lane.input.markAsFinished();
        return false;
    }

    const FedLane& lane;
    std::mt19937 random;
    std::size_t next = 0;
    bool taken = true;
};

} // namespace

bool feed(const std::vector<FedLane>& lanes, unsigned seed) {
    std::vector<Feeding> feeding;
    for (const FedLane& lane : lanes)
        feeding.emplace_back(lane, seed + static_cast<unsigned>(feeding.size()));
    std::vector<media::LaneWork*> work;
    for (Feeding& lane : feeding)
        work.push_back(&lane);
    media::LaneCrew().run(work, 1 + (lanes.size() + seed) % (lanes.size() + 1));
    return std::ranges::all_of(feeding, [](const Feeding& lane) { return lane.taken; });
}

} // namespace test
