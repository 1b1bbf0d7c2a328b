// SPDX-License-Identifier: GPL-3.0-or-later
// One clip's copy, on real clips: what the result says, what is read, and what is left after a failure.
#include <chrono>
#include <mutex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "pack/copy_writer.h"
#include "pack/header_probe.h"
#include "tests/support/clip_maker.h"
#include "tests/support/probe.h"
#include "tests/support/temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Pack::CopyProgress noProgress = [](double) {};
const Pack::IsCancelled goOn = [] { return false; };

PackClip packClip(const std::filesystem::path& source) {
    return {source, source.stem().string(), static_cast<std::int64_t>(std::filesystem::file_size(source))};
}

test::SoundDescription sound(const std::string& codec, test::Signal signal = test::Signal::speech) {
    test::SoundDescription description;
    description.codec = codec;
    description.signal = signal;
    return description;
}

/// A clip's bytes, refused from a given number of delivered bytes on, as when a card is pulled out.
class FailingSource final : public media::io::ByteSource {
  public:
    FailingSource(const std::filesystem::path& path, std::uint64_t limit)
        : file_(media::io::openFile(path)), limit_(limit) {}
    [[nodiscard]] std::uint64_t size() const noexcept override { return file_->size(); }

  protected:
    void read(std::uint64_t offset, std::span<std::byte> out) const override {
        if (bytesRead() > limit_)
            throw std::system_error(EIO, std::generic_category());
        file_->readAt(offset, out);
    }

  private:
    std::shared_ptr<const media::io::ByteSource> file_;
    std::uint64_t limit_;
};

TEST(CopyWriter, TellsWhatTheCopyHolds) {
    const test::TemporaryFolder folder;
    test::ClipDescription description;
    description.rate = "30000/1001";
    description.timecode = "10:04:12;07";
    description.sound = {sound("pcm_s16le"), sound("pcm_s24le", test::Signal::silence), sound("pcm_f32le")};
    const auto source = test::clip(description);
    const auto copy = folder / "copy.mov";

    PackResult result = Pack::write(packClip(source), copy, ScratchAudio::lossless, noProgress, goOn);
    EXPECT_EQ(result.timecode.label(), "10:04:12;07");
    EXPECT_NEAR(result.fps, 30000.0 / 1001, 1e-4);
    EXPECT_EQ(result.frames, 60);
    EXPECT_EQ(result.audioTracks, 3);
    // Silence is not audible, and sound that is passed through is never measured.
    EXPECT_THAT(result.audible, ElementsAre(1));
    EXPECT_EQ(result.packSize, static_cast<std::int64_t>(std::filesystem::file_size(copy)));
    EXPECT_THAT(result.notes, IsEmpty());
    const test::Probe probe(copy);
    EXPECT_EQ(probe.timecode(), "10:04:12;07");
    EXPECT_EQ(probe.streams("audio").size(), 3U);
    EXPECT_THAT(probe.streams("video"), IsEmpty());
    EXPECT_EQ(probe.field("format.tags.org.ferrowick.clips.metadata.source"), source.filename().string());

    result = Pack::write(
        packClip(source), copy, ScratchAudio::none, [](double) { FAIL(); }, goOn);
    EXPECT_EQ(result.audioTracks, 0);
    EXPECT_THAT(result.audible, IsEmpty());
    EXPECT_THAT(result.notes, ElementsAre("timecode only"));
    EXPECT_THAT(test::Probe(copy).streams("audio"), IsEmpty());
}

TEST(CopyWriter, NotesWhatSyncWillMiss) {
    const test::TemporaryFolder folder;
    test::ClipDescription mute;
    mute.sound.clear();
    EXPECT_THAT(Pack::write(packClip(test::clip(mute)), folder / "mute.mov", ScratchAudio::compressed,
                            noProgress, goOn)
                    .notes,
                ElementsAre("no scratch audio: sync by timecode only"));
    test::ClipDescription silent;
    silent.sound = {sound("aac", test::Signal::silence)};
    EXPECT_THAT(Pack::write(packClip(test::clip(silent)), folder / "silent.mov", ScratchAudio::lossless,
                            noProgress, goOn)
                    .notes,
                ElementsAre("scratch audio is silent: sync by timecode only"));
}

TEST(CopyWriter, KeepsTheClipsLengthWhicheverTrackIsLongest) {
    const test::TemporaryFolder folder;
    for (const double seconds : {1.2, 2.9}) {
        test::ClipDescription description;
        description.sound.front().duration = seconds;
        const auto source = test::clip(description);
        for (const ScratchAudio mode : allScratchAudio) {
            const auto copy = folder / "copy.mov";
            const PackResult result = Pack::write(packClip(source), copy, mode, noProgress, goOn);
            EXPECT_NEAR(result.duration, std::max(2.0, seconds), 0.0005);
            EXPECT_NEAR(test::Probe(copy).duration(), result.duration, 0.0005) << rawValue(mode);
        }
    }
}

TEST(CopyWriter, LeavesTheEarlierFileWhenThereIsNoTimecode) {
    const test::TemporaryFolder folder;
    test::ClipDescription description;
    description.timecode.reset();
    const auto earlier = folder.write("copy.mov", "earlier");
    try {
        (void)Pack::write(packClip(test::clip(description)), earlier, ScratchAudio::lossless, noProgress,
                          goOn);
        FAIL() << "a clip without timecode was packed";
    } catch (const PackError& error) {
        EXPECT_EQ(error.kind(), PackError::Case::noTimecode);
    }
    EXPECT_EQ(std::filesystem::file_size(earlier), 7U);
}

TEST(CopyWriter, StopsAtOnceAndRemovesThePartialCopy) {
    const test::TemporaryFolder folder;
    test::ClipDescription description;
    description.sound = {sound("pcm_s24le"), sound("pcm_s24le")};
    std::atomic<int> asked = 0;
    const Pack::IsCancelled stop = [&] { return ++asked > 4; };
    try {
        (void)Pack::write(packClip(test::clip(description)), folder / "copy.mov", ScratchAudio::lossless,
                          noProgress, stop);
        FAIL() << "a stopped copy was finished";
    } catch (const PackError& error) {
        EXPECT_EQ(error.kind(), PackError::Case::cancelled);
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(CopyWriter, SaysWhyAReadFailed) {
    const test::TemporaryFolder folder;
    test::ClipDescription description;
    description.sound = {sound("pcm_s24le"), sound("pcm_s24le"), sound("pcm_s24le")};
    const auto source = test::clip(description);
    const media::Asset asset(std::make_shared<FailingSource>(source, 300'000));
    try {
        (void)Pack::write(asset, packClip(source), folder / "copy.mov", ScratchAudio::lossless, noProgress,
                          goOn);
        FAIL() << "a copy of half a clip was finished";
    } catch (const media::Error& error) {
        EXPECT_EQ(error.category(), media::Error::Category::io);
        EXPECT_THAT(error.what(), testing::HasSubstr("input/output error"));
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(CopyWriter, ReadsTheSoundOnceAndThePictureNever) {
    const test::TemporaryFolder folder;
    test::ClipDescription description;
    description.sound = {sound("pcm_s24le"), sound("pcm_s24le")};
    const auto source = test::clip(description);
    const std::uint64_t soundBytes = 2 * 2 * 48'000 * 3;

    const media::Asset probed(source);
    (void)Pack::header(probed, source);
    const std::uint64_t headerBytes = probed.bytesRead();

    const media::Asset asset(source);
    (void)Pack::write(asset, packClip(source), folder / "copy.mov", ScratchAudio::lossless, noProgress, goOn);
    EXPECT_GE(asset.bytesRead(), soundBytes);
    EXPECT_LE(asset.bytesRead(), soundBytes * 11 / 10 + headerBytes);
}

TEST(CopyWriter, PacksTheTimecodeOfAHundredGigabytesAtOnce) {
    const test::TemporaryFolder folder;
    test::ClipDescription description;
    description.moovFirst = true;
    // A clip's header in front of a hundred gigabytes of nothing.
    const auto source = folder / "large.mov";
    std::filesystem::copy_file(test::clip(description), source);
    std::filesystem::resize_file(source, 100'000'000'000);

    const auto start = std::chrono::steady_clock::now();
    const media::Asset asset(source);
    (void)Pack::write(asset, packClip(source), folder / "copy.mov", ScratchAudio::none, noProgress, goOn);
    EXPECT_LT(asset.bytesRead(), 1024U * 1024);
    // People are promised 50 ms; ten times that here, for a loaded machine.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
}

} // namespace
