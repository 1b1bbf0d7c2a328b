// SPDX-License-Identifier: GPL-3.0-or-later
// Timelines that no recording has are refused at once; long and odd ones that a recording can have are not.
#include <gmock/gmock.h>

#include "media/open.h"
#include "media/track/track_output.h"
#include "tests/support/movie_builder.h"

namespace {

constexpr std::int64_t second = 1000; // movie ticks
constexpr std::int64_t hour = 3600 * second;

/// A second of mono sound with these edits, in a movie whose `mdat` is padded to `dataBytes`; beside it,
/// timecode as long as `timecodeSeconds`. What opening it is refused with; empty when it opens.
std::string refusalOf(std::vector<test::MovieEdit> edits, double rate = 48'000,
                      std::uint32_t timecodeSeconds = 1, std::size_t dataBytes = 0,
                      std::size_t soundTracks = 1) {
    test::Movie movie = test::rampMovie({48'000});
    movie.timescale = second;
    test::MovieTrack& sound = movie.tracks.front();
    sound.entries = {test::soundEntry2("lpcm", 1, 16, rate, 0xC | 2, 2, 1)};
    sound.edits = std::move(edits);
    movie.data.resize(std::max(movie.data.size(), dataBytes));
    test::MovieTrack timecode;
    timecode.id = 2;
    timecode.handler = "tmcd";
    timecode.timescale = 25;
    timecode.entries = {test::timecodeEntry(0, 25, 1, 25)};
    timecode.durations = {{1, 25 * timecodeSeconds}};
    timecode.chunks = {{1, 1, 1}};
    timecode.offsets = {0};
    timecode.constantSize = 4;
    timecode.sampleCount = 1;
    movie.tracks.resize(soundTracks, sound);
    movie.tracks.push_back(timecode);
    try {
        const media::Asset asset = media::openAsset(media::io::memorySource(build(movie)));
        return {};
    } catch (const media::Error& error) {
        return error.what();
    }
}

TEST(Bounds, RefuseTimelinesThatCannotBeTrue) {
    using testing::HasSubstr;
    const test::MovieEdit all{second, 0};
    EXPECT_EQ(refusalOf({all}), "");
    EXPECT_EQ(refusalOf({{5 * 60 * second, -1}, all}), "");
    EXPECT_EQ(refusalOf({{10 * hour, -1}, all}, 48'000, 11 * 3600, 8'000'000), "");
    EXPECT_EQ(refusalOf({all}, 48'000, 48 * 3600), "");

    EXPECT_THAT(refusalOf({all}, 48'000, 48 * 3600 + 1), HasSubstr("more than 48 hours"));
    EXPECT_THAT(refusalOf({{14 * 24 * hour, -1}, all}), HasSubstr("more than 48 hours"));
    EXPECT_THAT(refusalOf({{25 * hour, -1}, all}), HasSubstr("begins more than a day after"));
    EXPECT_THAT(refusalOf({{25 * hour, -1}, all}, 48'000, 1, 0, 2), HasSubstr("far more sound"));
    EXPECT_THAT(refusalOf({{20 * hour, -1}, all}), HasSubstr("far more sound"));
    EXPECT_THAT(refusalOf({{second, -1}, all}, 1e8), HasSubstr("far more sound"));
    EXPECT_THAT(refusalOf(std::vector(100'000, all)), HasSubstr("far more sound"));
    EXPECT_THAT(refusalOf(std::vector(20'000, test::MovieEdit{1, 0})), HasSubstr("far more sound"));
    EXPECT_THAT(refusalOf({all}, 48'000, 1, 0, 129), HasSubstr("more sound tracks"));
}

TEST(Bounds, EndTablesThatLeadToTheSameBytesAgain) {
    test::Movie movie = test::rampMovie({100});
    test::MovieTrack& track = movie.tracks.front();
    track.offsets.assign(10'000, 0);
    track.sampleCount = 1'000'000;
    track.durations = {{1'000'000, 1}};
    const media::Asset asset = media::openAsset(media::io::memorySource(build(movie)));
    media::TrackOutput output(asset, asset.tracks(media::MediaType::audio).front(), 16);
    std::int64_t frames = 0;
    media::SampleBuffer buffer;
    EXPECT_THROW(while (output.copyNextSampleBuffer(buffer)) frames += buffer.sampleCount, media::Error);
    EXPECT_LT(frames, 100'000);
}

} // namespace
