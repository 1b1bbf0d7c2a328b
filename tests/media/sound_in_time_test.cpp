// SPDX-License-Identifier: GPL-3.0-or-later
// Is every sample of sound where the movie's stated times put it? The times alone say so, for drawn movies
// and for named ones. FERROWICK_MOVIES and FERROWICK_SEED: how many movies to draw, and the first one's seed.
#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>
#include <unordered_map>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "media/base/sample_rate.h"
#include "media/open.h"
#include "media/track/track_output.h"
#include "tests/support/timed_movie.h"

namespace {

using test::TimedMovie;
using test::TimedPacket;

std::vector<std::int16_t> soundOf(const TimedMovie& movie,
                                  std::size_t most = std::numeric_limits<std::size_t>::max(),
                                  std::size_t padding = 0) {
    test::Bytes file = movie.file();
    file.resize(file.size() + padding); // a file as small as ours would not be believed
    const media::Asset asset = media::openAsset(media::io::memorySource(std::move(file)));
    media::TrackOutput output(asset, asset.tracks(media::MediaType::audio).front(), 16);
    EXPECT_EQ(output.channels(), movie.channels);
    std::vector<std::int16_t> pcm;
    media::SampleBuffer buffer;
    while (pcm.size() < most && output.copyNextSampleBuffer(buffer))
        for (std::size_t i = 0; i + 1 < buffer.data.size(); i += 2)
            pcm.push_back(static_cast<std::int16_t>(std::to_integer<unsigned>(buffer.data[i]) |
                                                    std::to_integer<unsigned>(buffer.data[i + 1]) << 8));
    return pcm;
}

/// Seconds; `media` below 0 shows nothing.
struct Shown {
    double begin;
    double end;
    double media;
};

std::vector<Shown> shownBy(const TimedMovie& movie) {
    const double mediaEnd = static_cast<double>(movie.mediaEnd()) / movie.timescale;
    if (movie.edits.empty())
        return {{0, mediaEnd, 0}};
    std::vector<Shown> shown;
    double place = 0;
    for (const test::MovieEdit& edit : movie.edits) {
        const double length = static_cast<double>(edit.duration) / movie.movieTimescale;
        const bool none = edit.mediaTime < 0 || edit.rate == 0;
        shown.push_back(
            {place, place + length, none ? -1 : static_cast<double>(edit.mediaTime) / movie.timescale});
        place += length;
    }
    while (!shown.empty() && (shown.back().media < 0 || shown.back().media >= mediaEnd))
        shown.pop_back(); // trailing silence is not delivered
    if (!shown.empty()) {
        Shown& last = shown.back();
        const double rest = last.begin + mediaEnd - last.media;
        if (last.end > rest || rest - last.end < 1.0 / movie.movieTimescale)
            last.end = rest;
    }
    return shown;
}

/// Tells which of the packets' frames a delivered one is.
class Recogniser {
  public:
    explicit Recogniser(const TimedMovie& movie)
        : channels_(movie.channels), run_(movie.codec == "mp4a" ? 4 : 1) {
        for (std::size_t i = 0; i + run_ <= movie.pcm.size() / channels_; ++i)
            if (const auto [mark, isNew] = frames_.try_emplace(key(movie.pcm, i), i); !isNew)
                mark->second = -1; // more than one place
    }
    [[nodiscard]] std::int64_t find(const std::vector<std::int16_t>& pcm, std::size_t frame) const {
        if (frame + run_ > pcm.size() / channels_)
            return -1;
        const auto found = frames_.find(key(pcm, frame));
        return found != frames_.end() ? found->second : -1;
    }
    [[nodiscard]] bool isCertain() const { return run_ == 1; }

  private:
    [[nodiscard]] std::uint64_t key(const std::vector<std::int16_t>& pcm, std::size_t frame) const {
        std::uint64_t key = 0;
        for (std::size_t i = 0; i < run_; ++i)
            key = key << 16 | static_cast<std::uint16_t>(pcm[(frame + i) * channels_]);
        return run_ == 1 && channels_ > 1 ? key << 16 | static_cast<std::uint16_t>(pcm[frame * channels_ + 1])
                                          : key;
    }
    std::size_t channels_;
    std::size_t run_; ///< frames that make up a mark
    std::unordered_map<std::uint64_t, std::int64_t> frames_;
};

struct Figures {
    double farthest = 0; ///< seconds between a frame and its packet's stated time
    std::int64_t recognised = 0;
    std::int64_t unknown = 0;
};

/// What is wrong with the sound that a movie gives, or nothing.
std::string verdict(const TimedMovie& movie, const std::vector<std::int16_t>& pcm, Figures& figures) {
    constexpr double tolerance = 0.005;
    const double frame = 1.0 / movie.rate;
    const double tick = 1.0 / movie.timescale;
    const auto shown = shownBy(movie);
    const auto frames = pcm.size() / movie.channels;
    const double end = shown.empty() ? 0 : shown.back().end;
    if (std::abs(static_cast<double>(frames) * frame - end) > 1.01 / movie.movieTimescale + 1.5 * frame)
        return "lasts " + std::to_string(static_cast<double>(frames) * frame) + " s, not " +
               std::to_string(end);
    const Recogniser recogniser(movie);
    const auto startOf = [&](const TimedPacket& packet) { return static_cast<double>(packet.start) * tick; };
    std::size_t part = 0;
    std::int64_t last = -1;
    for (std::size_t t = 0; t < frames; ++t) {
        const double time = static_cast<double>(t) * frame;
        while (part + 1 < shown.size() && time >= shown[part].end) {
            ++part;
            last = -1;
        }
        const Shown& now = shown[part];
        if (time < now.begin + 1.5 * frame || time > now.end - 6 * frame)
            continue;
        const double media = now.media + time - now.begin;
        const auto said = [&](const char* what) {
            return std::string(what) + " at " + std::to_string(time) + " s, media " + std::to_string(media);
        };
        bool silent = true;
        for (std::size_t i = t * movie.channels; i < (t + 1) * movie.channels; ++i)
            silent = silent && pcm[i] == 0;
        if (!silent) {
            const std::int64_t found = recogniser.find(pcm, t);
            if (found < 0) {
                ++figures.unknown;
                if (recogniser.isCertain())
                    return said("unknown sound");
                continue;
            }
            if (now.media < 0)
                return said("sound in an empty edit");
            const auto packet = std::prev(
                std::upper_bound(movie.packets.begin(), movie.packets.end(), found,
                                 [](std::int64_t at, const TimedPacket& p) { return at < p.first; }));
            const double stated = startOf(*packet) + static_cast<double>(found - packet->first) * frame;
            const double distance = std::abs(stated - media);
            const bool exact = packet == movie.packets.begin();
            if (distance > (exact ? 0 : tolerance) + 1.6 * frame)
                return said("sound is off") + ": " + std::to_string((media - stated) * 1000) + " ms";
            figures.farthest = std::max(figures.farthest, distance);
            if (found <= last && recogniser.isCertain())
                return said("sound is repeated");
            last = found;
            ++figures.recognised;
        } else if (now.media >= 0 && recogniser.isCertain()) {
            for (const TimedPacket& packet : movie.packets) {
                const double length = std::min(static_cast<double>(packet.frames) * frame,
                                               static_cast<double>(packet.duration) * tick);
                if (media > startOf(packet) + tolerance + 2 * frame &&
                    media < startOf(packet) + length - tolerance - 2 * frame)
                    return said("sound is missing");
            }
        }
    }
    return {};
}

void expectInTime(const TimedMovie& movie, const std::string& name) {
    Figures figures;
    EXPECT_EQ(verdict(movie, soundOf(movie), figures), "") << name;
    EXPECT_GT(figures.recognised, 2 * figures.unknown) << name;
}

std::int64_t fromEnvironment(const char* name, std::int64_t otherwise) {
    const char* const value = std::getenv(name);
    return value != nullptr ? std::atoll(value) : otherwise;
}

/// Gives the packets durations one after the other, the last one to all that are left.
TimedMovie withDurations(TimedMovie movie, const std::vector<std::int64_t>& durations) {
    std::int64_t time = movie.packets.front().start;
    for (std::size_t i = 0; i < movie.packets.size(); ++i) {
        movie.packets[i].start = time;
        movie.packets[i].duration = durations[std::min(i, durations.size() - 1)];
        time += movie.packets[i].duration;
    }
    return movie;
}

TEST(SoundInTime, PacketsWithOtherDurations) {
    for (const bool fragmented : {false, true}) {
        const auto aac = [&](const std::vector<std::int64_t>& durations) {
            return withDurations(test::regularMovie("mp4a", 48'000, 1, 48'000, 30, fragmented), durations);
        };
        expectInTime(aac({2964, 1024}), "a long first packet");
        expectInTime(aac({259, 1024}), "a short first packet");
        expectInTime(aac({1024, 1024, 1264, 1024}), "a gap of 5 ms");
        expectInTime(aac({1024, 1024, 1265, 1024}), "a gap above 5 ms");
        expectInTime(aac({1024, 1024, 1024 + 48'000, 1024}), "a second is missing");
        expectInTime(aac({1100}), "durations that run away");
        expectInTime(aac({960}), "durations that fall behind");
        expectInTime(aac({1024, 1024, 0, 0, 0, 1024}), "packets without a duration");
        expectInTime(withDurations(test::regularMovie("mp4a", 44'100, 1, 48'000, 30, fragmented),
                                   {1574, 1115, 1114, 1115}),
                     "a phone's jitter");
    }
}

TEST(SoundInTime, FragmentsBeginWhereTheySay) {
    for (const char* codec : {"sowt", "alaw", "alac", "mp4a"}) {
        TimedMovie movie = test::regularMovie(codec, 48'000, 2, 48'000, 12, true);
        for (TimedPacket& packet : movie.packets)
            packet.start += 1940;
        expectInTime(movie, codec);
        const std::vector<std::int16_t> pcm = soundOf(movie);
        const auto sound = std::find_if(pcm.begin(), pcm.end(), [](std::int16_t s) { return s != 0; });
        EXPECT_EQ(sound - pcm.begin(), 1940 * 2) << codec;
        movie.movieTimescale = movie.timescale;
        movie.packets.back().duration += 100;
        movie.edits = {{movie.mediaEnd() - 1000, 1000}, {movie.mediaEnd() - 1000, 1000}};
        expectInTime(movie, std::string(codec) + ", twice up to an end that states too much");
    }
}

TEST(SoundInTime, EditsGoBackAndRepeat) {
    for (const char* codec : {"sowt", "alaw", "alac", "mp4a"}) {
        TimedMovie movie = test::regularMovie(codec, 8'000, 2, 8'000, 40);
        movie.movieTimescale = 8'000;
        const std::int64_t end = movie.mediaEnd();
        movie.edits = {{2000, 9000}, {3000, 100},  {500, -1},
                       {3000, 100},  {1000, 0, 0}, {2000, end - 1000, 0.5},
                       {4000, 5000}};
        expectInTime(movie, codec);
    }
}

TEST(SoundInTime, PacketsThatStateNoTimeFollowEachOther) {
    TimedMovie movie = test::regularMovie("alac", 8'000, 1, 8'000, 12);
    const std::vector<std::int16_t> pcm = movie.pcm;
    movie = withDurations(movie, {0});
    movie.movieTimescale = 8'000;
    movie.statedMediaEnd = static_cast<std::uint32_t>(pcm.size());
    EXPECT_EQ(soundOf(movie), pcm);
    const auto half = static_cast<std::int64_t>(pcm.size() / 2);
    movie.edits = {{1000, half}, {1000, 10}};
    std::vector<std::int16_t> expected(pcm.begin() + half, pcm.begin() + half + 1000);
    expected.insert(expected.end(), pcm.begin() + 10, pcm.begin() + 1010);
    EXPECT_EQ(soundOf(movie), expected);
}

TEST(SoundInTime, SilenceIsNeverHeldAsAWhole) {
    constexpr long most = 50'000; // KB, a quarter of the silence
    for (const char* codec : {"sowt", "alac"}) {
        TimedMovie movie = test::regularMovie(codec, 48'000, 2, 48'000, 8, true);
        for (std::size_t i = 4; i < movie.packets.size(); ++i)
            movie.packets[i].start += std::int64_t{48'000} * 1200;
        rusage before{};
        getrusage(RUSAGE_SELF, &before);
        EXPECT_GE(soundOf(movie, 1'000'000, 1 << 24).size(), 1'000'000U);
        rusage after{};
        getrusage(RUSAGE_SELF, &after);
        EXPECT_LT(after.ru_maxrss - before.ru_maxrss, most) << codec;
    }
}

TEST(SoundInTime, RatesThatAreNoWholeNumber) {
    constexpr std::int64_t hour = 3600;
    const double rate = 48'000'000.0 / 1001;
    EXPECT_EQ(media::framesAt({hour * 1001, 1}, rate), hour * 48'000'000);
    EXPECT_EQ(media::framesAt({hour * 1001, 1}, std::round(rate * 65'536) / 65'536), hour * 48'000'000);
    EXPECT_EQ(media::ticksAt(hour * 48'000'000, rate, 1000), hour * 1'001'000);
    EXPECT_EQ(media::framesAt({hour, 1}, 22'254.545'454'5), 80'116'364);
    EXPECT_EQ(media::framesAt({hour, 1}, 48'000), hour * 48'000);
}

TEST(SoundInTime, DrawnMovies) {
    const std::int64_t count = fromEnvironment("FERROWICK_MOVIES", 400);
    const std::int64_t first = fromEnvironment("FERROWICK_SEED", 1);
    struct Sum {
        std::int64_t movies = 0;
        std::int64_t findings = 0;
        Figures figures;
    };
    std::map<std::string, Sum> sums;
    for (std::int64_t seed = first; seed < first + count; ++seed) {
        const TimedMovie movie = test::drawMovie(static_cast<unsigned>(seed));
        Sum& sum = sums[movie.codec];
        ++sum.movies;
        std::string wrong;
        try {
            wrong = verdict(movie, soundOf(movie), sum.figures);
        } catch (const std::exception& error) {
            wrong = error.what();
        }
        sum.findings += wrong.empty() ? 0 : 1;
        EXPECT_EQ(wrong, "") << movie.codec << (movie.fragmented ? " in fragments" : "") << ", seed " << seed;
    }
    for (const auto& [codec, sum] : sums) {
        std::printf(
            "%s: %lld movies, %lld findings, at most %.3f ms off, %.2f %% of the sound unknown\n",
            codec.c_str(), static_cast<long long>(sum.movies), static_cast<long long>(sum.findings),
            sum.figures.farthest * 1000,
            100.0 * static_cast<double>(sum.figures.unknown) /
                static_cast<double>(std::max<std::int64_t>(sum.figures.unknown + sum.figures.recognised, 1)));
        EXPECT_LT(sum.figures.unknown * 10, sum.figures.recognised) << codec;
    }
}

} // namespace
