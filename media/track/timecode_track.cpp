// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/track/timecode_track.h"

#include <algorithm>
#include <numeric>

namespace media {

namespace {

constexpr std::int64_t largestTimescale = 10'000'000;
/// Ticks of a sample at most: a timecode sample's duration has 32 bits.
constexpr std::int64_t longestSample = std::int64_t{1} << 31;

} // namespace

TimecodeTrack::TimecodeTrack(const std::vector<TimecodeRun>& runs, Time end) {
    const Rational rate = runs.front().counting.rate;
    // Ticks in which a frame, every run's start and the clip's end are whole where that takes no absurd
    // scale.
    std::int64_t timescale = rate.num;
    const auto widen = [&](std::int64_t scale) {
        const std::int64_t factor = scale / std::gcd(timescale, scale);
        if (factor <= largestTimescale / timescale)
            timescale *= factor;
    };
    const auto widenFor = [&](Time time) { widen(time.timescale / std::gcd(time.value, time.timescale)); };
    widenFor(end);
    for (const TimecodeRun& run : runs)
        widenFor(run.start);

    std::vector<Sample> samples;
    const std::int64_t endTicks = end.ticks(timescale);
    // Samples longer than their duration field are split at a frame's start.
    const std::int64_t ticksPerFrame = io::checkedMultiply(rate.den, timescale / rate.num);
    const std::int64_t longestRun = std::max<std::int64_t>(longestSample / ticksPerFrame, 1);
    for (std::size_t i = 0; i < runs.size(); ++i) {
        std::int64_t tick = runs[i].start.ticks(timescale);
        const std::int64_t runEnd =
            i + 1 < runs.size() ? std::min(runs[i + 1].start.ticks(timescale), endTicks) : endTicks;
        std::int64_t frame = runs[i].frame;
        while (tick < runEnd) {
            const std::int64_t duration = std::min(runEnd - tick, longestRun * ticksPerFrame);
            samples.push_back({tick, duration, frame});
            tick += duration;
            frame += longestRun;
        }
    }
    track_.mediaType = MediaType::timecode;
    track_.timescale = timescale;
    FormatDescription& format = track_.formatDescriptions.emplace_back();
    format.mediaType = MediaType::timecode;
    format.timecode = runs.front().counting;
    format.timecode->isWide = std::ranges::any_of(
        samples, [](const Sample& sample) { return sample.frame < 0 || sample.frame > UINT32_MAX; });
    if (endTicks > 0)
        track_.edits.push_back({{0, timescale}, {endTicks, timescale}, 0});
    samples_ = std::make_shared<const std::vector<Sample>>(std::move(samples));
}

class TimecodeTrack::Reader final : public TrackReader {
  public:
    explicit Reader(std::shared_ptr<const std::vector<Sample>> samples) : samples_(std::move(samples)) {}

    bool next(StoredSamples& out) override {
        constexpr std::size_t mostSamples = 1024;
        const std::size_t count = std::min(mostSamples, samples_->size() - next_);
        if (count == 0)
            return false;
        out = {};
        out.mediaTime = (*samples_)[next_].mediaTime;
        for (const Sample& sample : std::span(*samples_).subspan(next_, count)) {
            out.samples.push_back({0, static_cast<std::uint32_t>(sample.duration)});
            out.frameNumbers.emplace_back(sample.frame);
        }
        next_ += count;
        return true;
    }

    void seek(std::int64_t mediaTime) override {
        const auto after = std::ranges::find_if(
            *samples_, [&](const Sample& sample) { return mediaTime < sample.mediaTime + sample.duration; });
        next_ = static_cast<std::size_t>(after - samples_->begin());
    }

  private:
    std::shared_ptr<const std::vector<Sample>> samples_;
    std::size_t next_ = 0;
};

std::unique_ptr<TrackReader> TimecodeTrack::reader() const {
    return std::make_unique<Reader>(samples_);
}

} // namespace media
