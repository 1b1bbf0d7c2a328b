// SPDX-License-Identifier: GPL-3.0-or-later
// Walking sample tables and fragments against a plain list of samples, and what the reads cost.
#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "media/open.h"
#include "tests/support/movie_builder.h"

namespace {

using media::fourCC;
using media::openContainer;
using media::StoredSamples;
using test::Bytes;

struct Sample {
    std::int64_t time = 0;
    std::uint32_t duration = 0;
    std::size_t format = 0;
    Bytes data;

    bool operator==(const Sample&) const = default;
};

std::vector<Sample> rest(media::TrackReader& reader) {
    std::vector<Sample> samples;
    StoredSamples run;
    while (reader.next(run)) {
        std::int64_t time = run.mediaTime;
        auto data = run.data.begin();
        for (const StoredSamples::Sample& sample : run.samples) {
            samples.push_back({time, sample.duration, run.formatIndex, Bytes(data, data + sample.size)});
            time += sample.duration;
            data += sample.size;
        }
        EXPECT_EQ(data, run.data.end());
    }
    return samples;
}

/// A movie with random tables, and its samples written out.
struct RandomMovie {
    test::Movie movie;
    std::vector<Sample> samples;

    explicit RandomMovie(unsigned seed) {
        std::mt19937 random(seed);
        const auto below = [&](std::uint32_t end) { return static_cast<std::uint32_t>(random() % end); };
        test::MovieTrack track;
        track.entries = {test::soundEntry("mp4a", 2, 16, 48'000), test::soundEntry("mp4a", 1, 16, 48'000)};
        const bool constantSize = below(3) == 0;
        track.constantSize = constantSize ? 1 + below(9) : 0;
        track.sizeBits = constantSize ? 32 : 4 << below(4);
        const std::uint32_t largest = track.sizeBits == 4 ? 15 : track.sizeBits == 8 ? 255 : 300;
        std::int64_t time = 0;
        for (std::uint32_t chunk = 0, chunks = 1 + below(20); chunk < chunks; ++chunk) {
            if (below(3) == 0) // a hole between the chunks
                movie.data.resize(movie.data.size() + 1 + below(50));
            track.offsets.push_back(movie.data.size());
            const std::uint32_t count = 1 + below(6);
            const std::uint32_t format = below(5) == 0 ? 1 : 0;
            if (track.chunks.empty() || track.chunks.back()[1] != count ||
                track.chunks.back()[2] != format + 1)
                track.chunks.push_back({chunk + 1, count, format + 1});
            for (std::uint32_t i = 0; i < count; ++i) {
                Sample sample{time, 1 + below(2), format, {}};
                sample.data.resize(constantSize ? track.constantSize : below(largest + 1));
                for (std::byte& byte : sample.data)
                    byte = static_cast<std::byte>(random());
                movie.data.insert(movie.data.end(), sample.data.begin(), sample.data.end());
                time += sample.duration;
                if (!constantSize)
                    track.sizes.push_back(static_cast<std::uint32_t>(sample.data.size()));
                if (track.durations.empty() || track.durations.back()[1] != sample.duration)
                    track.durations.push_back({0, sample.duration});
                ++track.durations.back()[0];
                ++track.sampleCount;
                if (!sample.data.empty()) // an empty one is no packet, but its time passes
                    samples.push_back(std::move(sample));
            }
        }
        movie.tracks = {track};
    }
};

TEST(SampleWalking, AgreesWithAListOfSamples) {
    for (unsigned seed = 0; seed < 200; ++seed) {
        SCOPED_TRACE(seed);
        const RandomMovie random(seed);
        const auto source = media::io::memorySource(build(random.movie));
        const auto container = openContainer(source);
        const auto reader = container->reader(0);
        EXPECT_EQ(rest(*reader), random.samples);
        const std::int64_t end = random.samples.back().time + random.samples.back().duration;
        for (std::int64_t time : {std::int64_t{0}, end / 3, end / 2, end - 1, end, std::int64_t{1}}) {
            reader->seek(time);
            std::vector<Sample> expected;
            for (const Sample& sample : random.samples)
                if (sample.time + sample.duration > time)
                    expected.push_back(sample);
            EXPECT_EQ(rest(*reader), expected) << time;
        }
    }
}

TEST(SampleWalking, ReadsEveryByteOnceAndChunksTogether) {
    constexpr std::uint32_t chunks = 100;
    const test::Movie movie = test::rampMovie(std::vector<std::uint32_t>(chunks, 5000));
    const auto source = media::io::memorySource(build(movie));
    const auto container = openContainer(source);
    const std::uint64_t before = source->bytesRead();
    const auto reader = container->reader(0);
    StoredSamples run;
    std::int64_t frames = 0;
    int reads = 0;
    for (; reader->next(run); ++reads)
        frames += run.frameCount;
    EXPECT_EQ(frames, 5000 * chunks);
    EXPECT_EQ(source->bytesRead() - before, movie.data.size());
    EXPECT_EQ(reads, 4); // of a quarter of a megabyte
    reader->seek(123'456);
    ASSERT_TRUE(reader->next(run));
    EXPECT_EQ(run.firstFrame, 123'456);
}

TEST(SampleWalking, FixedPacketsAreFoundThroughFrameCounts) {
    test::Movie movie = test::rampMovie();
    test::MovieTrack& track = movie.tracks[0];
    track.entries = {test::soundEntry("ima4", 2, 16, 48'000, {}, {64, 34, 68, 2})};
    track.constantSize = 1;
    track.sampleCount = 64 * 5;
    track.durations = {{64 * 5, 1}};
    track.chunks = {{1, 64 * 3, 1}, {2, 64 * 2, 1}};
    track.offsets = {0, 1000};
    movie.data.resize(2000);
    const auto container = openContainer(media::io::memorySource(build(movie)));
    const auto reader = container->reader(0);
    const auto samples = rest(*reader);
    ASSERT_EQ(samples.size(), 5U);
    EXPECT_EQ(samples[4].time, 4 * 64);
    for (const Sample& sample : samples) {
        EXPECT_EQ(sample.data.size(), 68U);
        EXPECT_EQ(sample.duration, 64U);
    }
    reader->seek(100);
    EXPECT_EQ(rest(*reader).front().time, 64);
}

/// A fragment with two runs of `packets` of 10 bytes and 1,024 ticks each.
test::Fragment fragment(std::uint32_t time, std::size_t packets, std::uint8_t value) {
    const std::vector<test::Fragment::Sample> run(packets, {1024, 10});
    return {.runs = {run, run}, .data = Bytes(20 * packets, std::byte{value}), .time = time};
}

test::Movie fragmentedMovie(std::uint32_t samplesBefore) {
    test::Movie movie = test::rampMovie();
    test::MovieTrack& track = movie.tracks[0];
    track.entries.assign(2, test::soundEntry("mp4a", 2, 16, 48'000));
    track.constantSize = 10;
    track.sampleCount = samplesBefore;
    track.durations = {{samplesBefore, 1024}};
    track.chunks = {{1, samplesBefore, 1}};
    movie.moreMovieBoxes = test::movieExtends;
    return movie;
}

TEST(SampleWalking, FragmentsFollowTheTablesInEveryForm) {
    const std::vector<std::pair<const char*, std::function<void(test::Fragment&, std::uint64_t)>>> forms{
        {"base in the file", [](auto& made, std::uint64_t place) { made.base = place; }},
        {"base is the fragment", [](auto& made, std::uint64_t) { made.baseIsFragment = true; }},
        {"no base", [](auto&, std::uint64_t) {}},
        {"no times", [](auto& made, std::uint64_t) { made.time.reset(); }},
        {"another description", [](auto& made, std::uint64_t) { made.description = 2; }},
        {"defaults",
         [](auto& made, std::uint64_t) {
             made.baseIsFragment = true;
             made.time.reset();
             made.defaults = {1024, 10};
         }},
    };
    for (const auto& [name, change] : forms)
        for (const std::uint32_t before : {0U, 5U}) {
            SCOPED_TRACE(std::string(name) + (before == 0 ? "" : ", after the tables' samples"));
            Bytes file = build(fragmentedMovie(before));
            std::size_t format = 0;
            for (std::uint32_t i = 0; i < 3; ++i) {
                test::Fragment made =
                    fragment((before + 8 * i) * 1024, 4, static_cast<std::uint8_t>(100 + i));
                change(made, file.size());
                format = made.description == 0 ? 0 : made.description - 1;
                const Bytes part = build(made);
                file.insert(file.end(), part.begin(), part.end());
            }
            const auto container = openContainer(media::io::memorySource(file));
            EXPECT_EQ(container->duration(), (media::Time{(before + 24) * std::int64_t{1024}, 48'000}));
            const auto reader = container->reader(0);
            auto samples = rest(*reader);
            ASSERT_EQ(samples.size(), before + 24);
            for (std::size_t i = 0; i < samples.size(); ++i) {
                EXPECT_EQ(samples[i].time, static_cast<std::int64_t>(i) * 1024);
                EXPECT_EQ(samples[i].format, i < before ? 0 : format);
                if (i >= before) {
                    EXPECT_EQ(samples[i].data, Bytes(10, static_cast<std::byte>(100 + (i - before) / 8)));
                }
            }
            for (const std::size_t first :
                 {std::size_t{0}, std::size_t{2}, samples.size() / 2, samples.size()}) {
                reader->seek(static_cast<std::int64_t>(first) * 1024 + 500);
                EXPECT_EQ(rest(*reader).size(), samples.size() - first);
            }
        }
}

TEST(SampleWalking, FragmentsThatBreakOffRepeatOrJump) {
    const auto times = [&](const std::vector<std::uint32_t>& starts, std::size_t lost) {
        Bytes file = build(fragmentedMovie(0));
        for (const std::uint32_t start : starts) {
            const Bytes part = build(fragment(start * 1024, 2, 0));
            file.insert(file.end(), part.begin(), part.end());
        }
        file.resize(file.size() - lost);
        std::vector<std::int64_t> found;
        const auto container = openContainer(media::io::memorySource(file));
        for (const Sample& sample : rest(*container->reader(0)))
            found.push_back(sample.time / 1024);
        return found;
    };
    using Times = std::vector<std::int64_t>;
    EXPECT_EQ(times({0, 4}, 15), (Times{0, 1, 2, 3, 4, 5})); // the data is cut: whole samples only
    EXPECT_EQ(times({0, 4}, 60), (Times{0, 1, 2, 3}));       // the second fragment's boxes are cut
    EXPECT_EQ(times({0, 10}, 0), (Times{0, 1, 2, 3, 10, 11, 12, 13}));
    EXPECT_EQ(times({0, 4, 0}, 0), (Times{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(times({4, 0, 12, 8, 4}, 0).size(), 16U); // in another order
    std::vector<std::uint32_t> backwards(12'000);      // placing each before all others takes no second
    std::ranges::generate(backwards, [start = 48'000U]() mutable { return start -= 4; });
    EXPECT_THROW(times(backwards, 0), media::Error);

    // A file that was written to its end has a table there; boxes that don't lead to it have lost some.
    const Bytes header = build(fragmentedMovie(0));
    for (const bool damaged : {false, true}) {
        Bytes file = header;
        media::io::ByteWriter table;
        table.box(fourCC("mfra"), [&] { table.fullBox(fourCC("mfro"), 0, 0, [&] { table.u32(24); }); });
        for (const Bytes& part : {build(fragment(0, 2, 0)), build(fragment(4096, 2, 0)), table.take()})
            file.insert(file.end(), part.begin(), part.end());
        file[header.size()] = std::byte{damaged}; // the size of a `moof`: 16 MB
        if (damaged)
            EXPECT_THROW((void)openContainer(media::io::memorySource(file)), media::Error);
        else
            EXPECT_EQ(rest(*openContainer(media::io::memorySource(file))->reader(0)).size(), 8U);
    }
}

} // namespace
