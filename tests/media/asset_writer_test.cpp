// SPDX-License-Identifier: GPL-3.0-or-later
// Movies written from parallel lanes, as other programs read them.
#include <numeric>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media/base/error.h"
#include "tests/support/command.h"
#include "tests/support/movie_lanes.h"
#include "tests/support/probe.h"
#include "tests/support/temporary_folder.h"

namespace {

using media::AssetWriter;
using media::AudioStreamDescription;
using media::Edit;
using media::Time;
using test::Bytes;
namespace pcmFlag = media::pcmFlag;
using testing::ElementsAre;
using testing::IsEmpty;

Bytes entryOf(const std::filesystem::path& movie, std::size_t track) {
    const auto table = test::box(movie, "moov/trak[" + std::to_string(track) + "]/mdia/minf/stbl/stsd");
    return {table.value().begin() + 8, table.value().end()};
}

bool equal(std::uint64_t ticks, std::uint64_t timescale, const Time& time) {
    return Time{static_cast<std::int64_t>(ticks), static_cast<std::int64_t>(timescale)} == time;
}

/// What clips made by ffmpeg do not have: a reel's name, a second data reference, 64 bits. Timecode of
/// another form (neither entry nor bytes) becomes what QuickTime has for it.
TEST(AssetWriter, CopiesTimecodeByteForByte) {
    struct Case {
        test::TimecodeEntry entry;
        std::int64_t timescale;
        std::int64_t frames; ///< since midnight, as stored
        std::size_t sampleBytes;
        std::string expected; ///< what ffprobe reads; it knows no 64-bit timecode
        bool isMade = false;
    };
    const std::vector<Case> cases = {
        {{.reel = "A001R2EC"}, 25, 90'000, 4, "01:00:00:00"},
        {{.timescale = 24'000, .frameDuration = 1'001, .quanta = 24, .dataReference = 2},
         24'000,
         86'400,
         4,
         "01:00:00:00"},
        {{.code = media::fourCC("tc64")}, 12'800, 90'000, 8, ""},
        {{.flags = 3, .timescale = 30'000, .frameDuration = 1'001, .quanta = 30},
         30'000,
         107'892,
         4,
         "01:00:00;00",
         true},
        {{.code = media::fourCC("tc64"), .flags = 2}, 25, 1LL << 40, 8, "", true},
    };
    const test::TemporaryFolder folder;
    for (const Case& testCase : cases) {
        const auto movie = folder / "timecode.mov";
        const std::int64_t ticks =
            50 * testCase.timescale * testCase.entry.frameDuration / testCase.entry.timescale;
        AssetWriter writer(movie);
        media::Track track = test::timecodeTrack(testCase.entry, testCase.timescale,
                                                 {{{0, 1}, {ticks, testCase.timescale}, 0}});
        auto sample =
            test::timecodeSample(testCase.frames, {0, testCase.timescale}, ticks, testCase.sampleBytes);
        const Bytes stored = sample.data;
        if (testCase.isMade) {
            track.formatDescriptions.front().sampleEntry.clear();
            sample.data.clear();
        }
        auto& input = writer.addTimecodeInput(track);
        writer.start();
        ASSERT_TRUE(test::feed({{input, {sample}}}));
        writer.endSession({ticks, testCase.timescale});
        writer.finish();

        EXPECT_EQ(test::Probe(movie).timecode(), testCase.expected);
        EXPECT_EQ(entryOf(movie, 0), test::timecodeEntry(testCase.entry));
        const auto offset = test::numbers(test::box(movie, "moov/trak/mdia/minf/stbl/stco").value());
        ASSERT_EQ(offset.size(), 1U);
        EXPECT_EQ(test::bytesAt(movie, offset[0], testCase.sampleBytes), stored);
        const auto references = test::box(movie, "moov/trak/mdia/minf/dinf/dref").value();
        EXPECT_EQ(references.size(), 8U + 12U * testCase.entry.dataReference);
        const auto media = test::headerTimes(test::box(movie, "moov/trak/mdia/mdhd").value());
        EXPECT_EQ(media.timescale, static_cast<std::uint64_t>(testCase.timescale));
        EXPECT_EQ(media.duration, static_cast<std::uint64_t>(ticks));
    }
}

TEST(AssetWriter, EndsTheTimecodeWithTheSession) {
    struct Sample {
        std::int64_t start;
        std::int64_t duration;
    };
    struct Expected {
        Time duration;
        std::int64_t mediaTime;
    };
    struct Case {
        const char* name;
        std::int64_t timescale;
        std::vector<Edit> edits;
        std::vector<Sample> samples;
        Time end;
        std::vector<Expected> expectedEdits;
        std::vector<std::uint32_t> durations; ///< the table's pairs of count and ticks
    };
    const std::vector<Case> cases = {
        {"a frame longer", 25, {{{0, 1}, {2, 1}, 0}}, {{0, 50}}, {51, 25}, {{{51, 25}, 0}}, {1, 51}},
        {"between two ticks", 25, {{{0, 1}, {2, 1}, 0}}, {{0, 50}}, {201, 100}, {{{201, 100}, 0}}, {1, 51}},
        {"shorter", 25, {{{0, 1}, {2, 1}, 0}}, {{0, 50}}, {3, 2}, {{{3, 2}, 0}}, {1, 50}},
        {"fragment: no duration at all", 25, {}, {{0, 0}}, {2, 1}, {{{2, 1}, 0}}, {1, 50}},
        {"earlier samples left out",
         25,
         {{{0, 1}, {2, 1}, 30}},
         {{25, 25}, {50, 30}},
         {2, 1},
         {{{2, 1}, 5}},
         {1, 25, 1, 30}},
        {"starts late",
         25,
         {{{0, 1}, {1, 2}, media::emptyEdit}, {{1, 2}, {3, 2}, 0}},
         {{0, 38}},
         {2, 1},
         {{{1, 2}, -1}, {{3, 2}, 0}},
         {1, 38}},
        {"edits behind the end",
         600,
         {{{0, 1}, {1, 1}, 600}, {{1, 1}, {1, 1}, 0}},
         {{0, 600}, {600, 600}},
         {1, 2},
         {{{1, 2}, 600}},
         {2, 600}},
        {"a day in one sample of too fine ticks",
         240'000,
         {{{0, 1}, {86'400, 1}, 0}},
         {{0, std::int64_t{240'000} * 86'400}},
         {86'400, 1},
         {{{86'400, 1}, 0}},
         {1, 48'000 * 86'400U}},
    };
    const test::TemporaryFolder folder;
    for (const Case& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        const auto movie = folder / "session.mov";
        AssetWriter writer(movie);
        const media::Track track = test::timecodeTrack({}, testCase.timescale, testCase.edits);
        std::vector<media::SampleBuffer> samples;
        for (const Sample& sample : testCase.samples)
            samples.push_back(
                test::timecodeSample(sample.start, {sample.start, testCase.timescale}, sample.duration));
        auto& input = writer.addTimecodeInput(track);
        writer.start();
        ASSERT_TRUE(test::feed({{input, samples}}));
        writer.endSession(testCase.end);
        writer.finish();

        const auto movieTimes = test::headerTimes(test::box(movie, "moov/mvhd").value());
        EXPECT_TRUE(equal(movieTimes.duration, movieTimes.timescale, testCase.end));
        const auto edits = test::listedEdits(test::box(movie, "moov/trak/edts/elst").value());
        ASSERT_EQ(edits.size(), testCase.expectedEdits.size());
        for (std::size_t i = 0; i < edits.size(); ++i) {
            EXPECT_TRUE(equal(edits[i].duration, movieTimes.timescale, testCase.expectedEdits[i].duration));
            EXPECT_EQ(edits[i].mediaTime, testCase.expectedEdits[i].mediaTime);
        }
        EXPECT_EQ(test::numbers(test::box(movie, "moov/trak/mdia/minf/stbl/stts").value()),
                  testCase.durations);
    }
}

TEST(AssetWriter, PassesLinearPCMThroughUnchanged) {
    struct Case {
        std::string codec; ///< ffmpeg's name, which is also the raw format behind "pcm_"
        double rate;
        std::uint32_t channels;
        std::uint32_t bits;
        std::uint32_t flags;
        std::string code; ///< of the sample description
    };
    constexpr std::uint32_t integer = pcmFlag::signedInteger | pcmFlag::packed;
    constexpr std::uint32_t floating = pcmFlag::floatingPoint | pcmFlag::packed;
    const std::vector<Case> cases = {
        {"pcm_f32le", 48'000, 2, 32, floating, "fl32"},
        {"pcm_f32be", 44'100, 1, 32, floating | pcmFlag::bigEndian, "fl32"},
        {"pcm_f64le", 48'000, 8, 64, floating, "fl64"},
        {"pcm_f32le", 96'000, 1, 32, floating, "lpcm"},
        {"pcm_s24le", 48'000, 3, 24, integer, "in24"},
        {"pcm_s32le", 48'000, 2, 32, integer, "in32"},
        {"pcm_s16le", 8'000, 1, 16, integer, "sowt"},
        {"pcm_s16be", 48'000, 16, 16, integer | pcmFlag::bigEndian, "twos"},
        {"pcm_s24be", 192'000, 2, 24, integer | pcmFlag::bigEndian, "lpcm"},
    };
    const test::TemporaryFolder folder;
    for (const Case& testCase : cases) {
        SCOPED_TRACE(testCase.codec + " " + testCase.code);
        const std::uint32_t frameBytes = testCase.channels * testCase.bits / 8;
        const auto rate = static_cast<std::int64_t>(testCase.rate);
        const std::int64_t frames = rate / 2 + 7;
        Bytes pcm = test::noise(static_cast<std::size_t>(frames) * frameBytes, 1);
        if ((testCase.flags & pcmFlag::floatingPoint) != 0) // no exponents of infinities among them
            for (std::byte& byte : pcm)
                byte &= std::byte{0x3F};

        const auto movie = folder / "pcm.mov";
        AssetWriter writer(movie);
        const media::Track track = test::timecodeTrack({}, 25, {{{0, 1}, {frames, rate}, 0}});
        auto& timecode = writer.addTimecodeInput(track);
        auto& sound =
            writer.addPassThroughInput({testCase.rate, media::audioFormat::linearPCM, testCase.flags,
                                        testCase.channels, testCase.bits, frameBytes});
        writer.start();
        ASSERT_TRUE(test::feed({{timecode, {test::timecodeSample(0, {0, 25}, 13)}},
                                {sound, test::soundBuffers(pcm, frameBytes, rate)}}));
        writer.endSession({frames, rate});
        writer.finish();

        const test::Probe probe(movie);
        EXPECT_EQ(probe.stream(1, "codec_name"), testCase.codec);
        EXPECT_EQ(probe.stream(1, "channels"), std::to_string(testCase.channels));
        EXPECT_EQ(probe.stream(1, "duration_ts"), std::to_string(frames));
        EXPECT_EQ(test::mediainfo(movie, "Audio", "SamplingRate"), std::to_string(rate));
        const Bytes entry = entryOf(movie, 1);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(entry.data()) + 4, 4), testCase.code);
        const auto decoded = test::decodeTrack(movie, 0, testCase.codec.substr(4));
        EXPECT_TRUE(decoded == pcm);
        EXPECT_EQ(test::box(movie, "moov/trak[1]/tref/tmcd").value_or(Bytes()),
                  (Bytes{std::byte{0}, std::byte{0}, std::byte{0}, std::byte{1}}));
    }
}

/// Every packet of a movie in the order in which it lies in the file.
struct Packet {
    std::uint64_t position;
    std::size_t stream;
    double start;
    double end;
};
std::vector<Packet> packetsOf(const std::filesystem::path& movie) {
    std::istringstream lines(test::runChecked({"ffprobe", "-v", "error", "-show_entries",
                                               "packet=stream_index,pts_time,duration_time,pos", "-of",
                                               "csv=p=0", movie.string()}));
    std::vector<Packet> packets;
    for (std::string line; std::getline(lines, line);) {
        std::replace(line.begin(), line.end(), ',', ' ');
        std::istringstream fields(line);
        Packet packet{};
        double duration = 0;
        if (fields >> packet.stream >> packet.start >> duration >> packet.position) {
            packet.end = packet.start + duration;
            packets.push_back(packet);
        }
    }
    std::sort(packets.begin(), packets.end(),
              [](const Packet& a, const Packet& b) { return a.position < b.position; });
    return packets;
}

TEST(AssetWriter, InterleavesBySecondsAndAlwaysGivesTheSameBytes) {
    const test::TemporaryFolder folder;
    const Bytes wide = test::noise(std::size_t{44'100} * 32 * 6, 3);  // eight channels, six seconds
    const Bytes narrow = test::noise(std::size_t{48'000} * 4 * 4, 4); // ends two seconds earlier
    const Bytes coded = test::noise(std::size_t{48'000} * 2 * 6, 5);
    std::vector<Bytes> files;
    for (unsigned seed = 0; seed < 3; ++seed) {
        const auto movie = folder / "layout.mov";
        AssetWriter writer(movie);
        const media::Track track = test::timecodeTrack({}, 25, {{{0, 1}, {6, 1}, 0}});
        std::vector<media::SampleBuffer> timecodes;
        for (std::int64_t frame = 0; frame < 150; ++frame)
            timecodes.push_back(test::timecodeSample(frame, {frame, 25}, 1));
        auto& timecode = writer.addTimecodeInput(track);
        constexpr std::uint32_t flags = pcmFlag::floatingPoint | pcmFlag::packed;
        auto& first = writer.addPassThroughInput({44'100, media::audioFormat::linearPCM, flags, 8, 32, 32});
        auto& second = writer.addPassThroughInput({48'000, media::audioFormat::linearPCM, flags, 1, 32, 4});
        media::audio::EncoderSettings settings;
        settings.sampleRate = 48'000;
        settings.channels = 1;
        settings.inputBits = 16;
        auto& third = writer.addAudioInput(settings);
        writer.start();
        ASSERT_TRUE(test::feed({{timecode, timecodes},
                                {first, test::soundBuffers(wide, 32, 44'100)},
                                {second, test::soundBuffers(narrow, 4, 48'000)},
                                {third, test::soundBuffers(coded, 2, 48'000)}},
                               seed * 100));
        writer.endSession({6, 1});
        writer.finish();
        files.push_back(test::bytesAt(movie, 0, std::filesystem::file_size(movie)));
    }
    EXPECT_TRUE(files[0] == files[1] && files[1] == files[2]);

    const auto movie = folder / "layout.mov";
    EXPECT_THAT(test::topLevelBoxes(movie), ElementsAre("ftyp", "wide", "mdat", "moov"));
    constexpr double second = 1.0;
    constexpr double slack = 0.1; // a packet
    std::vector<double> ends(4, 0);
    std::vector<double> lasts(4, 0);
    const auto packets = packetsOf(movie);
    for (const Packet& packet : packets)
        lasts[packet.stream] = std::max(lasts[packet.stream], packet.end);
    double largestGap = 0;
    for (const Packet& packet : packets) {
        ends[packet.stream] = packet.end;
        for (std::size_t stream = 0; stream < ends.size(); ++stream)
            if (ends[stream] < lasts[stream] - slack)
                largestGap = std::max(largestGap, packet.start - ends[stream]);
    }
    EXPECT_THAT(packets, testing::SizeIs(testing::Gt(500U)));
    EXPECT_LE(largestGap, second + slack);
    for (const std::size_t index : {0U, 1U, 2U, 3U}) {
        const auto chunks = test::numbers(
            test::box(movie, "moov/trak[" + std::to_string(index) + "]/mdia/minf/stbl/stsc").value());
        EXPECT_LE(chunks.size(), 2U * 3U); // two entries
    }
}

} // namespace
