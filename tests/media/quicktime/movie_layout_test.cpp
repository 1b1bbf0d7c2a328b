// SPDX-License-Identifier: GPL-3.0-or-later
// The ages and layouts of movies, well-formed and damaged, and what reading them costs.
#include <gtest/gtest.h>

#include "media/base/byte_reader.h"
#include "media/open.h"
#include "tests/support/movie_builder.h"

namespace {

using media::Error;
using media::fourCC;
using media::openContainer;
using media::StoredSamples;
using media::Time;
using media::io::memorySource;
using test::Bytes;

/// The numbers of a ramp movie's frames as its reader delivers them.
std::vector<int> frames(const media::Container& container) {
    std::vector<int> numbers;
    StoredSamples run;
    const auto reader = container.reader(0);
    while (reader->next(run)) {
        EXPECT_EQ(run.firstFrame, static_cast<std::int64_t>(numbers.size()));
        media::io::ByteReader bytes(run.data);
        for (std::int64_t i = 0; i < run.frameCount; ++i)
            numbers.push_back(bytes.u16());
    }
    return numbers;
}

std::vector<int> numbersTo(int end) {
    std::vector<int> numbers;
    for (int i = 0; i < end; ++i)
        numbers.push_back(i);
    return numbers;
}

Error::Category categoryOf(const Bytes& bytes) {
    try {
        const auto container = openContainer(memorySource(bytes));
        for (const media::Track& track : container->tracks()) {
            const auto reader = container->reader(track.index);
            StoredSamples run;
            while (reader->next(run)) {
            }
        }
    } catch (const Error& error) {
        const std::string sentence = error.what();
        EXPECT_TRUE(sentence.ends_with(".")) << sentence;
        return error.category();
    }
    ADD_FAILURE() << "was read";
    return Error::Category::io;
}

TEST(MovieLayout, IsReadInAllItsForms) {
    struct Case {
        const char* name;
        test::FileLayout layout;
        std::function<void(test::Movie&)> change;
    };
    const auto plain = [](test::Movie&) {};
    const std::vector<Case> cases{
        {"header last", {}, plain},
        {"header first", {.headerFirst = true}, plain},
        {"before file types", {.fileType = false, .wide = true}, plain},
        {"64-bit sizes", {.largeSizes = true}, plain},
        {"data to the end of the file", {.headerFirst = true, .openEnded = true}, plain},
        {"header to the end of the file", {.openEnded = true}, plain},
        {"compressed header", {.compressed = true}, plain},
        {"version 1 boxes", {}, [](test::Movie& movie) { movie.version = 1; }},
        {"64-bit offsets", {}, [](test::Movie& movie) { movie.tracks[0].wideOffsets = true; }},
        {"free space and a user data terminator",
         {},
         [](test::Movie& movie) {
             movie.moreMovieBoxes = [](auto& w) {
                 w.box(fourCC("free"), [&] { w.zeros(100); });
                 w.box(fourCC("udta"), [&] { w.u32(0); });
             };
         }},
        {"unknown media duration",
         {},
         [](test::Movie& movie) { movie.tracks[0].mediaDuration = 0xFFFFFFFF; }},
        {"time scale 0", {}, [](test::Movie& movie) { movie.tracks[0].timescale = movie.timescale = 0; }},
        {"sizes of one byte a frame", {}, [](test::Movie& movie) { movie.tracks[0].constantSize = 1; }},
        {"samples of many frames in ticks as long",
         {},
         [](test::Movie& movie) {
             test::MovieTrack& track = movie.tracks[0];
             track.timescale = 2400;
             track.constantSize = 20 * 2;
             track.sampleCount = 5;
             track.durations = {{5, 1}};
             track.chunks = {{1, 2, 1}, {2, 3, 1}};
         }},
        {"another file's description that no sample uses",
         {},
         [](test::Movie& movie) {
             std::vector<Bytes>& entries = movie.tracks[0].entries;
             entries.push_back(entries.front());
             entries.back()[15] = std::byte{2}; // its data reference
             movie.tracks[0].otherFile = true;
         }},
        {"a second table of the same type",
         {},
         [](test::Movie& movie) {
             movie.tracks[0].moreSampleTables = [](auto& w) {
                 w.fullBox(fourCC("stco"), 0, 0, [&] { w.u32(0); });
             };
         }},
        {"more samples in the chunks than there are sizes",
         {},
         [](test::Movie& movie) {
             movie.tracks[0].chunks = {{1, 40, 1}, {2, 0xFFFFFFFF, 1}};
         }},
        {"durations for fewer samples",
         {},
         [](test::Movie& movie) {
             movie.tracks[0].durations = {{5, 1}};
         }},
        {"durations for more samples",
         {},
         [](test::Movie& movie) {
             movie.tracks[0].durations = {{0xFFFFFFFF, 1}};
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        test::Movie movie = test::rampMovie({40, 60});
        c.change(movie);
        const auto container = openContainer(memorySource(build(movie, c.layout)));
        EXPECT_EQ(container->duration(), (Time{100, 48'000}));
        EXPECT_EQ(frames(*container), numbersTo(100));
    }
}

TEST(MovieLayout, DamageIsAPlainError) {
    using enum Error::Category;
    const Bytes whole = build(test::rampMovie());
    const Bytes headerFirst = build(test::rampMovie(), {.headerFirst = true});
    const auto cut = [](Bytes bytes, std::size_t size) {
        bytes.resize(size);
        return bytes;
    };
    const auto bytesOf = [](std::string_view text) {
        const auto bytes = std::as_bytes(std::span(text));
        return Bytes(bytes.begin(), bytes.end());
    };
    EXPECT_EQ(categoryOf({}), endOfData);
    EXPECT_EQ(categoryOf(bytesOf("RIFF....AVI LIST")), unsupported);
    EXPECT_EQ(categoryOf(bytesOf("moo")), unsupported);
    EXPECT_EQ(categoryOf(cut(whole, 60)), endOfData);
    for (std::size_t lost = 1; lost < 300; lost += 7) // somewhere in the header
        EXPECT_EQ(categoryOf(cut(whole, whole.size() - lost)), endOfData);
    EXPECT_EQ(categoryOf(cut(headerFirst, headerFirst.size() - 1)), endOfData); // the data
    test::Movie lost = test::rampMovie();
    lost.tracks[0].offsets = {1'000'000};
    EXPECT_EQ(categoryOf(build(lost)), endOfData);
    lost.tracks[0].offsets = {std::uint64_t(-100)}; // in the header
    EXPECT_EQ(categoryOf(build(lost, {.headerFirst = true})), corrupt);
    lost = test::rampMovie();
    lost.tracks[0].externalData = true;
    EXPECT_EQ(categoryOf(build(lost)), unsupported);
    lost = test::rampMovie();
    lost.tracks[0].entries = {test::soundEntry("enca", 1, 16, 48'000)};
    EXPECT_EQ(categoryOf(build(lost)), unsupported);
}

TEST(MovieLayout, MediaCutShortKeepsItsDuration) {
    Bytes bytes = build(test::rampMovie(), {.headerFirst = true});
    bytes.resize(bytes.size() - 100);
    EXPECT_EQ(openContainer(memorySource(bytes))->duration(), (Time{100, 48'000}));
}

/// A day of AAC: megabytes of tables that no one needs at once.
TEST(MovieLayout, HugeTablesStayInTheFile) {
    constexpr std::uint32_t samples = 24 * 3600 * 48'000U / 1024;
    test::Movie movie = test::rampMovie();
    test::MovieTrack& track = movie.tracks[0];
    track.entries = {test::soundEntry("mp4a", 1, 16, 48'000)};
    track.durations = {{samples, 1024}};
    track.chunks = {{1, 1, 1}};
    track.constantSize = 0;
    track.sizes.assign(samples, 1);
    track.offsets.assign(samples, 0);
    const auto source = memorySource(build(movie));
    EXPECT_EQ(openContainer(source)->duration(), (Time{std::int64_t{samples} * 1024, 48'000}));
    EXPECT_LT(source->bytesRead(), std::uint64_t{1} << 16);
}

} // namespace
