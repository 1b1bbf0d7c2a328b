// SPDX-License-Identifier: GPL-3.0-or-later
// The whole way of a card through the real window, by a person's means: drops, clicks and keys.
#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTextBrowser>

#include "tests/support/command.h"
#include "tests/window/fake_service.h"
#include "tests/window/window_test.h"
#include "ui/clip_columns.h"
#include "ui/clip_table.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace test {

namespace {

using RoadTest = WindowTest;

TEST_F(RoadTest, FromAnEmptyWindowToASavedPack) {
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Ferrowick"));
    EXPECT_EQ(part<QLabel>("emptyTitle").text(), QStringLiteral("No Camera Folders"));
    EXPECT_EQ(qobject_cast<QPushButton*>(QApplication::focusWidget()), nullptr);
    auto& button = part<QPushButton>("exportButton");
    EXPECT_FALSE(button.isEnabled());

    makeCard(12);
    ASSERT_TRUE(addsCard());
    auto& table = part<ClipTable>("clipTable");
    EXPECT_TRUE(table.isVisible() && table.hasFocus());
    const QModelIndex card = table.model()->index(0, 0);
    const QModelIndex clips = table.model()->index(0, 0, card);
    EXPECT_EQ(table.model()->rowCount(clips), 12);
    EXPECT_TRUE(table.isExpanded(card) && table.isExpanded(clips));
    const QModelIndex first = table.model()->index(0, static_cast<int>(ClipColumn::timecode), clips);
    EXPECT_EQ(first.data().toString(), QStringLiteral("01:00:00:00 – 01:00:02:00"));
    ASSERT_TRUE(shows("statusText", "12 clips, "));

    // The panel takes the mode at once and adds ".zip".
    const fs::path zip = folder / "out/Day 3.1.zip";
    fs::create_directories(folder / "out");
    const auto startExport = [&](const fs::path& name) {
        click(button);
        auto& panel = dialog("exportPanel");
        auto& modes = *panel.findChild<QComboBox*>(QStringLiteral("scratchAudio"));
        EXPECT_EQ(modes.currentText(), QStringLiteral("Lossless"));
        modes.setFocus();
        QTest::keyClick(&modes, Qt::Key_Down);
        EXPECT_THAT(panel.findChild<QLabel*>(QStringLiteral("spaceMessage"))->text().toStdString(),
                    testing::HasSubstr("in the same folders: about "));
        QTest::keyClick(&modes, Qt::Key_Up);
        type(panel, name);
    };
    willStop = true;
    startExport(folder / "out/Day 3.1");
    ASSERT_TRUE(shows("statusText", "Processed "));
    EXPECT_TRUE(part<QProgressBar>("statusBarProgress").isVisible());
    EXPECT_EQ(button.text(), QStringLiteral("Stop"));
    drop(folder / "A001/CLIP/C1.mov");
    ASSERT_TRUE(eventually([&] { return model().rows()[0]->result().has_value(); }));
    click(button);
    ASSERT_TRUE(ends());
    EXPECT_THAT(filesIn(folder / "out"), IsEmpty());
    ASSERT_TRUE(shows("statusText", "12 clips, "));
    EXPECT_EQ(first.siblingAtColumn(static_cast<int>(ClipColumn::status)).data().toString(),
              QStringLiteral("Ready"));

    // Again, through the default button.
    willStop = false;
    EXPECT_TRUE(button.isDefault());
    QTest::keyClick(&table, Qt::Key_Return);
    type(dialog("exportPanel"), zip);
    ASSERT_TRUE(saves());
    ASSERT_TRUE(shows("statusText", "Saved “Day 3.1.zip”, "));
    EXPECT_THAT(statusText(), testing::EndsWith(". Send it to Olvane."));
    EXPECT_THAT(filesIn(folder / "out"), ElementsAre("Day 3.1.zip"));
    const std::string listing = runChecked({"unzip", "-Z1", zip});
    EXPECT_THAT(listing, testing::HasSubstr("Day 3.1/A001/CLIP/C12.mov\n"));
    EXPECT_THAT(listing, testing::HasSubstr("Day 3.1/Ferrowick Report.csv\n"));
    runChecked({"unzip", "-tqq", zip});

    FakeService files("org.freedesktop.FileManager1", QVariant());
    table.setFocus();
    QTest::keyClick(&table, Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), &part<QWidget>("statusLink"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    ASSERT_TRUE(eventually([&] { return files.calls.size() == 1; }));
    EXPECT_EQ(files.calls[0].first, "ShowItems");
    EXPECT_EQ(files.calls[0].second[0].toStringList(),
              QStringList{QString::fromLatin1(fileURL(zip).toEncoded())});
}

TEST_F(RoadTest, SaysWhereTheFileIsWhenNoFileManagerOpens) {
    ASSERT_TRUE(addsCard());
    auto& table = part<ClipTable>("clipTable");
    table.setCurrentIndex(table.model()->index(0, 0));
    const QByteArray programs = qgetenv("PATH");
    for (const char* opener : {"", "#!/bin/sh\nexit 3\n", "#!/no/such/shell\n"}) {
        const fs::path file = folder.write("xdg-open", opener);
        if (*opener != '\0') // else it is not a program
            fs::permissions(file, fs::perms::owner_all);
        qputenv("PATH", QByteArray::fromStdString(folder.path().native()));
        QTest::keyClick(&table, Qt::Key_R, Qt::ControlModifier);
        auto& box = dialog<QMessageBox>("noFileManager");
        qputenv("PATH", programs);
        EXPECT_THAT(box.informativeText().toStdString(), testing::HasSubstr(folder.path().native()));
        QTest::keyClick(&box, Qt::Key_Escape);
        ASSERT_TRUE(closesDialogs());
    }
}

TEST_F(RoadTest, AScreenReaderIsToldWhatEverythingIs) {
    ASSERT_TRUE(addsCard());
    const auto told = [](QObject* object) {
        const QAccessibleInterface* part = QAccessible::queryAccessibleInterface(object);
        return std::pair(part->role(), part->text(QAccessible::Name).toStdString());
    };
    ASSERT_TRUE(shows("statusText", "3 clips"));
    const std::tuple<const char*, QAccessible::Role, std::string> parts[] = {
        {"clipTable", QAccessible::Tree, "Clips"},
        {"addFolders", QAccessible::PushButton, "Add Folders"},
        {"exportButton", QAccessible::PushButton, "Export…"},
        {"statusText", QAccessible::StaticText, statusText()},
        {"statusBarProgress", QAccessible::ProgressBar, "Progress"},
    };
    for (const auto& [name, role, text] : parts)
        EXPECT_EQ(told(&part<QWidget>(name)), std::pair(role, text)) << name;
    auto* const table =
        QAccessible::queryAccessibleInterface(&part<ClipTable>("clipTable"))->tableInterface();
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->rowCount(), 5);
    EXPECT_EQ(table->cellAt(2, 0)->text(QAccessible::Name), QStringLiteral("C1"));
    EXPECT_EQ(table->cellAt(2, 7)->text(QAccessible::Name), QStringLiteral("Ready"));
    auto& bar = part<QProgressBar>("statusBarProgress");
    bar.setRange(0, 1000);
    bar.setValue(250);
    EXPECT_EQ(QAccessible::queryAccessibleInterface(&bar)->valueInterface()->currentValue().toInt(), 250);

    // The guide knows the words of each message.
    QTest::keyClick(window.get(), Qt::Key_F1);
    auto& guide = dialog("guide");
    QTest::keyClicks(guide.findChild<QLineEdit*>(QStringLiteral("guideWords")),
                     QStringLiteral("kept lossless"));
    const auto& page = *guide.findChild<QTextBrowser*>(QStringLiteral("guideText"));
    EXPECT_EQ(page.textCursor().selectedText(), QStringLiteral("kept lossless"));
    QTest::keyClick(&guide, Qt::Key_Escape);

    // Every field and button of the panel has a name and can be reached by Tab; a choice is its value, with
    // its label as a relation.
    click(part<QPushButton>("exportButton"));
    auto& panel = dialog("exportPanel");
    EXPECT_LE(panel.width(), 800);
    EXPECT_LE(panel.height(), 500);
    std::vector<std::string> names;
    for (int step = 0; step < 6; ++step) {
        names.push_back(told(QApplication::focusWidget()).second);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
    EXPECT_THAT(names, ElementsAre("Name:", "Place:", "Choose…", "Lossless", "Export", "Cancel"));
    // Nothing can be stored there.
    auto& place = part<QLineEdit>("packPlace");
    place.selectAll();
    QTest::keyClicks(&place, QStringLiteral("/proc"));
    auto& warning = part<QLabel>("spaceWarning");
    EXPECT_TRUE(eventually([&] { return warning.isVisible(); }));
    EXPECT_THAT(warning.text().toStdString(), testing::StartsWith("Only 0 bytes are free there. "));
    QTest::keyClick(&panel, Qt::Key_Escape);
    EXPECT_TRUE(closesDialogs());
}

TEST_F(RoadTest, DeletesRevealsAndHidesByKeyboard) {
    ASSERT_TRUE(addsCard());
    auto& table = part<ClipTable>("clipTable");
    const QModelIndex clips = table.model()->index(0, 0, table.model()->index(0, 0));
    table.setCurrentIndex(table.model()->index(1, 0, clips));
    EXPECT_EQ(model().selection(), PathSet{folder / "A001/CLIP/C2.mov"});
    QStringList offered;
    QTimer::singleShot(0, window.get(), [&] {
        auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        for (const QAction* action : menu->actions())
            offered << action->text();
        menu->close();
    });
    QTest::keyClick(&table, Qt::Key_F10, Qt::ShiftModifier);
    EXPECT_EQ(offered, (QStringList{QStringLiteral("Show in Finder"), QStringLiteral("Remove")}));
    QTest::keyClick(&table, Qt::Key_Delete);
    EXPECT_EQ(model().rows().size(), 2U);
    table.setCurrentIndex(clips);
    QTest::keyClick(&table, Qt::Key_Left);
    EXPECT_EQ(model().collapsed(), PathSet{folder / "A001/CLIP"});
    drop(folder / "A001/CLIP"); // brings the second clip back, in a folder of another name
    ASSERT_TRUE(eventually([&] { return model().rows().size() == 3; }));
    QTest::keyClick(&table, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(&table, Qt::Key_Delete);
    EXPECT_THAT(model().rows(), IsEmpty());
    EXPECT_TRUE(part<QLabel>("emptyTitle").isVisible());
    EXPECT_EQ(qobject_cast<QPushButton*>(QApplication::focusWidget()), nullptr);
}

TEST_F(RoadTest, SaysWhichClipsAreNotWhereTheyAreExpected) {
    fs::create_directories(folder / "B001/empty");
    drop(folder / "B001");
    EXPECT_TRUE(shows("emptyRemark", "B001: "));

    fs::copy_file(folder / "A001/CLIP/C1.mov", folder / "A001/CLIP/cut.mov");
    fs::resize_file(folder / "A001/CLIP/cut.mov", 50);
    ASSERT_TRUE(addsCard());
    EXPECT_TRUE(eventually([this] { return !part<ElidedLabel>("statusRemark").isVisible(); }));
    drop(folder / "A001");
    EXPECT_TRUE(shows("statusRemark", "“A001” is listed already."));
    auto& table = part<ClipTable>("clipTable");
    const QModelIndex clips = table.model()->index(0, 0, table.model()->index(0, 0));
    const QModelIndex cut = table.model()->index(3, 0, clips);
    EXPECT_THAT(cut.data(Qt::ToolTipRole).toString().toStdString(),
                testing::StartsWith("cut\nCan't read this clip.\n"));

    fs::remove(folder / "A001/CLIP/C3.mov");
    model().pack(folder / "a.zip");
    ASSERT_TRUE(saves());
    EXPECT_TRUE(shows("statusRemark", "2 listed clips are not in it."));

    // A folder that can't be listed stays told until it can.
    listingFails = true;
    drop(folder / "A001");
    EXPECT_TRUE(shows("statusRemark", "A001/CLIP: permission denied."));
    model().remove({folder / "A001/CLIP/C1.mov"});
    EXPECT_TRUE(shows("statusRemark", "A001/CLIP: permission denied."));
    listingFails = false;
    ASSERT_TRUE(addsCard());
    EXPECT_TRUE(eventually([this] { return !part<ElidedLabel>("statusRemark").isVisible(); }));
}

TEST_F(RoadTest, ColumnsKeepTheirLimitsAndAreRemembered) {
    ASSERT_TRUE(addsCard());
    constexpr int length = static_cast<int>(ClipColumn::length);
    constexpr int fps = static_cast<int>(ClipColumn::fps);
    QHeaderView& header = *part<ClipTable>("clipTable").header();
    const int widest = header.sectionSize(length);
    header.resizeSection(length, widest + 100);
    EXPECT_EQ(header.sectionSize(length), widest);
    header.resizeSection(length, 5);
    EXPECT_EQ(header.sectionSize(length), 40);
    header.moveSection(header.visualIndex(length), 6);
    QMenu menu;
    part<ClipTable>("clipTable").addColumnSwitches(menu);
    EXPECT_EQ(menu.actions().size(), clipColumnCount - 1 + 2);
    menu.actions()[fps - 1]->toggle();
    EXPECT_TRUE(header.isSectionHidden(fps));

    window = std::make_unique<MainWindow>(model(), settings);
    QHeaderView& restored = *part<ClipTable>("clipTable").header();
    EXPECT_TRUE(restored.isSectionHidden(fps));
    EXPECT_EQ(restored.visualIndex(length), 6);
    EXPECT_EQ(restored.sectionSize(length), 40);
    QMenu again;
    part<ClipTable>("clipTable").addColumnSwitches(again);
    again.actions().back()->trigger();
    window->show();
    ASSERT_TRUE(eventually([this] { return window->isActiveWindow(); }));
    EXPECT_FALSE(restored.isSectionHidden(fps));
    EXPECT_EQ(restored.visualIndex(length), length);
    EXPECT_EQ(restored.sectionSize(length), widest);
    EXPECT_EQ(restored.sectionSize(0), 220);
    EXPECT_EQ(restored.length(), part<ClipTable>("clipTable").viewport()->width()) << "Status has the rest";
}

TEST_F(RoadTest, TwentyCardsLeaveNothingBehind) {
    qsizetype parts = 0;
    for (int round = 1; round <= 20; ++round) {
        ASSERT_TRUE(addsCard());
        click(part<QPushButton>("exportButton"));
        type(dialog("exportPanel"), folder / ("Day " + std::to_string(round)));
        ASSERT_TRUE(saves() && closesDialogs());
        QTest::keyClick(&part<ClipTable>("clipTable"), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(&part<ClipTable>("clipTable"), Qt::Key_Delete);
        EXPECT_THAT(model().rows(), IsEmpty());
        if (round == 5)
            parts = window->findChildren<QObject*>().size();
    }
    // Some parts are made when they are first needed; one left behind in each round would be fifteen more.
    EXPECT_TRUE(eventually([&] { return window->findChildren<QObject*>().size() < parts + 15; }));
    EXPECT_EQ(filesIn(folder.path()).size(), 20U + 1U) << "the zips and the card";
}

TEST_F(RoadTest, ClosingDuringAnExportAsksOnce) {
    willStop = true;
    ASSERT_TRUE(addsCard());
    model().pack(folder / "o.zip");
    bool asked = false;
    const auto answer = [&](const char* text) {
        QTimer::singleShot(0, window.get(), [&, text] {
            auto& box = dialog<QMessageBox>("quitQuestion");
            EXPECT_EQ(box.text(), QStringLiteral("An export is running."));
            EXPECT_EQ(box.informativeText(), QStringLiteral("If you quit, no pack is saved."));
            asked = true;
            for (QAbstractButton* button : box.buttons())
                if (button->text().remove(QLatin1Char('&')) == QLatin1String(text))
                    return button->click();
            box.reject();
            ADD_FAILURE() << "no button " << text;
        });
    };
    answer("Keep Exporting");
    EXPECT_FALSE(window->close());
    EXPECT_TRUE(asked && model().packing());
    answer("Stop and Quit");
    EXPECT_FALSE(window->close()); // it leaves once the export has ended
    EXPECT_EQ(QApplication::exec(), 0);
    ASSERT_TRUE(model().endWithin(std::chrono::seconds(5)));
    EXPECT_FALSE(fs::exists(folder / "o.zip"));
    EXPECT_FALSE(fs::exists(folder / "o"));
}

} // namespace

} // namespace test
