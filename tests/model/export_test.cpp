// SPDX-License-Identifier: GPL-3.0-or-later
// The export: its progress, its ends, stopping it.
#include <QElapsedTimer>
#include <QSignalSpy>
#include <atomic>

#include "tests/model/model_test.h"

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
    std::string label() { return model().exporting()->label().toStdString(); }
};

PackResult packed(std::int64_t size) {
    PackResult result;
    result.packSize = size;
    return result;
}

TEST_F(ExportTest, FollowsTheRunClipByClip) {
    Gate gate;
    operations.make = [&](std::span<const PackClip> clips, const std::filesystem::path& zip,
                          ScratchAudio audio, const Pack::MakeCallbacks& callbacks) {
        if (zip.stem() == "full")
            throw media::Error(media::Error::Category::io, "The zip can't be written: it is full.");
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
    const QString space = QStringLiteral("Each clip's timecode and scratch audio, in the same folders: %1. "
                                         "Making it needs twice that free on the disk.");
    EXPECT_EQ(model().spaceMessage(ScratchAudio::lossless), space.arg(QStringLiteral("up to 1.4 MB")));
    EXPECT_EQ(model().spaceMessage(ScratchAudio::compressed), space.arg(QStringLiteral("about 80 KB")));
    EXPECT_EQ(model().spaceWarning(ScratchAudio::lossless, 3'000'000), QString());
    EXPECT_EQ(model().spaceWarning(ScratchAudio::lossless, 2'000'000),
              QStringLiteral("Only 2 MB are free there. Making the pack may need 2.9 MB."));
    model().setAudio(ScratchAudio::compressed);
    QSignalSpy packing(&model(), &PackModel::packingChanged);
    model().pack("/out/Day 3.zip");
    EXPECT_TRUE(model().packing() && !model().canPack());
    EXPECT_EQ(label(), "Processed 0 of 2 clips");
    EXPECT_DOUBLE_EQ(model().exporting()->total, 10.001);
    model().add({"/c/4.mov"});
    model().remove({"/c/1.mov"});

    ASSERT_TRUE(eventually([&] { return row(0).progress() == 0.5; }));
    EXPECT_DOUBLE_EQ(model().exporting()->done(), 5);
    EXPECT_EQ(label(), "Processed 0 of 2 clips, now 1.mov");
    gate.letGo(1);
    ASSERT_TRUE(eventually([&] { return row(2).progress() == 1.0; }));
    EXPECT_TRUE(std::holds_alternative<PackResult>(*row(0).result()));
    EXPECT_EQ(label(), "Processed 1 of 2 clips, now 3.mov");
    EXPECT_EQ(model().exporting()->estimatedSize(), 720'000);
    gate.letGo(1);
    ASSERT_TRUE(eventually([&] { return model().exporting()->saving; }));
    EXPECT_EQ(label(), "Processed 2 of 2 clips, saving the zip…");
    EXPECT_TRUE(row(2).problem());
    gate.open();
    ASSERT_TRUE(ends());
    EXPECT_FALSE(model().exporting());
    EXPECT_EQ(model().saved(), (PackModel::SavedPack{"/out/Day 3.zip", 48'200'000, 2}));
    EXPECT_EQ(packing.size(), 2);
    EXPECT_EQ(model().rows().size(), 3U);
    model().add({"/c/1.mov"});
    ASSERT_TRUE(settles());
    EXPECT_FALSE(model().saved());

    model().pack("/out/full.zip");
    EXPECT_FALSE(row(0).result());
    ASSERT_TRUE(ends());
    EXPECT_EQ(model().failure(),
              QStringLiteral("The pack wasn't saved: The zip can't be written: it is full."));
    EXPECT_FALSE(model().saved());
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
            EXPECT_TRUE(callbacks.isCancelled());
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
        EXPECT_FALSE(row(0).progress() || model().resultsStand() || model().failure() || model().saved());
        EXPECT_TRUE(model().stoppedStillRuns() && model().canPack());
    };
    const auto saves = [&](const char* zip) {
        hanging.letGo(1);
        return eventually([&] { return model().saved() && model().saved()->url == zip; });
    };
    startAndStop();
    model().pack("/out/b.zip");
    EXPECT_FALSE(model().packing());
    ASSERT_NE(model().waiting(), nullptr);
    EXPECT_EQ(*model().waiting(), "/out/b.zip");
    model().stop();
    EXPECT_EQ(model().waiting(), nullptr);
    model().pack("/out/c.zip");
    ASSERT_TRUE(saves("/out/c.zip"));
    EXPECT_FALSE(model().stoppedStillRuns());
    EXPECT_EQ(model().remarks().size(), 1);

    // The stop comes too late: there is a pack, and that is said, also beside the next one.
    stopsInTime = false;
    startAndStop();
    ASSERT_TRUE(saves("/out/hangs.zip"));
    EXPECT_TRUE(model().resultsStand());
    startAndStop();
    model().pack("/out/d.zip");
    ASSERT_TRUE(saves("/out/d.zip"));
    EXPECT_THAT(model().remarks(),
                ElementsAre(QStringLiteral("3 listed clips are not in it."),
                            QStringLiteral("The stopped export was saved too, as “hangs.zip”.")));
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

} // namespace

} // namespace test
