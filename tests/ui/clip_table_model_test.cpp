// SPDX-License-Identifier: GPL-3.0-or-later
// The table's lines: their texts, and that they change in place.
#include <QAbstractItemModelTester>
#include <QApplication>
#include <QSignalSpy>

#include "tests/model/model_test.h"
#include "tests/ui/offscreen.h"
#include "ui/clip_columns.h"
#include "ui/clip_table_model.h"

namespace test {

using namespace ui;

namespace {

class ClipTableModelTest : Offscreen, public ApplicationTest<QApplication> {
  protected:
    ClipTableModel& lines() {
        if (!lines_) {
            lines_ = std::make_unique<ClipTableModel>(model());
            tester_ = std::make_unique<QAbstractItemModelTester>(
                lines_.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
        }
        return *lines_;
    }
    void TearDown() override {
        tester_.reset();
        lines_.reset();
    }
    /// The text of a cell; the line by its place on each level.
    QString cell(ClipColumn column, std::initializer_list<int> places, int role = Qt::DisplayRole) {
        QModelIndex index;
        for (const int place : places)
            index = lines().index(place, 0, index);
        return index.siblingAtColumn(static_cast<int>(column)).data(role).toString();
    }
    std::string status(std::initializer_list<int> places, int role = Qt::DisplayRole) {
        return cell(ClipColumn::status, places, role).toStdString();
    }
    /// The names of all lines, those of folders with what they hold.
    std::string shown(const QModelIndex& parent = {}) {
        std::string names;
        for (int row = 0; row < lines().rowCount(parent); ++row) {
            const QModelIndex index = lines().index(row, 0, parent);
            names += (row > 0 ? "," : "") + index.data().toString().toStdString();
            if (lines().isFolder(index))
                names += "(" + shown(index) + ")";
        }
        return names;
    }
    void restart() {
        TearDown();
        destroyModel();
    }
    void add(std::vector<std::filesystem::path> paths) {
        model().add(std::move(paths));
        ASSERT_TRUE(settles());
    }

  private:
    std::unique_ptr<ClipTableModel> lines_;
    std::unique_ptr<QAbstractItemModelTester> tester_;
};

TEST_F(ClipTableModelTest, ShowsWhatTheHeaderSays) {
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    operations.header = [](const std::filesystem::path&) {
        ClipHeader header = test::header(3725.4);
        header.fps = 23.976;
        header.resolution = "1920 × 1080";
        return header;
    };
    folders["/c/A001/"] = {"C001.mov"};
    (void)lines();
    add({"/c/A001/", "/c/<b>odd.mov"});
    const std::tuple<ClipColumn, const char*, const char*> cases[] = {
        {ClipColumn::name, "A001", "C001"},
        {ClipColumn::size, "--", "1 KB"},
        {ClipColumn::timecode, "", "01:00:00:00 – 01:59:32:20"},
        {ClipColumn::length, "", "1:02:05"},
        {ClipColumn::fps, "", "23,976"},
        {ClipColumn::resolution, "", "1920 × 1080"},
        {ClipColumn::date, "", ""},
        {ClipColumn::status, "", "Ready"},
    };
    for (const auto& [column, ofFolder, ofClip] : cases) {
        EXPECT_EQ(cell(column, {1}).toStdString(), ofFolder);
        EXPECT_EQ(cell(column, {1, 0}).toStdString(), ofClip);
    }
    // A name is text, whatever it looks like.
    EXPECT_TRUE(cell(ClipColumn::name, {0}, Qt::ToolTipRole).contains(QStringLiteral("&lt;b&gt;odd")));
    QLocale::setDefault(QLocale::c());
}

TEST_F(ClipTableModelTest, LinesComeGoAndChangeInPlace) {
    folders["/c/A/"] = {"1.mov", "3.mov"};
    folders["/d/B/"] = {"deep/x.mov", "y.mov"};
    QSignalSpy resets(&lines(), &QAbstractItemModel::modelReset);
    add({"/c/A/", "/d/B/"});
    const QPersistentModelIndex third = lines().index(1, 0, lines().index(0, 0));
    const QPersistentModelIndex deep = lines().index(0, 0, lines().index(0, 0, lines().index(1, 0)));
    EXPECT_EQ(lines().id(deep), "/d/B/deep/x.mov");

    QSignalSpy insertions(&lines(), &QAbstractItemModel::rowsInserted);
    QSignalSpy removals(&lines(), &QAbstractItemModel::rowsRemoved);
    add({"/0.mov", "/e/2.mov", "/e/zz.mov"});
    EXPECT_EQ(insertions.size(), 2); // two side by side, one at the end
    EXPECT_TRUE(removals.isEmpty());
    model().remove({"/c/A/1.mov", "/d/B/y.mov", "/0.mov"});
    EXPECT_EQ(third.row(), 0);
    EXPECT_EQ(lines().id(deep), "/d/B/deep/x.mov");
    model().remove({"/c/A"});
    EXPECT_FALSE(third.isValid());
    EXPECT_EQ(lines().rowCount(), 3);
    EXPECT_TRUE(resets.isEmpty());
}

TEST_F(ClipTableModelTest, FollowsAnExportAndCountsProblems) {
    folders["/c/A/"] = {"1.mov", "2.mov", "deep/3.mov"};
    operations.header = [](const std::filesystem::path& source) {
        ClipHeader header = test::header();
        if (source.stem() == "3")
            header.timecode.reset();
        return header;
    };
    Gate gate;
    operations.make = [&](std::span<const PackClip> clips, const std::filesystem::path&, ScratchAudio,
                          const Pack::MakeCallbacks& callbacks) {
        PackResult result;
        result.packSize = 2'100'000;
        result.notes = {"timecode only", "scratch audio is silent: sync by timecode only"};
        callbacks.finished(clips[0], result);
        callbacks.item(clips[1], 0.25);
        gate.pass();
        callbacks.finished(clips[1], PackFailure{"Couldn't read the clip."});
    };
    (void)lines();
    add({"/c/A/"});
    EXPECT_EQ(status({0}), "1 clip with a problem");
    EXPECT_EQ(status({0, 2, 0}), "No timecode track.");

    QSignalSpy changes(&lines(), &QAbstractItemModel::dataChanged);
    model().pack("/out.zip");
    EXPECT_EQ(status({0, 1}), "Waiting");
    ASSERT_TRUE(eventually([&] { return model().rows()[1]->progress().has_value(); }));
    ASSERT_TRUE(eventually([&] { return !changes.isEmpty(); }));
    EXPECT_EQ(status({0, 0}), "2.1 MB: timecode only; scratch audio is silent: sync by timecode only");
    EXPECT_EQ(status({0, 0}, Qt::ToolTipRole),
              "timecode only\nscratch audio is silent: sync by timecode only");
    EXPECT_EQ(cell(ClipColumn::name, {0, 2, 0}, Qt::ToolTipRole), QStringLiteral("3\nNo timecode track."));
    EXPECT_EQ(status({0, 1}, ClipTableModel::progressRole), "0.25");
    gate.open();
    ASSERT_TRUE(eventually([&] { return !model().packing(); }));
    EXPECT_EQ(status({0}), "3 clips with problems");
    EXPECT_THAT(status({0}, Qt::ToolTipRole),
                testing::EndsWith("\n2: Couldn't read the clip.\n3: No timecode track."));
    EXPECT_EQ(status({0, 1}), "Couldn't read the clip.");

    // Only what was not asked for is counted, walked to and kept by the filter.
    operations.make = [](auto clips, auto&&, auto&&, const Pack::MakeCallbacks& callbacks) {
        PackResult result;
        result.notes = {"timecode only"};
        callbacks.finished(clips[0], result);
        result.notes.emplace_back("copy named 2 2.mov");
        callbacks.finished(clips[1], result);
    };
    restart();
    add({"/c/A/"});
    model().setAudio(ScratchAudio::none);
    model().pack("/out.zip");
    ASSERT_TRUE(eventually([&] { return model().saved().has_value(); }));
    EXPECT_EQ(status({0}), "2 clips with problems");
    const auto name = [](const QModelIndex& index) { return index.data().toString().toStdString(); };
    const QModelIndex second = lines().problem({}, true);
    EXPECT_EQ(name(second), "2");
    EXPECT_EQ(name(lines().problem(second, true)), "3");
    EXPECT_EQ(name(lines().problem(lines().problem(second, true), true)), "2") << "round the list";
    EXPECT_EQ(name(lines().problem(second, false)), "3");
    lines().setOnlyProblems(true);
    EXPECT_EQ(shown(), "A(2,deep(3))");
    EXPECT_EQ(lines().shownClips({"/c/A"}), (PathSet{"/c/A/2.mov", "/c/A/deep/3.mov"}));
    EXPECT_EQ(second.row(), 1);
    add({"/c/new.mov"});
    EXPECT_FALSE(lines().onlyProblems()) << "what is new must be seen";
    EXPECT_EQ(shown(), "A(1,2,deep(3)),new");
}

TEST_F(ClipTableModelTest, SortsInsideOfFolders) {
    folders["/c/A/"] = {"1.mov", "2.mov", "deep/3.mov", "x.mov"};
    folders["/c/B/"] = {"4.mov"};
    operations.header = [](const std::filesystem::path& source) {
        if (source.stem() == "x")
            throw PackError::cantOpen();
        return test::header(100 - source.stem().native()[0]);
    };
    add({"/c/A/", "/c/B/"});
    const QPersistentModelIndex second = lines().index(1, 0, lines().index(0, 0));
    const std::tuple<ClipColumn, Qt::SortOrder, const char*> cases[] = {
        {ClipColumn::length, Qt::AscendingOrder, "A(deep(3),2,1,x),B(4)"},
        {ClipColumn::length, Qt::DescendingOrder, "A(deep(3),1,2,x),B(4)"},
        {ClipColumn::name, Qt::DescendingOrder, "B(4),A(x,deep(3),2,1)"},
        {ClipColumn::status, Qt::AscendingOrder, "A(deep(3),x,1,2),B(4)"},
    };
    for (const auto& [column, direction, expected] : cases) {
        lines().sort(static_cast<int>(column), direction);
        EXPECT_EQ(shown(), expected);
        EXPECT_EQ(lines().id(second), "/c/A/2.mov");
    }
    lines().sort(-1, Qt::AscendingOrder);
    EXPECT_EQ(shown(), "A(1,2,deep(3),x),B(4)");
}

} // namespace

} // namespace test
