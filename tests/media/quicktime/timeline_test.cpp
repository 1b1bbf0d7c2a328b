// SPDX-License-Identifier: GPL-3.0-or-later
// From edit lists, durations and dates to what a clip says of itself.
#include <ctime>

#include <gtest/gtest.h>

#include "media/open.h"
#include "media/quicktime/reader/frame_rate.h"
#include "media/quicktime/reader/metadata.h"
#include "tests/support/movie_builder.h"

namespace {

using media::emptyEdit;
using media::fourCC;
using media::openContainer;
using media::Time;
using media::io::ByteWriter;

struct Stretch {
    Time start;
    Time duration;
    std::int64_t mediaTime;

    bool operator==(const Stretch&) const = default;
};

std::vector<Stretch> stretches(const test::Movie& movie) {
    const auto container = openContainer(media::io::memorySource(build(movie)));
    std::vector<Stretch> found;
    Time place;
    for (const media::Edit& edit : container->tracks().at(0).edits) {
        EXPECT_EQ(edit.start, place);
        place = edit.start + edit.duration;
        found.push_back({edit.start, edit.duration, edit.mediaTime});
    }
    return found;
}

TEST(Timeline, MapsEditLists) {
    // 2 s of sound at 48 kHz, a movie time scale of 600.
    constexpr std::int64_t whole = 96'000;
    const auto s = [](std::int64_t samples) { return Time{samples, 48'000}; };
    struct Case {
        const char* name;
        std::vector<test::MovieEdit> edits;
        std::vector<Stretch> expected;
    };
    const std::vector<Case> cases{
        {"none", {}, {{s(0), s(whole), 0}}},
        {"all of it", {{1200, 0}}, {{s(0), s(whole), 0}}},
        {"an hour of it", {{3600 * 600, 0}}, {{s(0), s(whole), 0}}},
        {"a trim", {{300, 24'000}}, {{s(0), s(24'000), 24'000}}},
        {"priming, the length rounded down", {{1173, 2112}}, {{s(0), s(whole - 2112), 2112}}},
        {"priming, the length rounded up", {{1174, 2112}}, {{s(0), s(whole - 2112), 2112}}},
        {"two movie ticks short are meant", {{1172, 2112}}, {{s(0), s(1172 * 80), 2112}}},
        {"a late start", {{600, -1}, {1200, 0}}, {{s(0), s(48'000), emptyEdit}, {s(48'000), s(whole), 0}}},
        {"empty edits run together",
         {{300, -1}, {300, -1}, {1200, 0}},
         {{s(0), s(48'000), emptyEdit}, {s(48'000), s(whole), 0}}},
        {"a gap at the end", {{600, 0}, {600, -1}}, {{s(0), s(48'000), 0}}},
        {"length 0 is to the end", {{0, 1024}}, {{s(0), s(whole - 1024), 1024}}},
        {"unknown length", {{0xFFFFFFFF, 0}}, {{s(0), s(whole), 0}}},
        {"starts before the media",
         {{600, -24'000}},
         {{s(0), s(24'000), emptyEdit}, {s(24'000), s(24'000), 0}}},
        {"a moment held shows nothing",
         {{600, 0, 0}, {600, 0}},
         {{s(0), s(48'000), emptyEdit}, {s(48'000), s(48'000), 0}}},
        {"an early edit past the end",
         {{600, 72'000}, {600, 0}},
         {{s(0), s(24'000), 72'000}, {s(24'000), s(24'000), emptyEdit}, {s(48'000), s(48'000), 0}}},
        {"all past the end", {{600, 200'000}}, {}},
    };
    for (const Case& c : cases)
        for (const std::uint8_t version : {std::uint8_t{0}, std::uint8_t{1}}) {
            SCOPED_TRACE(c.name);
            test::Movie movie = test::rampMovie({whole});
            movie.timescale = 600;
            movie.version = version;
            movie.tracks[0].edits = c.edits;
            EXPECT_EQ(stretches(movie), c.expected);
        }

    // Edits count in presentation times, here 0.1 s after those that the samples are found by.
    test::Movie movie = test::rampMovie({whole});
    movie.timescale = 600;
    movie.tracks[0].compositionOffsets = {{whole, 4800}};
    EXPECT_EQ(stretches(movie), (std::vector<Stretch>{{s(0), s(4800), emptyEdit}, {s(4800), s(whole), 0}}));
    movie.tracks[0].edits = {{1140, 9600}};
    EXPECT_EQ(stretches(movie), (std::vector<Stretch>{{s(0), s(whole - 4800), 4800}}));
}

TEST(Timeline, ReorderedPictureKeepsItsWholeLength) {
    test::Movie movie = test::rampMovie();
    test::MovieTrack& track = movie.tracks[0];
    track.handler = "vide";
    track.entries = {test::videoEntry(64, 64)};
    track.timescale = 25;
    track.durations = {{50, 1}};
    track.sampleCount = 50;
    track.compositionOffsets = {{1, 2}, {1, 4}, {48, 1}};
    track.edits = {{2000, 2}};
    EXPECT_EQ(stretches(movie), (std::vector<Stretch>{{{0, 1}, {2, 1}, 2}}));
    track.edits = {};
    const auto container = openContainer(media::io::memorySource(build(movie)));
    EXPECT_EQ(container->tracks()[0].nominalFrameRate, 25);
}

TEST(Timeline, AACWithoutPrimingBeginsWithTheEncodersDelay) {
    struct Case {
        const char* name;
        std::uint32_t packets;
        std::vector<test::MovieEdit> edits;
        std::uint32_t trackDuration;
        bool rollGroups;
        std::int64_t mediaTime;
        Time length;
        std::uint32_t firstDuration = 1024;
    };
    // 4 s and a bit at 44.1 kHz, as a phone writes them.
    const std::vector<Case> cases{
        {"a phone's", 175, {{2401, 0}}, 2401, false, 2112, {2401, 600}},
        {"no edit list, the track header tells", 175, {}, 2401, false, 2112, {2401, 600}},
        {"no sound left over", 173, {{2401, 0}}, 2401, false, 0, {2401, 600}},
        {"roll groups", 175, {{2401, 0}}, 2401, true, 0, {2401, 600}},
        {"an explicit offset", 175, {{2401, 1024}}, 2401, false, 1024, {2401, 600}},
        {"nothing stated", 175, {}, 0, false, 0, {175 * 1024, 44'100}},
        // Counted by its duration, 13 packets would hold 7,150 samples more than the 13,862 that are stated.
        {"a stretched first packet", 13, {}, 189, false, 0, {13'862, 44'100}, 1574},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        test::Movie movie = test::rampMovie();
        movie.timescale = 600;
        test::MovieTrack& track = movie.tracks[0];
        track.entries = {test::soundEntry("mp4a", 2, 16, 44'100)};
        track.timescale = 44'100;
        track.duration = c.trackDuration;
        track.constantSize = 1;
        track.sampleCount = c.packets;
        track.durations = {{1, c.firstDuration}, {c.packets - 1, 1024}};
        track.edits = c.edits;
        if (c.rollGroups)
            track.moreSampleTables = [](ByteWriter& w) {
                w.fullBox(fourCC("sgpd"), 1, 0, [&] {
                    w.text("roll");
                    w.zeros(10);
                });
            };
        EXPECT_EQ(stretches(movie), (std::vector<Stretch>{{{0, 1}, c.length, c.mediaTime}}));
    }
}

TEST(Timeline, LongestOfPictureSoundAndTimecodeCounts) {
    test::Movie movie = test::rampMovie({48'000});
    movie.timescale = 600;
    movie.duration = 99'999;
    test::MovieTrack telemetry = movie.tracks[0];
    telemetry.handler = "meta";
    telemetry.durations = {{48'000, 10}};
    movie.tracks.push_back(telemetry);
    const auto durationOf = [&] { return openContainer(media::io::memorySource(build(movie)))->duration(); };
    EXPECT_EQ(durationOf(), (Time{1, 1}));
    test::MovieTrack timecode = movie.tracks[0];
    timecode.handler = "tmcd";
    timecode.entries = {test::timecodeEntry(0, 25, 1, 25)};
    timecode.sampleCount = 1;
    timecode.timescale = 25;
    timecode.durations = {{1, 50}};
    movie.tracks.push_back(timecode);
    EXPECT_EQ(durationOf(), (Time{2, 1}));
    movie.tracks.back().durations = {{1, 0}}; // holds to the end of the others
    EXPECT_EQ(durationOf(), (Time{1, 1}));
    const auto container = openContainer(media::io::memorySource(build(movie)));
    EXPECT_EQ(container->tracks()[2].end(), (Time{1, 1}));
    media::StoredSamples sample;
    const auto reader = container->reader(2);
    reader->seek(0);
    ASSERT_TRUE(reader->next(sample));
    ASSERT_EQ(sample.samples.size(), 1U);
    EXPECT_EQ(sample.samples[0].duration, 25U);
    movie.tracks.clear();
    EXPECT_EQ(durationOf(), (Time{99'999, 600}));
}

TEST(FrameRate, FollowsTheMostFrequentDuration) {
    struct Case {
        std::vector<std::pair<int, int>> durations; ///< duration, samples
        std::int64_t timescale;
        double rate;
    };
    const std::vector<Case> cases{
        {{{1001, 48}}, 24'000, 24'000.0 / 1001},
        {{{3003, 10}}, 90'000, 30'000.0 / 1001},
        {{{20, 119}, {21, 1}}, 600, 30},               // a phone that holds single frames
        {{{41, 29}, {42, 71}}, 1000, 24'000.0 / 1001}, // 23.976 in milliseconds
        {{{33, 67}, {34, 33}}, 1000, 30},              // 30 in milliseconds
        {{{1, 10}, {2, 10}, {3, 10}}, 60, 30},         // no duration prevails
        {{{1000, 10}}, 12'345, 12.345},                // no standard rate
        {{{0, 10}}, 600, 0},
        {{}, 600, 0},
    };
    for (const Case& c : cases) {
        media::quicktime::DurationCounts counts;
        for (const auto& [duration, samples] : c.durations)
            counts.add(duration, static_cast<std::uint64_t>(samples));
        EXPECT_DOUBLE_EQ(media::quicktime::nominalFrameRate(counts, c.timescale), c.rate);
    }
}

std::int64_t unixTime(const std::optional<media::Container::Date>& date) {
    return date ? std::chrono::system_clock::to_time_t(*date) : -1;
}

TEST(Metadata, DatesAreISO8601) {
    using media::quicktime::parseDate;
    constexpr std::int64_t noon = 1'563'105'600; // 2019-07-14 12:00:00 UTC
    for (const char* text : {"2019-07-14T12:00:00Z", "2019-07-14T15:00:00+0300", "2019-07-14T15:00:00+03:00",
                             "2019-07-14T04:00:00.000-08", "2019-07-14 12:00Z", "20190714T120000Z"})
        EXPECT_EQ(unixTime(parseDate(text)), noon) << text;
    std::tm local{};
    local.tm_year = 119;
    local.tm_mon = 6;
    local.tm_mday = 14;
    local.tm_hour = 12;
    local.tm_isdst = -1;
    EXPECT_EQ(unixTime(parseDate("2019-07-14T12:00:00")), std::mktime(&local));
    for (const char* text : {"", "2019", "2019-13-01", "2019-02-30", "yesterday", "2019-07-14T25:00:00Z",
                             "2019-07-14T12:00:00 pm", "2019-07-14T12:00:00+"})
        EXPECT_EQ(unixTime(parseDate(text)), -1) << text;
}

TEST(Metadata, TextOfEveryEncodingIsRead) {
    using namespace std::string_view_literals;
    test::Movie movie = test::rampMovie();
    movie.moreMovieBoxes = [](ByteWriter& w) {
        w.box(fourCC("udta"), [&] {
            w.box(fourCC("\xA9nam"), [&] {
                w.u16(10);
                w.u16(0); // English, in Mac OS Roman
                w.text("Caf\x8E \x80\xFF \xA5 ");
            });
        });
        test::quickTimeMetadata(w, "key", "\xD8\x3D\xDE\x00\xD8\x3D\0A\xDE\x00\0B\xD8\x3D"sv, 2);
        for (const auto& [type, value] : {std::pair(21U, "\xFF\xFE"sv),
                                          {22U, "\xFF\xFE"sv},
                                          {65U, "\x80"sv},
                                          {77U, "\xFF\0\0\0"sv},
                                          {78U, "123456789"sv},
                                          {23U, "\0\0\0\0"sv}})
            test::quickTimeMetadata(w, "number", value, type);
    };
    const auto items = openContainer(media::io::memorySource(build(movie)))->metadata();
    ASSERT_EQ(items.size(), 8U);
    std::vector<std::string> numbers;
    for (std::size_t i = 2; i < items.size(); ++i)
        numbers.push_back(items[i].stringValue.value_or("none"));
    EXPECT_EQ(numbers, (std::vector<std::string>{"-2", "65534", "-128", "4278190080", "none", "none"}));
    EXPECT_EQ(items[0].stringValue, "Café Äˇ • ");
    const std::string text = items[1].stringValue.value_or("");
    // Half of a surrogate pair swallows nothing.
    EXPECT_TRUE(text.starts_with("\U0001F600\uFFFD")) << text;
    EXPECT_NE(text.find("\uFFFDA\uFFFD"), std::string::npos) << text;
    EXPECT_NE(text.find("\uFFFDB\uFFFD"), std::string::npos) << text;
}

TEST(Metadata, RecordingDateHasItsOrder) {
    const auto userDate = [](ByteWriter& w) {
        w.box(fourCC("udta"), [&] {
            w.box(fourCC("\xA9"
                         "day"),
                  [&] {
                      w.u16(20);
                      w.u16(0x55C4);
                      w.text("2019-07-14T12:00:00Z");
                  });
        });
    };
    test::Movie movie = test::rampMovie();
    const auto date = [&] {
        return unixTime(openContainer(media::io::memorySource(build(movie)))->creationDate());
    };
    EXPECT_EQ(date(), -1);
    movie.creationTime = 2'082'844'800U + 1000;
    EXPECT_EQ(date(), 1000);
    movie.version = 1;
    EXPECT_EQ(date(), 1000);
    movie.creationTime = 1'500'000'000; // written as Unix time by mistake
    EXPECT_EQ(date(), 1'500'000'000);
    movie.moreMovieBoxes = userDate;
    EXPECT_EQ(date(), 1'563'105'600);
    movie.moreMovieBoxes = [&](ByteWriter& w) {
        userDate(w);
        test::quickTimeMetadata(w, "com.apple.quicktime.creationdate", "2019-07-14T14:00:01+0200");
    };
    EXPECT_EQ(date(), 1'563'105'601);
    const auto items = openContainer(media::io::memorySource(build(movie)))->metadata();
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].identifier, "udta/©day");
    EXPECT_EQ(items[1].identifier, "mdta/com.apple.quicktime.creationdate");
    EXPECT_EQ(items[1].stringValue, "2019-07-14T14:00:01+0200");
}

} // namespace
