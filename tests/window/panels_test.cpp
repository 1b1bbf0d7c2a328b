// SPDX-License-Identifier: GPL-3.0-or-later
// The questions that the window asks: which folders and clips, and where to save the pack.
#include <QAbstractItemView>
#include <QAction>
#include <QDBusArgument>
#include <QDBusVariant>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

#include "tests/window/fake_service.h"
#include "tests/window/window_test.h"

using testing::ElementsAre;

namespace test {

namespace {

class PanelTest : public WindowTest {
  protected:
    /// The file dialog that is open, showing `shown` entries of the test's folder.
    QFileDialog& fileDialog(int shown) {
        QFileDialog* found = nullptr;
        EXPECT_TRUE(eventually([&] {
            for (QWidget* widget : QApplication::topLevelWidgets())
                if (auto* const dialog = qobject_cast<QFileDialog*>(widget);
                    dialog && dialog->isActiveWindow())
                    found = dialog;
            return found != nullptr;
        }));
        list_ = found->findChild<QAbstractItemView*>(QStringLiteral("listView"));
        found->setDirectory(QString::fromStdString(folder.path().native()));
        EXPECT_TRUE(eventually([&] { return list_->model()->rowCount(list_->rootIndex()) == shown; }));
        return *found;
    }
    QModelIndex entry(const char* name) {
        return list_->model()->match(list_->model()->index(0, 0, list_->rootIndex()), Qt::DisplayRole,
                                     QLatin1String(name))[0];
    }
    /// Presses the button of the question that follows, whose text it returns.
    std::string answer(const char* button) {
        auto& box = dialog<QMessageBox>("exportQuestion");
        for (QAbstractButton* offered : box.buttons())
            if (offered->text().remove(QLatin1Char('&')) == QLatin1String(button))
                offered->click();
        return box.text().toStdString();
    }
    std::string field(const char* name) { return part<QLineEdit>(name).text().toStdString(); }
    void openPanel() {
        window->exportPack();
        (void)dialog("exportPanel");
    }

    QAbstractItemView* list_ = nullptr;
};

TEST_F(PanelTest, NothingInTheToolkitsDialogsTouchesACard) {
    folder.write("B.mov");
    const auto press = [this](QFileDialog& dialog, const char* name) {
        list_->setCurrentIndex(entry(name));
        for (const char* view : {"listView", "treeView"})
            for (const Qt::Key key : {Qt::Key_Delete, Qt::Key_F2}) {
                QTest::keyClick(dialog.findChild<QWidget*>(QLatin1String(view)), key);
                QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("x"));
            }
        for (const char* action : {"qt_delete_action", "qt_rename_action"})
            EXPECT_FALSE(dialog.findChild<QAction*>(QLatin1String(action))->isEnabled()) << action;
        EXPECT_EQ(list_->model()->flags(entry(name)) & (Qt::ItemIsDropEnabled | Qt::ItemIsEditable), 0);
        EXPECT_THAT(filesIn(folder.path()), ElementsAre("A001", "B.mov"));
        EXPECT_THAT(filesIn(folder / "A001/CLIP"), ElementsAre("C1.mov", "C2.mov", "C3.mov"));
    };
    QTest::keyClick(window.get(), Qt::Key_O, Qt::ControlModifier);
    EXPECT_TRUE(model().choosing());
    auto& cards = fileDialog(2);
    press(cards, "A001");
    list_->setCurrentIndex(entry("A001"));
    click(*cards.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Open));
    ASSERT_TRUE(ready());
    EXPECT_FALSE(model().choosing());
    EXPECT_EQ(model().rows().size(), 3U);
    EXPECT_EQ(settings.value(QStringLiteral("addFolder")).toByteArray().toStdString(), folder.path());

    QTest::keyClick(window.get(), Qt::Key_O, Qt::ControlModifier | Qt::ShiftModifier);
    auto& clips = fileDialog(2);
    press(clips, "B.mov");
    list_->setCurrentIndex(entry("B.mov"));
    click(*clips.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Open));
    ASSERT_TRUE(eventually([this] { return model().rows().size() == 4; }));

    openPanel();
    click(part<QPushButton>("choosePlace"));
    auto& place = fileDialog(1);
    press(place, "A001");
    type(place, "Day", "fileNameEdit");
    EXPECT_TRUE(eventually([this] { return field("packName") == "Day.zip"; }));
    EXPECT_EQ(field("packPlace"), folder.path());
}

TEST_F(PanelTest, ThePortalIsAskedWhereThereIsOne) {
    fs::copy(folder / "A001", folder / "Ö 2", fs::copy_options::recursive);
    FakeService portal("org.freedesktop.portal.Desktop", QVariant::fromValue(QDBusVariant(4U)));
    const auto answer = [&](uint response, const QStringList& urls) {
        const auto options = qdbus_cast<QVariantMap>(portal.calls.back().second[2]);
        portal.tell(QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2")
                        .arg(QDBusConnection::sessionBus().baseService().mid(1).replace(QLatin1Char('.'),
                                                                                        QLatin1Char('_')),
                             options[QStringLiteral("handle_token")].toString()),
                    "org.freedesktop.portal.Request", "Response",
                    {response, QVariantMap{{QStringLiteral("uris"), urls}}});
    };
    for (const uint response : {1U, 0U}) {
        portal.calls.clear();
        QTest::keyClick(window.get(), Qt::Key_O, Qt::ControlModifier);
        ASSERT_TRUE(eventually([&] { return portal.calls.size() == 2; }));
        EXPECT_THAT(portal.methods(), ElementsAre("Get", "OpenFile"));
        const auto options = qdbus_cast<QVariantMap>(portal.calls[1].second[2]);
        EXPECT_TRUE(options[QStringLiteral("directory")].toBool() &&
                    options[QStringLiteral("multiple")].toBool());
        answer(response, {QString::fromLatin1(fileURL(folder / "A001").toEncoded()),
                          QString::fromLatin1(fileURL(folder / "Ö 2").toEncoded())});
        ASSERT_TRUE(eventually([this] { return !model().choosing(); }));
        EXPECT_EQ(window->findChild<QFileDialog*>(), nullptr);
    }
    ASSERT_TRUE(ready());
    EXPECT_EQ(model().rows().size(), 6U);
}

TEST_F(PanelTest, TheExportHasAPlaceOfItsOwn) {
    ASSERT_TRUE(addsCard());
    settings.setValue(QStringLiteral("exportFolder"), QByteArray::fromStdString(folder / "A001/CLIP"));
    const std::string home = QDir::homePath().toStdString();
    openPanel();
    EXPECT_TRUE(eventually([&] { return field("packPlace") == home; })) << field("packPlace");
    auto& panel = dialog("exportPanel");
    const auto problem = [this] { return part<QLabel>("panelProblem").text().toStdString(); };
    const std::pair<fs::path, std::string> refused[] = {
        {"", "The pack needs a name."},
        {folder / "none/a", "There is no folder “" + (folder / "none").native() + "”."},
        {folder / "dir.zip", "“dir.zip” is a folder."},
    };
    fs::create_directory(folder / "dir.zip");
    for (const auto& [name, reason] : refused) {
        type(panel, name);
        EXPECT_TRUE(eventually([&, &reason = reason] { return problem() == reason; })) << reason << problem();
    }
    EXPECT_TRUE(panel.isVisible());

    // A place inside the card, behind a link.
    fs::create_directory_symlink(folder / "A001", folder / "link");
    part<QLineEdit>("packName").setText(QStringLiteral("in"));
    type(panel, folder / "link", "packPlace");
    EXPECT_EQ(answer("Cancel"), "“A001” is one of the added folders. Save the pack in it?");
    EXPECT_FALSE(model().packing());
    type(panel, folder / "link", "packPlace");
    (void)answer("Save There");
    ASSERT_TRUE(saves());
    EXPECT_TRUE(fs::exists(folder / "A001/in.zip"));
    EXPECT_EQ(settings.value(QStringLiteral("exportFolder")).toByteArray(),
              QByteArray::fromStdString(folder / "A001/CLIP"));

    openPanel();
    folder.write("old.zip");
    type(dialog("exportPanel"), folder / "old");
    EXPECT_EQ(answer("Replace"), "“old.zip” exists already. Replace it?");
    ASSERT_TRUE(eventually([this] { return fs::file_size(folder / "old.zip") > 0 && !model().packing(); }));
    ASSERT_TRUE(closesDialogs());
    openPanel();
    EXPECT_EQ(field("packPlace"), folder.path());
    QTest::keyClick(&part<QLineEdit>("packName"), Qt::Key_Escape);
    EXPECT_TRUE(closesDialogs());
}

TEST_F(PanelTest, ADiskThatDoesNotAnswerHoldsNothingUp) {
    ASSERT_TRUE(addsCard());
    openPanel();
    auto& panel = dialog("exportPanel");
    type(panel, folder / "hangs/a");
    const auto& problem = part<QLabel>("panelProblem");
    EXPECT_TRUE(eventually([&] { return problem.isVisible(); }));
    EXPECT_EQ(problem.text(), QStringLiteral("The disk there hasn't answered yet."));
    EXPECT_FALSE(part<QPushButton>("panelExport").isEnabled());
    type(panel, folder / "b"); // another place goes on without it
    ASSERT_TRUE(saves());
    openPanel();
    type(dialog("exportPanel"), folder / "hangs/a");
    QTest::keyClick(&part<QLineEdit>("packName"), Qt::Key_Escape);
    EXPECT_TRUE(closesDialogs());
    EXPECT_GE(disk.waiting(), 2);
    EXPECT_FALSE(model().endWithin(std::chrono::milliseconds(1))) << "the program leaves around them";
}

TEST_F(PanelTest, AnExportAskedForWhileHeadersAreReadTakesThemAll) {
    holdHeaders = true;
    drop(folder / "A001");
    headers.letGo(1);
    ASSERT_TRUE(eventually([this] { return model().canPack(); }));
    openPanel();
    const auto size = [this] { return part<QLabel>("spaceMessage").text(); };
    const QString ofOne = size();
    headers.letGo(1);
    EXPECT_TRUE(eventually([&] { return size() != ofOne; })) << ofOne.toStdString();
    type(dialog("exportPanel"), folder / "all");
    EXPECT_TRUE(shows("statusText", "Read 2 of 3 clips, then export “all.zip”"));
    auto& button = part<QPushButton>("exportButton");
    EXPECT_EQ(button.text(), QStringLiteral("Stop"));
    click(button);
    EXPECT_TRUE(eventually([this] { return statusText() == "Read 2 of 3 clips"; }));
    EXPECT_EQ(button.text(), QStringLiteral("Export…"));
    model().packWhenReady(folder / "all.zip");
    // Neither does it start before the slowest of several additions.
    fs::create_directory(folder / "hangs");
    drop(folder / "hangs");
    drop(folder / "A001");
    headers.open();
    ASSERT_TRUE(eventually([this] { return !model().finding() && model().readTotal() == 0; }));
    EXPECT_FALSE(model().packing());
    disk.open();
    ASSERT_TRUE(saves());
    EXPECT_EQ(model().saved()->missing, 0U);
    EXPECT_THAT(filesIn(folder.path()), ElementsAre("A001", "all.zip", "hangs"));
}

} // namespace

} // namespace test
