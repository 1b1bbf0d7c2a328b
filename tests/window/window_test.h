// SPDX-License-Identifier: GPL-3.0-or-later
// What the tests of the real window share: a card, the window on a screen, a person's means.
#pragma once

#include <QApplication>
#include <QDialog>
#include <QDropEvent>
#include <QLineEdit>
#include <QMimeData>
#include <algorithm>
#include <atomic>
#include <thread>

#include "tests/model/model_test.h"
#include "tests/support/clip_maker.h"
#include "ui/elided_label.h"
#include "ui/main_window.h"
#include "ui/paths.h"

namespace test {

using namespace ui;

namespace fs = std::filesystem;

class WindowTest : public ApplicationTest<QApplication> {
  protected:
    void SetUp() override {
        operations = PackOperations();
        // The real export; where a test is going to stop it, it waits for that after its first clip.
        operations.make = [this](std::span<const PackClip> clips, const fs::path& zip, ScratchAudio audio,
                                 Pack::MakeCallbacks callbacks) {
            callbacks.finished = [this, told = callbacks.finished, isCancelled = callbacks.isCancelled](
                                     const PackClip& clip, const Outcome& outcome) {
                told(clip, outcome);
                while (willStop && !isCancelled())
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
            };
            Pack::make(clips, zip, audio, callbacks);
        };
        operations.header = [this, read = operations.header](const fs::path& source) {
            if (holdHeaders)
                headers.pass();
            return read(source);
        };
        operations.place = [this, look = operations.place](const fs::path& zip,
                                                           const std::vector<fs::path>& added) {
            if (zip.native().find("/hangs/") != std::string::npos)
                disk.pass();
            return look(zip, added);
        };
        operations.clips = [this, list = operations.clips](std::span<const fs::path> paths,
                                                           std::set<std::string> taken) {
            if (paths[0].filename() == "hangs")
                disk.pass();
            Pack::Found found = list(paths, std::move(taken));
            if (listingFails)
                found.places.push_back(
                    {Pack::Place::Kind::notListed, paths[0] / "CLIP", "A001/CLIP", "permission denied."});
            return found;
        };
        makeCard(3);
        window = std::make_unique<MainWindow>(model(), settings);
        window->show();
        ASSERT_TRUE(eventually([this] { return window->isActiveWindow(); }));
    }
    void TearDown() override {
        headers.open();
        disk.open();
        window.reset();
    }

    void makeCard(int clips) {
        fs::create_directories(folder / "A001/CLIP");
        for (int number = 1; number <= clips; ++number)
            fs::copy_file(test::clip({}), folder / ("A001/CLIP/C" + std::to_string(number) + ".mov"),
                          fs::copy_options::skip_existing);
    }
    template <typename Widget>
    Widget& part(const char* name) {
        auto* const found = window->findChild<Widget*>(QLatin1String(name));
        if (found == nullptr)
            throw std::runtime_error(std::string("The window has no ") + name);
        return *found;
    }
    std::string statusText() { return part<ElidedLabel>("statusText").text().toStdString(); }
    void drop(const fs::path& path) {
        QMimeData files;
        files.setUrls({fileURL(path)});
        const QPoint place(300, 200);
        QDragEnterEvent enter(place, Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(window.get(), &enter);
        EXPECT_EQ(part<QWidget>("dropHighlight").isVisible(), enter.isAccepted());
        QDropEvent dropped(place, Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(window.get(), &dropped);
        EXPECT_FALSE(part<QWidget>("dropHighlight").isVisible());
        EXPECT_EQ(dropped.isAccepted(), !model().packing());
    }
    void click(QWidget& widget) { QTest::mouseClick(&widget, Qt::LeftButton); }
    /// The dialog of this kind, once it is there.
    template <typename Dialog = QDialog>
    Dialog& dialog(const char* name) {
        Dialog* found = nullptr;
        EXPECT_TRUE(eventually([&] {
            found = window->findChild<Dialog*>(QLatin1String(name));
            return found != nullptr && found->isVisible() && found->isActiveWindow();
        }));
        return *found;
    }
    /// Types into a field of the dialog, and Return.
    void type(QDialog& panel, const fs::path& path, const char* field = "packName") {
        auto* const name = panel.findChild<QLineEdit*>(QLatin1String(field));
        name->setFocus();
        name->selectAll();
        QTest::keyClick(name, Qt::Key_Delete);
        QTest::keyClicks(name, QString::fromStdString(path.native()));
        QTest::keyClick(name, Qt::Key_Return);
    }
    [[nodiscard]] bool ready() {
        return eventually([this] { return model().canPack() && model().readTotal() == 0; });
    }
    [[nodiscard]] bool addsCard() {
        drop(folder / "A001");
        return ready();
    }
    [[nodiscard]] bool saves() {
        return eventually([this] { return model().saved().has_value(); });
    }
    [[nodiscard]] bool ends() {
        return eventually([this] { return !model().packing(); });
    }
    [[nodiscard]] bool closesDialogs() {
        const bool closed = eventually([this] { return window->findChild<QDialog*>() == nullptr; });
        window->activateWindow(); // not every window manager gives it the focus back
        return closed && eventually([this] { return window->isActiveWindow(); });
    }
    /// Whether a text of the window comes to be this; else what it is.
    testing::AssertionResult shows(const char* name, const std::string& text) {
        const auto& label = part<QLabel>(name);
        const bool shown =
            eventually([&] { return label.isVisible() && label.text().toStdString().starts_with(text); });
        return (shown ? testing::AssertionSuccess() : testing::AssertionFailure())
               << label.text().toStdString() << (label.isVisible() ? "" : " (hidden)");
    }
    std::vector<std::string> filesIn(const fs::path& place) {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(place))
            if (entry.path().filename() != "settings.ini")
                names.push_back(entry.path().filename());
        std::ranges::sort(names);
        return names;
    }

    std::atomic<bool> willStop = false;
    std::atomic<bool> holdHeaders = false;
    std::atomic<bool> listingFails = false; ///< a card's folder can't be listed
    Gate headers;
    Gate disk; ///< below "hangs", until it is opened
    std::unique_ptr<MainWindow> window;
};

} // namespace test
