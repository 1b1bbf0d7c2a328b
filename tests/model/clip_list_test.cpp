// SPDX-License-Identifier: GPL-3.0-or-later
// Adding, reading and removing clips.
#include <QSignalSpy>
#include <ctime>

#include "tests/model/model_test.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace test {

namespace {

using ClipListTest = ModelTest;

std::vector<std::string> names(const std::vector<Node>& nodes) {
    std::vector<std::string> result;
    for (const Node& node : nodes)
        result.push_back(node.name);
    return result;
}

std::vector<std::filesystem::path> clips(int count) {
    std::vector<std::filesystem::path> paths;
    for (int number = 0; number < count; ++number)
        paths.emplace_back("/card/C" + std::to_string(number) + ".mov");
    return paths;
}

TEST_F(ClipListTest, GroupsByFolderInTheFileBrowsersOrder) {
    folders["/card/B/"] = {"A010.mov", "A002.mov", "deep/X.mov"};
    model().add({"/card/B/", "/other/a10.mov", "/other/A2.mov"});
    EXPECT_TRUE(model().finding());
    EXPECT_FALSE(model().canPack());
    ASSERT_TRUE(settles());
    EXPECT_THAT(listed(), ElementsAre("A2", "a10", "B/A002", "B/A010", "B/deep/X"));
    ASSERT_THAT(names(model().tree()), ElementsAre("A2", "a10", "B"));
    const Node& card = model().tree()[2];
    EXPECT_EQ(card.id, "/card/B");
    EXPECT_THAT(names(*card.children), ElementsAre("A002", "A010", "deep"));
    EXPECT_EQ(card.children->back().id, "/card/B/deep");
    EXPECT_EQ(card.clips().size(), 3U);
    EXPECT_TRUE(model().canPack());
    EXPECT_EQ(model().summary(), QStringLiteral("5 clips, 2 MB"));
}

TEST_F(ClipListTest, AddsNothingTwice) {
    model().add({"/card/A.mov"});
    ASSERT_TRUE(settles());
    QSignalSpy reading(&model(), &PackModel::readingChanged);
    QSignalSpy rows(&model(), &PackModel::rowsChanged);
    QSignalSpy finding(&model(), &PackModel::findingChanged);
    model().add({"/card/x/../A.mov"});
    ASSERT_TRUE(settles());
    EXPECT_EQ(finding.size(), 2);
    EXPECT_THAT(reading, IsEmpty());
    EXPECT_THAT(rows, IsEmpty());
    EXPECT_EQ(model().summary(), QStringLiteral("1 clip, 1 MB"));
    model().add({});
    EXPECT_FALSE(model().finding());
}

TEST_F(ClipListTest, ReadsFourHeadersAtATimeAndCountsThem) {
    Gate gate;
    operations.header = [&](const std::filesystem::path&) {
        gate.pass();
        return test::header();
    };
    std::vector<std::pair<std::int64_t, std::int64_t>> counts;
    QObject::connect(&model(), &PackModel::readingChanged, &model(),
                     [&] { counts.emplace_back(model().readDone(), model().readTotal()); });
    model().add(clips(10));
    for (std::int64_t done = 0; done < 10; ++done) {
        const int expected = static_cast<int>(std::min<std::int64_t>(4, 10 - done));
        ASSERT_TRUE(eventually([&] { return gate.waiting() == expected && model().readDone() == done; }));
        gate.letGo(1);
    }
    ASSERT_TRUE(settles());
    EXPECT_EQ(gate.mostWaiting(), 4);
    ASSERT_EQ(counts.size(), 11U);
    EXPECT_EQ(counts[9], std::pair(std::int64_t{9}, std::int64_t{10}));
    EXPECT_EQ(counts[10], std::pair(std::int64_t{0}, std::int64_t{0}));
}

TEST_F(ClipListTest, OverlappingAdditionsCountTogetherAndListNothingTwice) {
    Gate gate;
    operations.header = [&](const std::filesystem::path&) {
        gate.pass();
        return test::header();
    };
    model().add({"/a/1.mov", "/a/2.mov"});
    model().add({"/b/3.mov", "/a/1.mov"});
    ASSERT_TRUE(eventually([&] { return model().readTotal() == 3 && !model().finding(); }));
    EXPECT_THAT(listed(), ElementsAre("1", "2", "3"));
    EXPECT_EQ(model().readDone(), 0);
    gate.letGo(2);
    ASSERT_TRUE(eventually([&] { return model().readDone() == 2; }));
    EXPECT_EQ(model().readTotal(), 3);
    gate.open();
    ASSERT_TRUE(settles());
}

TEST_F(ClipListTest, SaysWhyAClipCantBeRead) {
    operations.header = [](const std::filesystem::path& source) -> ClipHeader {
        if (source == "/c/broken.mov")
            throw media::Error(media::Error::Category::corrupt, "Damaged.");
        ClipHeader header = test::header();
        if (source == "/c/untimed.mov")
            header.timecode.reset();
        return header;
    };
    model().add({"/c/broken.mov", "/c/untimed.mov"});
    ASSERT_TRUE(settles());
    const auto& broken = *model().rows()[0];
    const auto& untimed = *model().rows()[1];
    EXPECT_FALSE(broken.header());
    EXPECT_EQ(broken.headerError(), QStringLiteral("Can't read this clip."));
    EXPECT_TRUE(untimed.header());
    EXPECT_EQ(untimed.headerError(), QStringLiteral("No timecode track."));
    EXPECT_TRUE(broken.problem() && untimed.problem());
    EXPECT_FALSE(model().canPack());
}

TEST_F(ClipListTest, RemovesWhatIsBelowAFolderAndKeepsItsNeighbour) {
    folders["/Card/A/"] = {"1.mov", "deep/2.mov"};
    folders["/Card/AB/"] = {"x.mov"};
    model().add({"/Card/A/", "/Card/AB/"});
    ASSERT_TRUE(settles());
    model().setSelection({"/Card/A", "/Card/A/1.mov", "/Card/AB/x.mov"});
    model().setCollapsed("/Card/A", true);
    model().remove({"/Card/A"});
    EXPECT_THAT(listed(), ElementsAre("AB/x"));
    EXPECT_EQ(model().selection(), (PathSet{"/Card/A/1.mov", "/Card/AB/x.mov"}));
    EXPECT_EQ(model().collapsed(), PathSet{"/Card/A"});
    model().remove({"/Card/AB/x.mov"});
    EXPECT_THAT(model().tree(), IsEmpty());
    EXPECT_FALSE(model().canPack());
}

TEST_F(ClipListTest, AReadThatEndsAfterItsRowWasRemovedStillCounts) {
    Gate gate;
    operations.header = [&](const std::filesystem::path&) {
        gate.pass();
        return test::header();
    };
    model().add({"/a/1.mov"});
    ASSERT_TRUE(eventually([&] { return gate.waiting() == 1 && model().rows().size() == 1; }));
    const auto row = model().rows()[0];
    model().remove({"/a/1.mov"});
    EXPECT_EQ(model().readTotal(), 1);
    gate.open();
    ASSERT_TRUE(settles());
    EXPECT_TRUE(row->header());
    EXPECT_FALSE(model().canPack());
}

TEST_F(ClipListTest, TellsOfMXFThatNothingOpens) {
    operations.canOpenMXF = false;
    model().add({"/a/1.mov"});
    ASSERT_TRUE(settles());
    EXPECT_FALSE(model().cantOpen());
    model().add({"/a/X.MXF"});
    ASSERT_TRUE(settles());
    EXPECT_TRUE(model().cantOpen());
}

TEST_F(ClipListTest, KeepsTheSoundModeInTheSettings) {
    settings.setValue("scratchAudio", QStringLiteral("lossy"));
    EXPECT_EQ(model().audio(), ScratchAudio::lossless);
    model().setAudio(ScratchAudio::lossless);
    EXPECT_EQ(settings.value("scratchAudio").toString(), QStringLiteral("lossless"));
    model().setAudio(ScratchAudio::none);
    destroyModel();
    EXPECT_EQ(model().audio(), ScratchAudio::none);
}

TEST_F(ClipListTest, EndsAroundAReadThatHangs) {
    Gate gate;
    operations.header = [&](const std::filesystem::path&) {
        gate.pass();
        return test::header();
    };
    model().add(clips(2));
    ASSERT_TRUE(eventually([&] { return gate.waiting() == 2; }));
    EXPECT_FALSE(model().endWithin(std::chrono::milliseconds(50)));
    gate.open();
    EXPECT_TRUE(model().endWithin(std::chrono::seconds(10)));
    destroyModel();
}

TEST_F(ClipListTest, TenThousandClipsNeverHoldTheMainThreadForLong) {
    operations.clips = [](auto, auto) {
        std::vector<PackClip> found;
        for (int number = 0; number < 10'000; ++number) {
            const std::string path = "Card " + std::to_string(number / 100) + "/A" + std::to_string(number);
            found.push_back({"/media/" + path + ".mov", path, 1});
        }
        return found;
    };
    // Processor time: how long the machine's other work takes is not the model's doing.
    const auto spent = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    };
    double longest = 0; // milliseconds
    model().add({"/media"});
    while (model().finding() || model().readTotal() > 0) {
        const double before = spent();
        QCoreApplication::processEvents();
        longest = std::max(longest, spent() - before);
    }
    EXPECT_EQ(model().rows().size(), 10'000U);
    RecordProperty("longestTurnMilliseconds", std::to_string(longest));
#ifdef NDEBUG
    EXPECT_LT(longest, 50);
#endif
}

} // namespace

} // namespace test
