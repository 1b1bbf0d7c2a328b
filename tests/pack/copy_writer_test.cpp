// SPDX-License-Identifier: GPL-3.0-or-later
// One clip's copy, on real clips: what the result says, what is read, and what is left after a failure.
#include <fstream>
#include <mutex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media/open.h"
#include "pack/copy_writer.h"
#include "pack/header_probe.h"
#include "tests/support/clip_maker.h"
#include "tests/support/probe.h"
#include "tests/support/temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

PackClip packClip(const std::filesystem::path& source) {
    return {source, source.stem().string(), static_cast<std::int64_t>(std::filesystem::file_size(source))};
}

TEST(CopyWriter, TellsWhatTheCopyHolds) {
    const test::TemporaryFolder folder;
    const auto source = test::clip({.rate = "30000/1001",
                                    .timecode = "10:04:12;07",
                                    .sound = {{.codec = "pcm_s16le"},
                                              {.signal = test::Signal::hush},
                                              {.codec = "pcm_f32le"},
                                              {.signal = test::Signal::whisper}}});
    const auto copy = folder / "copy.mov";

    PackResult result = Pack::write({packClip(source), copy});
    EXPECT_EQ(result.timecode.label(), "10:04:12;07");
    EXPECT_NEAR(result.fps, 30000.0 / 1001, 1e-4);
    EXPECT_EQ(result.frames, 60);
    EXPECT_EQ(result.audioTracks, 4);
    // Sound below -60 dB is not audible, and sound that is passed through is never measured.
    EXPECT_THAT(result.audible, ElementsAre(1, 4));
    EXPECT_EQ(result.packSize, static_cast<std::int64_t>(std::filesystem::file_size(copy)));
    EXPECT_THAT(result.notes, IsEmpty());
    const test::Probe probe(copy);
    EXPECT_EQ(probe.timecode(), "10:04:12;07");
    EXPECT_EQ(probe.streams("audio").size(), 4U);
    EXPECT_THAT(probe.streams("video"), IsEmpty());
    EXPECT_EQ(probe.field("format.tags.org.ferrowick.clips.metadata.source"), source.filename().string());

    result = Pack::write({packClip(source), copy, ScratchAudio::none}, {.progress = [](double) { FAIL(); }});
    EXPECT_EQ(result.audioTracks, 0);
    EXPECT_THAT(result.audible, IsEmpty());
    EXPECT_THAT(result.notes, ElementsAre("timecode only"));
    EXPECT_THAT(test::Probe(copy).streams("audio"), IsEmpty());
}

TEST(CopyWriter, NotesThatThereIsNoSound) {
    const test::TemporaryFolder folder;
    const auto mute = packClip(test::clip({.sound = {}}));
    EXPECT_THAT(Pack::write({mute, folder / "mute.mov", ScratchAudio::compressed}).notes,
                ElementsAre("no scratch audio: sync by timecode only"));
}

TEST(CopyWriter, StopsAtOnceAndRemovesThePartialCopy) {
    const test::TemporaryFolder folder;
    const auto source = test::clip({.sound = {{}, {}}});
    std::atomic<int> asked = 0;
    try {
        (void)Pack::write({packClip(source), folder / "copy.mov"},
                          {.isCancelled = [&] { return ++asked > 4; }});
        FAIL() << "a stopped copy was finished";
    } catch (const PackError& error) {
        EXPECT_EQ(error.kind(), PackError::Case::cancelled);
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(CopyWriter, RefusesAClipThatIsWrittenToMeanwhile) {
    // As a copy to this disk is that was given its whole size first. One that only grows is recorded still.
    const test::TemporaryFolder folder;
    const auto source = folder / "clip.mov";
    std::filesystem::copy_file(test::clip({}), source);
    const auto packWhile = [&](std::ios::openmode mode) {
        const auto write = [&](double) { std::ofstream(source, mode | std::ios::in) << "    "; };
        return Pack::write({packClip(source), folder / "copy.mov"}, {.progress = write});
    };
    EXPECT_NO_THROW((void)packWhile(std::ios::app));
    EXPECT_THROW((void)packWhile(std::ios::out), media::Error);
}

TEST(CopyWriter, ReadsTheSoundOnceAndThePictureNever) {
    const test::TemporaryFolder folder;
    const auto source = test::clip({.sound = {{}, {}}});
    const std::uint64_t soundBytes = 2 * 2 * 48'000 * 3;

    const media::Asset probed = media::openAsset(source);
    (void)Pack::header(probed, source);
    const std::uint64_t headerBytes = probed.bytesRead();

    const media::Asset asset = media::openAsset(source);
    (void)Pack::write(asset, {packClip(source), folder / "copy.mov"});
    EXPECT_GE(asset.bytesRead(), soundBytes);
    EXPECT_LE(asset.bytesRead(), soundBytes * 11 / 10 + headerBytes);
}

TEST(CopyWriter, ReadsLittleOfAHundredGigabytesForTheirTimecode) {
    const test::TemporaryFolder folder;
    // A clip's header in front of a hundred gigabytes of nothing.
    const auto source = folder / "large.mov";
    std::filesystem::copy_file(test::clip({.moovFirst = true}), source);
    std::filesystem::resize_file(source, 100'000'000'000);

    const media::Asset asset = media::openAsset(source);
    (void)Pack::write(asset, {packClip(source), folder / "copy.mov", ScratchAudio::none});
    EXPECT_LT(asset.bytesRead(), 1024U * 1024);
}

} // namespace
