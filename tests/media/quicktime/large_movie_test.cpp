// SPDX-License-Identifier: GPL-3.0-or-later
// Movies too large for 32 bits and for memory: 64-bit offsets, tables that spill to a file.
#include <gtest/gtest.h>
#include <malloc.h>

#include "media/quicktime/writer/movie_header_writer.h"
#include "media/quicktime/writer/sound_entry_writer.h"
#include "media/track/format_description.h"
#include "tests/support/movie_boxes.h"
#include "tests/support/movie_lanes.h"
#include "tests/support/probe.h"
#include "tests/support/temporary_folder.h"

namespace {

using namespace media::quicktime;
using test::Bytes;

constexpr std::uint64_t fourGiB = std::uint64_t{1} << 32;

TEST(LargeMovie, HasWideOffsetsWhereItNeedsThem) {
    const test::TemporaryFolder folder;
    const Bytes pcm = test::noise(std::size_t{48'000} * 2, 1);
    for (const std::uint64_t hole : {std::uint64_t{0}, fourGiB - 40'000, fourGiB + 1}) {
        const auto movie = folder / "large.mov";
        MovieOutput output(movie, hole);
        SpillFile spill(folder.path());
        WrittenTrack track(spill, media::MediaType::audio, 48'000);
        track.handler = media::fourCC("soun");
        track.sampleEntry =
            pcmEntry({48'000, media::audioFormat::linearPCM, media::pcmFlag::signedInteger, 1, 16, 2});
        track.edits = {{{0, 1}, {1, 1}, 0}};
        for (std::size_t half = 0; half < 2; ++half) {
            track.addChunk(output.position(), 24'000);
            track.addFrames(24'000, 2, 1);
            output.append(std::span(pcm).subspan(half * 48'000, 48'000));
        }
        output.endMovieData();
        WrittenTrack* const tracks[] = {&track};
        writeMovieHeader(output, tracks, {});
        output.close();

        EXPECT_EQ(test::box(movie, "moov/trak/mdia/minf/stbl/co64").has_value(), hole > 0);
        const std::vector<std::string> short64{"ftyp", "mdat", "moov"};
        const std::vector<std::string> plain{"ftyp", "wide", "mdat", "moov"};
        EXPECT_EQ(test::topLevelBoxes(movie), hole > 0 ? short64 : plain);
        EXPECT_TRUE(test::decodeTrack(movie, 0, "s16le") == pcm) << hole;
    }
}

TEST(SpilledTable, KeepsEveryEntryInLittleMemory) {
    const test::TemporaryFolder folder;
    SpillFile spill(folder.path());
    constexpr std::uint64_t entries = 2'000'000; // half a day of AAC packets
    const auto sizeOf = [](std::uint64_t i) { return i < 10'000 ? 300 : 200 + i * 7919 % 400; };
    const auto offsetOf = [](std::uint64_t i) { return fourGiB + i * i; };

    const std::size_t before = mallinfo2().uordblks;
    SpilledTable sizes(spill, SpilledTable::Width::four);
    SpilledTable offsets(spill, SpilledTable::Width::eight);
    SpilledRuns durations(spill);
    for (std::uint64_t i = 0; i < entries; ++i) {
        sizes.append(sizeOf(i));
        offsets.append(offsetOf(i));
        durations.append(i / 2);
    }
    const std::size_t grown = mallinfo2().uordblks - before;
    EXPECT_LT(grown, std::size_t{256} << 10);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path())); // the file has no name
    EXPECT_FALSE(sizes.constant());
    EXPECT_EQ(offsets.largest(), offsetOf(entries - 1));

    std::uint64_t wrong = 0;
    std::uint64_t at = 0;
    sizes.forEach([&](std::uint64_t value) { wrong += value == sizeOf(at++) ? 0 : 1; });
    EXPECT_EQ(at, entries);
    at = 0;
    offsets.forEach([&](std::uint64_t value) { wrong += value == offsetOf(at++) ? 0 : 1; });
    EXPECT_EQ(at, entries);
    at = 0;
    durations.forEach(
        [&](const media::quicktime::Run& run) { wrong += run.count == 2 && run.value == at++ ? 0 : 1; });
    EXPECT_EQ(at, entries / 2);
    EXPECT_EQ(durations.runCount(), entries / 2);
    EXPECT_EQ(wrong, 0U);
}

} // namespace
