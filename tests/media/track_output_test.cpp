// SPDX-License-Identifier: GPL-3.0-or-later
// Edits on the way out: what a track output delivers at which time, over a container made of plain values.
#include <numeric>

#include <gtest/gtest.h>

#include "media/track/track_output.h"
#include "tests/support/fake_container.h"
#include "tests/support/movie_lanes.h"
#include "tests/support/packets.h"

namespace {

using media::Edit;
using media::emptyEdit;
using media::StoredSamples;
using media::Time;
using media::Track;
using test::FakeContainer;

constexpr std::int64_t rate = 1000;

media::FormatDescription monoPCM16() {
    media::FormatDescription format;
    format.mediaType = media::MediaType::audio;
    format.mediaSubType = media::fourCC("sowt");
    format.audio = {static_cast<double>(rate),
                    media::audioFormat::linearPCM,
                    media::pcmFlag::signedInteger | media::pcmFlag::packed,
                    1,
                    16,
                    2};
    return format;
}

/// Frames first, first + 1, … as 16-bit samples whose value is the frame's number + 1, so that silence stands
/// out.
StoredSamples ramp(std::int64_t first, std::int64_t count) {
    StoredSamples run;
    run.mediaTime = run.firstFrame = first;
    run.frameCount = count;
    for (std::int64_t frame = first; frame < first + count; ++frame) {
        run.data.push_back(static_cast<std::byte>((frame + 1) & 0xFF));
        run.data.push_back(static_cast<std::byte>((frame + 1) >> 8));
    }
    return run;
}

/// Everything that the output of a mono 16-bit track delivers, as numbers; checks that the times run on.
/// Frames 0 to 39 and 60 to 99 in runs of 20: 40 to 59 are missing from the file.
std::vector<int> soundOf(std::vector<Edit> edits, std::optional<int> decodeBits = 16,
                         std::vector<StoredSamples> runs = {ramp(0, 20), ramp(20, 20), ramp(60, 20),
                                                            ramp(80, 20)},
                         const media::FormatDescription& second = monoPCM16()) {
    Track track;
    track.mediaType = media::MediaType::audio;
    track.timescale = rate;
    track.formatDescriptions = {monoPCM16(), second};
    track.edits = std::move(edits);
    const media::Asset asset(media::io::memorySource({}),
                             std::make_shared<FakeContainer>(track, std::move(runs)));
    media::TrackOutput output(asset, asset.tracks(media::MediaType::audio).front(), decodeBits);
    std::vector<int> values;
    media::SampleBuffer buffer;
    while (output.copyNextSampleBuffer(buffer)) {
        EXPECT_EQ(buffer.presentationTime, (Time{static_cast<std::int64_t>(values.size()), rate}));
        EXPECT_EQ(buffer.data.size(), static_cast<std::size_t>(buffer.sampleCount) * 2);
        for (std::size_t i = 0; i + 1 < buffer.data.size(); i += 2)
            values.push_back(std::to_integer<int>(buffer.data[i]) | std::to_integer<int>(buffer.data[i + 1])
                                                                        << 8);
    }
    return values;
}

/// The numbers from `first` to `last`, as the ramp holds them.
std::vector<int> numbers(int first, int last) {
    std::vector<int> values(static_cast<std::size_t>(last - first + 1));
    std::iota(values.begin(), values.end(), first);
    return values;
}

std::vector<int> joined(std::initializer_list<std::vector<int>> parts) {
    std::vector<int> all;
    for (const auto& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

std::vector<int> silence(std::size_t count) {
    return std::vector<int>(count, 0);
}

TEST(SoundOutput, PutsEditsOnTheClipsTimeline) {
    const auto ticks = [](std::int64_t value) { return Time{value, rate}; };
    struct Case {
        const char* name;
        std::vector<Edit> edits;
        std::vector<int> expected;
    };
    const std::vector<Case> cases{
        {"plain", {{ticks(0), ticks(40), 0}}, numbers(1, 40)},
        {"no edits", {}, {}},
        {"priming is left out", {{ticks(0), ticks(30), 7}}, numbers(8, 37)},
        {"a late start is silence",
         {{ticks(0), ticks(5), emptyEdit}, {ticks(5), ticks(10), 0}},
         joined({silence(5), numbers(1, 10)})},
        {"edits out of the media's order",
         {{ticks(0), ticks(5), 80}, {ticks(5), ticks(3), emptyEdit}, {ticks(8), ticks(4), 10}},
         joined({numbers(81, 85), silence(3), numbers(11, 14)})},
        {"frames missing from the file are silence",
         {{ticks(0), ticks(100), 0}},
         joined({numbers(1, 40), silence(20), numbers(61, 100)})},
        {"an edit longer than the media ends in silence",
         {{ticks(0), ticks(15), 90}},
         joined({numbers(91, 100), silence(5)})},
        {"edits between frames are rounded, none drifts",
         {{{0, 3}, {1, 300}, 0}, {{1, 300}, {1, 300}, 20}, {{2, 300}, {1, 300}, 30}},
         joined({numbers(1, 3), numbers(21, 24), numbers(31, 33)})},
    };
    for (const Case& test : cases) {
        EXPECT_EQ(soundOf(test.edits), test.expected) << test.name;
        EXPECT_EQ(soundOf(test.edits, std::nullopt), test.expected) << test.name << ", passed through";
    }
}

TEST(SoundOutput, FormatsMayChangeInTheMiddleWhereTheCopyStaysOne) {
    using Change = void (*)(media::AudioStreamDescription&);
    const auto said = [](std::optional<int> bits, Change change, std::size_t index = 1) -> std::string {
        std::vector runs{ramp(0, 20), ramp(20, 20)};
        runs[1].formatIndex = index;
        for (std::size_t i = 0; i < runs[1].data.size(); i += 2)
            std::swap(runs[1].data[i], runs[1].data[i + 1]);
        media::FormatDescription second = monoPCM16();
        second.audio->formatFlags |= media::pcmFlag::bigEndian;
        change(*second.audio);
        try {
            return soundOf({{{0, 1}, {40, rate}, 0}}, bits, runs, second) == numbers(1, 40) ? "right"
                                                                                            : "wrong";
        } catch (const media::Error& error) {
            return error.what();
        }
    };
    const char* const changes = "The sound changes its format in the middle.";
    EXPECT_EQ(said(16, [](auto&) {}), "right");
    EXPECT_EQ(said(std::nullopt, [](auto&) {}), changes);
    EXPECT_EQ(said(16, [](auto& audio) { audio.sampleRate = 999; }), changes);
    EXPECT_EQ(said(16, [](auto& audio) { audio.channelsPerFrame = 2; }), changes);
    EXPECT_EQ(said(
                  16, [](auto&) {}, 2),
              "The sound has no description of its format.");
}

TEST(SoundOutput, ASecondDescriptionOfTheSameCodingIsNotHeard) {
    media::audio::EncoderSettings settings;
    settings.sampleRate = 48'000;
    settings.channels = 1;
    settings.inputBits = 16;
    settings.bitRatePerChannel = 64'000;
    const test::EncodedTrack encoded = test::encode(settings, test::noise(60'000, 1));
    const auto sound = [&](std::size_t second) {
        Track track;
        track.mediaType = media::MediaType::audio;
        track.timescale = 48'000;
        track.formatDescriptions.assign(2, test::formatOf(encoded));
        track.edits = {{{0, 1}, {25'000, 48'000}, 2'000}};
        std::vector<StoredSamples> runs(encoded.packets.size());
        for (std::size_t i = 0; i < runs.size(); ++i) {
            runs[i].mediaTime = static_cast<std::int64_t>(i) * 1024;
            runs[i].data = encoded.packets[i];
            runs[i].samples = {{static_cast<std::uint32_t>(runs[i].data.size()), 1024}};
            runs[i].formatIndex = i < 9 ? 0 : second;
        }
        const media::Asset asset(media::io::memorySource({}), std::make_shared<FakeContainer>(track, runs));
        media::TrackOutput output(asset, asset.tracks(media::MediaType::audio).front(), 16);
        std::vector<std::byte> pcm;
        for (media::SampleBuffer buffer; output.copyNextSampleBuffer(buffer);)
            pcm.insert(pcm.end(), buffer.data.begin(), buffer.data.end());
        return pcm;
    };
    EXPECT_EQ(sound(0).size(), 50'000U);
    EXPECT_TRUE(sound(1) == sound(0));
}

TEST(TimecodeOutput, CountsFromTheSampleToTimeZero) {
    Track track;
    track.mediaType = media::MediaType::timecode;
    track.formatDescriptions.resize(1);
    struct Case {
        std::int64_t timescale;
        media::TimecodeDescription timecode;
        std::int64_t mediaTime; ///< first tick shown
        std::int64_t framesTrimmed;
        Time late{0, 1};             ///< empty edit before
        std::int64_t sampleTime = 0; ///< ticks
    };
    const media::TimecodeDescription ntsc{30, true, {30'000, 1'001}};
    for (const Case& test : {
             Case{600, ntsc, 200, 10}, // frame 10 begins at 200.2
             Case{600, ntsc, 199, 9},
             Case{600, ntsc, 201, 10},
             Case{2'997, ntsc, 999, 10},                       // at 999.999
             Case{600, {24, false, {24'000, 1'001}}, 250, 10}, // at 250.25
             Case{25, {25, false, {25, 1}}, 10, 10},           // every frame on a tick
             Case{600, {25, false, {25, 1}}, 239, 9},
             Case{25, {50, false, {50, 1}}, 10, 20}, // two frames a tick
             Case{25, {25, false, {25, 1}}, 0, -50, {2, 1}},
             Case{25, {25, false, {25, 1}}, 10, -40, {2, 1}},
             Case{600, ntsc, 0, -10, {200, 600}},
             Case{600, ntsc, 0, -10, {201, 600}},                              // rounded movie ticks
             Case{60'000, {30, false, {60'000, 1'001}}, 0, -30, {1001, 1000}}, // two frames share a number
             Case{25, {25, false, {25, 1}}, 0, -5, {0, 1}, 5},
             Case{25, {25, false, {25, 1}}, 2, -28, {1, 1}, 5},
         }) {
        StoredSamples run;
        run.data.resize(8);
        run.mediaTime = test.sampleTime;
        run.samples = {{4, 1'000'000}, {4, 1}};
        track.timescale = test.timescale;
        track.formatDescriptions.front().timecode = test.timecode;
        track.edits.clear();
        if (test.late.value > 0)
            track.edits.push_back({{0, 1}, test.late, emptyEdit});
        track.edits.push_back({test.late, {1, 1}, test.mediaTime});
        const media::Asset asset(media::io::memorySource({}),
                                 std::make_shared<FakeContainer>(track, std::vector{run}));
        media::TrackOutput output(asset, asset.tracks(media::MediaType::timecode).front());
        media::SampleBuffer sample;
        ASSERT_TRUE(output.copyNextSampleBuffer(sample));
        EXPECT_EQ(sample.data, std::vector<std::byte>(4));
        EXPECT_EQ(sample.framesTrimmed, test.framesTrimmed) << test.mediaTime << "/" << test.timescale;
        ASSERT_TRUE(output.copyNextSampleBuffer(sample));
        EXPECT_EQ(sample.framesTrimmed, 0);
        EXPECT_FALSE(output.copyNextSampleBuffer(sample));
    }
}

} // namespace
