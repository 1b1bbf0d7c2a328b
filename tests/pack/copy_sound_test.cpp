// SPDX-License-Identifier: GPL-3.0-or-later
// What a copy states of its sound: description, rate and length.
#include <numeric>

#include <gtest/gtest.h>

#include "media/open.h"
#include "pack/copy_check.h"
#include "pack/copy_writer.h"
#include "tests/support/movie_boxes.h"
#include "tests/support/movie_builder.h"
#include "tests/support/probe.h"
#include "tests/support/temporary_folder.h"

namespace {

using test::Bytes;

/// Seconds of one sound track beside a timecode track of 25 frames a second.
test::Movie movieOf(const Bytes& entry, std::uint32_t bytesPerFrame, std::uint32_t frames,
                    std::uint32_t timescale, std::uint32_t ticksPerFrame) {
    test::Movie movie;
    movie.data.resize(4 + std::size_t{frames} * bytesPerFrame);
    const std::uint32_t pictures =
        static_cast<std::uint32_t>(std::uint64_t{frames} * ticksPerFrame * 25 / timescale);
    test::MovieTrack& timecode = movie.tracks.emplace_back();
    timecode.handler = "tmcd";
    timecode.timescale = 25;
    timecode.mediaDuration = pictures;
    timecode.entries = {test::timecodeEntry(0, 25, 1, 25)};
    timecode.durations = {{1, pictures}};
    timecode.chunks = {{1, 1, 1}};
    timecode.offsets = {0};
    timecode.constantSize = 4;
    timecode.sampleCount = 1;
    test::MovieTrack& sound = movie.tracks.emplace_back();
    sound.id = 2;
    sound.timescale = timescale;
    sound.mediaDuration = frames * ticksPerFrame;
    sound.entries = {entry};
    sound.durations = {{frames, ticksPerFrame}};
    sound.chunks = {{1, frames, 1}};
    sound.offsets = {4};
    sound.constantSize = bytesPerFrame;
    sound.sampleCount = frames;
    return movie;
}

std::filesystem::path pack(const test::TemporaryFolder& folder, const test::Movie& movie) {
    const Bytes bytes = test::build(movie);
    const PackClip clip{folder.write("clip.mov", {reinterpret_cast<const char*>(bytes.data()), bytes.size()}),
                        "clip", 1};
    const auto copy = folder / "copy.mov";
    (void)Pack::write({clip, copy});
    return copy;
}

TEST(CopySound, FloatKeepsItsOwnDescription) {
    const test::TemporaryFolder folder;
    const Bytes entry = test::soundEntry("fl32", 2, 16, 48'000, [](media::io::ByteWriter& bytes) {
        bytes.fullBox(media::fourCC("chan"), 0, 0, [&] {
            bytes.u32(0);
            bytes.u32(0);
            bytes.u32(0); // with descriptions of its own in real files
        });
        bytes.box(media::fourCC("free"), [&] { bytes.u32(0x12345678); });
    });
    const auto copy = pack(folder, movieOf(entry, 8, 48'000, 48'000, 1));
    const auto table = test::box(copy, "moov/trak[1]/mdia/minf/stbl/stsd").value();
    EXPECT_EQ(Bytes(table.begin() + 8, table.end()), entry);
    EXPECT_EQ(test::Probe(copy).stream(1, "codec_name"), "pcm_f32be");
}

TEST(CopySound, LastsExactlyAtRatesThatAreNoWholeNumber) {
    struct Case {
        double rate;
        std::uint32_t timescale;
        std::uint32_t ticksPerFrame;
        std::uint32_t frames;
        bool isFloat;
    };
    const test::TemporaryFolder folder;
    for (const Case& c : {Case{8'000.4, 40'002, 5, 160'008, false}, Case{8'000.4, 40'002, 5, 160'008, true},
                          Case{48'000 / 1.001, 48'000'000, 1'001, 48'000, false},
                          Case{44'100 / 1.001, 44'100'000, 1'001, 44'100, false}}) {
        SCOPED_TRACE(c.rate);
        const std::uint32_t bytes = c.isFloat ? 4 : 2;
        const std::uint32_t flags = media::pcmFlag::packed | (c.isFloat ? media::pcmFlag::floatingPoint
                                                                        : media::pcmFlag::signedInteger);
        const auto copy =
            pack(folder, movieOf(test::soundEntry2("lpcm", 1, bytes * 8, c.rate, flags, bytes, 1), bytes,
                                 c.frames, c.timescale, c.ticksPerFrame));
        const auto times = test::headerTimes(test::box(copy, "moov/trak[1]/mdia/mdhd").value());
        const std::uint32_t common = std::gcd(c.timescale, c.ticksPerFrame);
        EXPECT_EQ(times.timescale, c.timescale / common);
        EXPECT_EQ(times.duration, std::uint64_t{c.frames} * c.ticksPerFrame / common);
        EXPECT_NEAR(std::stod(test::Probe(copy).stream(1, "duration")),
                    static_cast<double>(c.frames) * c.ticksPerFrame / c.timescale, 1e-6);
    }
}

TEST(CopySound, HoursOfSilenceAreNoDamage) {
    const test::TemporaryFolder folder;
    test::Movie movie = movieOf(test::soundEntry("twos", 1, 16, 8'000), 2, 8'000, 8'000, 1);
    movie.data.resize(std::size_t{1} << 20);
    movie.tracks[1].edits = {{10 * 3600 * std::int64_t{movie.timescale}, -1}, {movie.timescale, 0}};
    EXPECT_NO_THROW((void)pack(folder, movie));
}

TEST(CopySound, IsAsLongAsTheEditsThatItWasMadeFrom) {
    const auto assetOf = [](std::initializer_list<std::uint32_t> lengths) {
        test::Movie movie;
        for (const std::uint32_t frames : lengths) {
            test::Movie one = test::rampMovie({frames});
            movie.tracks.push_back(one.tracks.front());
            movie.tracks.back().id = static_cast<std::uint32_t>(movie.tracks.size());
            if (one.data.size() > movie.data.size())
                movie.data = std::move(one.data);
        }
        return media::openAsset(media::io::memorySource(test::build(movie)));
    };
    const media::Asset clip = assetOf({48'000, 24'000, 12'000});
    const auto sources = clip.tracks(media::MediaType::audio);
    for (const std::uint32_t close : {24'000U, 24'023U, 23'977U})
        EXPECT_NO_THROW(Pack::checkLengths(assetOf({48'000, close, 12'000}), clip, sources)) << close;
    for (const std::uint32_t other : {24'025U, 23'975U, 1U}) {
        try {
            Pack::checkLengths(assetOf({48'000, other, 12'000}), clip, sources);
            ADD_FAILURE() << other;
        } catch (const PackError& error) {
            EXPECT_EQ(error.kind(), PackError::Case::lengthChanged);
        }
    }
    EXPECT_THROW(Pack::checkLengths(assetOf({48'000, 24'000}), clip, sources), PackError);
}

} // namespace
