// SPDX-License-Identifier: GPL-3.0-or-later
// The export: its progress, its ends, stopping it, and a real one.
#include <QElapsedTimer>
#include <QSignalSpy>
#include <atomic>

#include "tests/model/model_test.h"
#include "tests/support/clip_maker.h"

using namespace std::chrono_literals;
using testing::ElementsAre;

namespace test {

namespace {

class ExportTest : public ModelTest {
  protected:
    /// Three clips, the second of them without a timecode.
    void addThree() {
        operations.header = [](const std::filesystem::path& source) {
            ClipHeader header = test::header(source.stem() == "3" ? 0 : 10);
            if (source.stem() == "2")
                header.timecode.reset();
            return header;
        };
        model().add({"/c/1.mov", "/c/2.mov", "/c/3.mov"});
        ASSERT_TRUE(settles());
    }
    [[nodiscard]] bool ends() {
        return eventually([this] { return !model().packing(); });
    }
    const Row& row(std::size_t index) { return *model().rows()[index]; }
};

PackResult packed(std::int64_t size) {
    PackResult result;
    result.packSize = size;
    return result;
}

TEST_F(ExportTest, FollowsTheRunClipByClip) {
    Gate gate;
    operations.make = [&](std::span<const PackClip> clips, const std::filesystem::path&, ScratchAudio audio,
                          const Pack::MakeCallbacks& callbacks) {
        EXPECT_EQ(clips.size(), 2U);
        EXPECT_EQ(audio, ScratchAudio::compressed);
        callbacks.item(clips[0], 0.5);
        gate.pass();
        callbacks.finished(clips[0], packed(720'000));
        callbacks.item(clips[0], 0.9); // late: must not make it current again
        callbacks.item(clips[1], 2.0); // and no bar goes past its end
        gate.pass();
        callbacks.finished(clips[1], PackFailure{"Couldn't read the clip."});
        callbacks.saving();
        gate.pass();
    };
    addThree();
    model().setAudio(ScratchAudio::compressed);
    QSignalSpy packing(&model(), &PackModel::packingChanged);
    model().pack("/out/Day 3.zip");
    EXPECT_TRUE(model().packing());
    EXPECT_FALSE(model().canPack());
    EXPECT_EQ(model().exporting()->label(), QStringLiteral("Processed 0 of 2 clips"));
    EXPECT_DOUBLE_EQ(model().exporting()->total, 10.001);
    model().add({"/c/4.mov"});
    model().remove({"/c/1.mov"});

    ASSERT_TRUE(eventually([&] { return row(0).progress() == 0.5; }));
    EXPECT_DOUBLE_EQ(model().exporting()->done(), 5);
    EXPECT_EQ(model().exporting()->label(), QStringLiteral("Processed 0 of 2 clips, now 1.mov"));
    gate.letGo(1);
    ASSERT_TRUE(eventually([&] { return row(2).progress() == 1.0; }));
    EXPECT_TRUE(std::holds_alternative<PackResult>(*row(0).result()));
    EXPECT_EQ(model().exporting()->label(), QStringLiteral("Processed 1 of 2 clips, now 3.mov"));
    EXPECT_EQ(model().exporting()->estimatedSize(), 720'000);
    gate.letGo(1);
    ASSERT_TRUE(eventually([&] { return model().exporting()->saving; }));
    EXPECT_EQ(model().exporting()->label(), QStringLiteral("Processed 2 of 2 clips, saving the zip…"));
    EXPECT_TRUE(row(2).problem());
    gate.letGo(1);
    ASSERT_TRUE(ends());
    EXPECT_FALSE(model().exporting());
    EXPECT_EQ(model().saved(), (PackModel::SavedPack{"/out/Day 3.zip", 48'200'000, 2}));
    EXPECT_EQ(packing.size(), 2);
    EXPECT_EQ(model().rows().size(), 3U);

    model().pack("/out/again.zip");
    EXPECT_FALSE(row(0).result());
    EXPECT_FALSE(model().saved());
    gate.open();
    ASSERT_TRUE(ends());
    model().add({"/c/1.mov"});
    ASSERT_TRUE(settles());
    EXPECT_FALSE(model().saved());
}

TEST_F(ExportTest, SaysWhyNoPackWasSaved) {
    operations.make = [](auto&&...) {
        throw media::Error(media::Error::Category::noSpace, "The zip can't be written: the disk is full.");
    };
    addThree();
    model().pack("/out/a.zip");
    ASSERT_TRUE(ends());
    EXPECT_EQ(model().failure(),
              QStringLiteral("The pack wasn't saved: The zip can't be written: the disk is full."));
    EXPECT_FALSE(model().saved());
}

TEST_F(ExportTest, StoppingKeepsTheResultsAndSaysNothing) {
    Gate gate;
    operations.make = [&](std::span<const PackClip> clips, const std::filesystem::path&, ScratchAudio,
                          const Pack::MakeCallbacks& callbacks) {
        callbacks.finished(clips[0], packed(1));
        callbacks.item(clips[1], 0.25);
        gate.pass();
        if (callbacks.isCancelled())
            throw PackError::cancelled();
    };
    addThree();
    model().pack("/out/a.zip");
    ASSERT_TRUE(eventually([&] { return row(2).progress().has_value(); }));
    model().stop();
    gate.letGo(1);
    ASSERT_TRUE(ends());
    EXPECT_TRUE(row(0).result());
    EXPECT_FALSE(row(2).progress());
    EXPECT_FALSE(model().resultsStand());
    EXPECT_FALSE(model().failure());
    EXPECT_FALSE(model().saved());
    EXPECT_TRUE(model().canPack());
}

TEST_F(ExportTest, NoExportRunsBesideAStoppedOneThatHangs) {
    Gate hanging;
    std::atomic<int> running = 0;
    bool stopsInTime = true;
    operations.make = [&](std::span<const PackClip> clips, const std::filesystem::path& zip, ScratchAudio,
                          const Pack::MakeCallbacks& callbacks) {
        EXPECT_EQ(++running, 1);
        callbacks.item(clips[0], 0.25);
        if (zip.stem() == "hangs") {
            hanging.pass();
            callbacks.finished(clips[0], packed(1));
        }
        --running;
        if (zip.stem() == "hangs" && stopsInTime)
            throw PackError::cancelled();
    };
    addThree();
    const auto startAndStop = [&] {
        model().pack("/out/hangs.zip");
        ASSERT_TRUE(eventually([&] { return hanging.waiting() == 1; }));
        QElapsedTimer answer;
        answer.start();
        model().stop();
        ASSERT_TRUE(ends());
        EXPECT_LT(answer.elapsed(), 1'500);
        EXPECT_FALSE(row(0).progress());
        EXPECT_TRUE(model().stoppedStillRuns() && model().canPack());
    };
    startAndStop();
    model().pack("/out/b.zip");
    EXPECT_FALSE(model().packing());
    ASSERT_NE(model().waiting(), nullptr);
    EXPECT_EQ(*model().waiting(), "/out/b.zip");
    model().stop();
    EXPECT_EQ(model().waiting(), nullptr);
    model().pack("/out/c.zip");
    hanging.letGo(1);
    ASSERT_TRUE(eventually([&] { return model().saved().has_value(); }));
    EXPECT_EQ(model().saved()->url, "/out/c.zip");
    EXPECT_FALSE(model().stoppedStillRuns());
    EXPECT_EQ(model().remarks().size(), 1);

    // The stop comes too late: there is a pack, and that is said, also beside the next one.
    stopsInTime = false;
    startAndStop();
    hanging.letGo(1);
    ASSERT_TRUE(eventually([&] { return model().saved().has_value(); }));
    EXPECT_EQ(model().saved()->url, "/out/hangs.zip");
    EXPECT_TRUE(model().resultsStand());
    startAndStop();
    EXPECT_FALSE(model().resultsStand());
    model().pack("/out/d.zip");
    hanging.letGo(1);
    ASSERT_TRUE(eventually([&] { return model().saved() && model().saved()->url == "/out/d.zip"; }));
    EXPECT_THAT(model().remarks(),
                ElementsAre(QStringLiteral("3 listed clips are not in it."),
                            QStringLiteral("The stopped export was saved too, as “hangs.zip”.")));
}

TEST_F(ExportTest, TakesEveryClipWhoseHeaderIsStillToBeRead) {
    Gate headers;
    Gate slowCard;
    operations.header = [&](const std::filesystem::path&) {
        headers.pass();
        return test::header();
    };
    operations.clips = [&, clips = operations.clips](std::span<const std::filesystem::path> paths,
                                                     std::set<std::string> taken) {
        if (paths[0] == "/slow/4.mov")
            slowCard.pass();
        return clips(paths, std::move(taken));
    };
    std::vector<std::size_t> exported;
    operations.make = [&](std::span<const PackClip> clips, auto&&...) { exported.push_back(clips.size()); };
    model().packWhenReady("/out/launched.zip");
    EXPECT_EQ(model().waiting(), nullptr); // nothing to wait for yet
    model().add({"/c/1.mov", "/c/2.mov", "/c/3.mov"});
    headers.letGo(1);
    ASSERT_TRUE(eventually([this] { return model().canPack(); }));
    ASSERT_NE(model().waiting(), nullptr);
    model().stop();
    headers.letGo(1);
    ASSERT_TRUE(eventually([this] { return model().readDone() == 2; }));
    EXPECT_THAT(exported, testing::IsEmpty());

    model().packWhenReady("/out/asked.zip");
    model().add({"/slow/4.mov"});
    model().add({"/c/5.mov"});
    ASSERT_TRUE(eventually([this] { return !model().finding(); }));
    headers.open();
    ASSERT_TRUE(eventually([this] { return model().readTotal() == 0; }));
    EXPECT_FALSE(model().packing());
    slowCard.open();
    ASSERT_TRUE(eventually([this] { return model().saved().has_value(); }));
    EXPECT_THAT(exported, ElementsAre(5U));
}

TEST_F(ExportTest, TellsTheTimeLeftAndTheSizeExpected) {
    using Progress = ExportProgress;
    const Progress::Clock::time_point start{};
    PathMap<Progress::Clip> clips;
    clips["/a"] = {10, 1'000, QStringLiteral("a.mov")};
    clips["/b"] = {30, 0, QStringLiteral("b %1.mov")};
    Progress progress(clips, start);
    EXPECT_EQ(progress.remaining(start + 5s), std::nullopt); // nothing done
    progress.step("/a", 0.5);
    EXPECT_EQ(progress.remaining(start + 1999ms), std::nullopt);
    EXPECT_DOUBLE_EQ(progress.remaining(start + 2s).value(), 14);
    progress.finish("/b", 5);
    EXPECT_EQ(progress.estimatedSize(), std::nullopt); // no sound yet to judge by
    EXPECT_EQ(progress.current, "/a");
    progress.finish("/a", 495);
    progress.finish("/a", 495);
    EXPECT_EQ(progress.estimatedSize(), 500);
    EXPECT_DOUBLE_EQ(progress.done(), 40);
    EXPECT_FALSE(progress.current);
    progress.saving = true;
    EXPECT_EQ(progress.remaining(start + 5s), std::nullopt);
    progress = Progress(clips, start);
    progress.step("/b", 0);
    EXPECT_EQ(progress.label(), QStringLiteral("Processed 0 of 2 clips, now b %1.mov"));
}

TEST_F(ExportTest, SaysHowMuchSpaceThePackTakes) {
    model().add({"/c/1.mov"});
    ASSERT_TRUE(settles());
    const QString text = QStringLiteral("Each clip's timecode and scratch audio, in the same folders: %1. "
                                        "Making it needs twice that free on the disk.");
    EXPECT_EQ(model().spaceMessage(ScratchAudio::lossless), text.arg(QStringLiteral("up to 1.4 MB")));
    EXPECT_EQ(model().spaceMessage(ScratchAudio::compressed), text.arg(QStringLiteral("about 80 KB")));
    EXPECT_EQ(model().spaceWarning(ScratchAudio::lossless, 3'000'000), QString());
    EXPECT_EQ(model().spaceWarning(ScratchAudio::lossless, 2'000'000),
              QStringLiteral("Only 2 MB are free there. Making the pack may need 2.9 MB."));
}

TEST_F(ExportTest, PacksARealCard) {
    operations = PackOperations();
    std::filesystem::create_directories(folder / "A001/CLIP");
    std::filesystem::copy_file(test::clip({}), folder / "A001/CLIP/C001.mov");
    ClipDescription silent;
    silent.sound = {SoundDescription{.signal = Signal::silence}};
    std::filesystem::copy_file(test::clip(silent), folder / "A001/CLIP/C002.mov");
    ClipDescription untimed;
    untimed.timecode.reset();
    std::filesystem::copy_file(test::clip(untimed), folder / "A001/C003.mov");
    folder.write("A001/broken.mxf", "not a clip");

    model().add({folder / "A001"});
    ASSERT_TRUE(settles());
    EXPECT_THAT(listed(), ElementsAre("A001/broken", "A001/C003", "A001/CLIP/C001", "A001/CLIP/C002"));
    EXPECT_EQ(row(0).headerError(), QStringLiteral("Can't read this clip."));
    EXPECT_EQ(row(1).headerError(), QStringLiteral("No timecode track."));
    EXPECT_EQ(row(2).header()->range(), "01:00:00:00 – 01:00:02:00");

    model().pack(folder / "out.zip");
    ASSERT_TRUE(ends());
    ASSERT_TRUE(model().saved());
    EXPECT_EQ(model().saved()->size,
              static_cast<std::int64_t>(std::filesystem::file_size(folder / "out.zip")));
    EXPECT_FALSE(row(0).result());
    EXPECT_FALSE(row(2).problem());
    EXPECT_THAT(std::get<PackResult>(*row(3).result()).notes,
                ElementsAre("scratch audio is silent: sync by timecode only"));
    EXPECT_FALSE(std::filesystem::exists(folder / "out"));
}

} // namespace

} // namespace test
