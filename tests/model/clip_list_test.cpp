// SPDX-License-Identifier: GPL-3.0-or-later
// Adding, reading and removing clips.
#include <QSignalSpy>

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

TEST_F(ClipListTest, GroupsAndRemovesByFolderAndListsNothingTwice) {
    folders["/card/B/"] = {"A010.mov", "A002.mov", "deep/X.mov"};
    folders["/card/BB/"] = {"x.mov"};
    model().add({"/card/B/", "/card/BB/", "/other/a10.mov", "/other/A2.mov"});
    EXPECT_TRUE(model().finding());
    EXPECT_FALSE(model().canPack());
    ASSERT_TRUE(settles());
    EXPECT_THAT(listed(), ElementsAre("A2", "a10", "B/A002", "B/A010", "B/deep/X", "BB/x"));
    ASSERT_THAT(names(model().tree()), ElementsAre("A2", "a10", "B", "BB"));
    const Node& card = model().tree()[2];
    EXPECT_EQ(card.id, "/card/B");
    EXPECT_THAT(names(*card.children), ElementsAre("A002", "A010", "deep"));
    EXPECT_EQ(card.children->back().id, "/card/B/deep");
    EXPECT_EQ(card.clips().size(), 3U);
    EXPECT_TRUE(model().canPack());
    EXPECT_EQ(model().summary(), QStringLiteral("6 clips, 2 MB"));

    QSignalSpy reading(&model(), &PackModel::readingChanged);
    QSignalSpy rows(&model(), &PackModel::rowsChanged);
    QSignalSpy finding(&model(), &PackModel::findingChanged);
    model().add({"/other/x/../A2.mov"});
    model().add({});
    ASSERT_TRUE(settles());
    EXPECT_EQ(finding.size(), 2);
    EXPECT_TRUE(reading.isEmpty() && rows.isEmpty());

    model().setSelection({"/card/B", "/card/B/A002.mov", "/card/BB/x.mov"});
    model().setCollapsed("/card/B", true);
    model().remove({"/card/B"});
    EXPECT_THAT(listed(), ElementsAre("A2", "a10", "BB/x"));
    EXPECT_EQ(model().selection(), (PathSet{"/card/B/A002.mov", "/card/BB/x.mov"}));
    EXPECT_EQ(model().collapsed(), PathSet{"/card/B"});
    model().remove({"/card/BB/x.mov", "/other/A2.mov", "/other/a10.mov"});
    EXPECT_THAT(model().tree(), IsEmpty());
    EXPECT_FALSE(model().canPack());
}

TEST_F(ClipListTest, ReadsFourHeadersAtATimeAndCountsThem) {
    Gate gate;
    holdHeaders(gate);
    std::vector<std::pair<std::int64_t, std::int64_t>> counts;
    QObject::connect(&model(), &PackModel::readingChanged, &model(),
                     [&] { counts.emplace_back(model().readDone(), model().readTotal()); });
    std::vector<std::filesystem::path> ten;
    for (int number = 0; number < 10; ++number)
        ten.emplace_back("/card/C" + std::to_string(number) + ".mov");
    model().add(ten);
    for (std::int64_t done = 0; done < 10; ++done) {
        const int expected = static_cast<int>(std::min<std::int64_t>(4, 10 - done));
        ASSERT_TRUE(eventually([&] { return gate.waiting() == expected && model().readDone() == done; }));
        gate.letGo(1);
    }
    ASSERT_TRUE(settles());
    ASSERT_EQ(counts.size(), 11U);
    EXPECT_EQ(counts[9], std::pair(std::int64_t{9}, std::int64_t{10}));
    EXPECT_EQ(counts[10], std::pair(std::int64_t{0}, std::int64_t{0}));
}

TEST_F(ClipListTest, CountsOverlappingAdditionsAndRowsRemovedMeanwhile) {
    Gate gate;
    holdHeaders(gate);
    model().add({"/a/1.mov", "/a/2.mov"});
    model().add({"/b/3.mov", "/a/1.mov"});
    ASSERT_TRUE(eventually([&] { return gate.waiting() == 3 && !model().finding(); }));
    EXPECT_THAT(listed(), ElementsAre("1", "2", "3"));
    const auto row = model().rows()[0];
    model().remove({"/a/1.mov", "/a/2.mov", "/b/3.mov"});
    EXPECT_EQ(model().readTotal(), 3);
    gate.letGo(2);
    ASSERT_TRUE(eventually([&] { return model().readDone() == 2; }));
    EXPECT_EQ(model().readTotal(), 3);
    gate.open();
    ASSERT_TRUE(settles());
    EXPECT_TRUE(row->header());
    EXPECT_FALSE(model().canPack());
}

TEST_F(ClipListTest, KeepsTheSoundModeInTheSettings) {
    settings.setValue("scratchAudio", QStringLiteral("lossy"));
    EXPECT_EQ(model().audio(), ScratchAudio::lossless);
    model().setAudio(ScratchAudio::none);
    destroyModel();
    EXPECT_EQ(model().audio(), ScratchAudio::none);
}

} // namespace

} // namespace test
