// SPDX-License-Identifier: GPL-3.0-or-later
// Takes pictures of the window in each of its states, or prints what a screen reader is told of it. The clips
// and the pace of the work are made up; the window, its model and the screen are real.
//   ferrowick-scenes FOLDER|- PREFIX [--only STATE,…] [--dark] [--mirrored] [--locale NAME] [--width N]
//   [--height N] ferrowick-scenes --locales
#include <QAction>
#include <QApplication>
#include <QDir>
#include <QDragEnterEvent>
#include <QHeaderView>
#include <QLineEdit>
#include <QMimeData>
#include <QScreen>
#include <QSettings>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeView>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "media/base/error.h"
#include "model/pack_model.h"
#include "tell.h"
#include "ui/clip_table.h"
#include "ui/guide.h"
#include "ui/icons.h"
#include "ui/main_window.h"

namespace {

using namespace model;
using namespace ui;

/// Lets the work go on up to a point.
class Pace {
  public:
    void step() {
        std::unique_lock guard(lock_);
        allowed_.wait(guard, [this] { return steps_ > 0; });
        --steps_;
    }
    void allow(int steps) {
        const std::lock_guard guard(lock_);
        steps_ += steps;
        allowed_.notify_all();
    }

  private:
    std::mutex lock_;
    std::condition_variable allowed_;
    int steps_ = 0;
};

constexpr int manySteps = 1'000'000;

struct Shot {
    const char* folder;
    const char* name;
    double duration;
    double fps;
    const char* resolution;
    std::int64_t size;
};
constexpr Shot shots[] = {
    {"A001_R1K7/CLIP", "A001C001_261116_R1K7.mxf", 74.2, 25, "3840 × 2160", 4'180'000'000},
    {"A001_R1K7/CLIP", "A001C002_261116_R1K7.mxf", 191.6, 25, "3840 × 2160", 10'790'000'000},
    {"A001_R1K7/CLIP", "A001C003_261116_R1K7.mxf", 12.0, 25, "3840 × 2160", 676'000'000},
    {"A001_R1K7/CLIP", "A001C004_261116_R1K7.mxf", 642.8, 25, "3840 × 2160", 36'200'000'000},
    {"A001_R1K7/CLIP", "A001C005_261116_R1K7.mxf", 58.1, 25, "3840 × 2160", 3'270'000'000},
    {"B001/DCIM/100MEDIA", "B001C001.MOV", 301.5, 25, "1920 × 1080", 7'740'000'000},
    {"B001/DCIM/100MEDIA", "B001C002.MOV", 3725.0, 25, "1920 × 1080", 95'600'000'000},
    {"B001/DCIM/100MEDIA", "B001C003.MOV", 44.0, 25, "1920 × 1080", 1'130'000'000},
    {"B001/DCIM/100MEDIA", "B001C004.MOV", 88.7, 25, "1920 × 1080", 2'280'000'000},
    {"Drone", "DJI_0412.MP4", 95.4, 29.97, "5280 × 2972", 1'490'000'000},
    {"Drone", "DJI_0413.MP4", 131.0, 29.97, "5280 × 2972", 2'050'000'000},
    {"Slow motion", "X100_0007.mov", 33.3, 119.88, "2048 × 1080", 2'870'000'000},
};

const Shot& shotOf(const std::filesystem::path& source) {
    for (const Shot& shot : shots)
        if (source.filename() == shot.name)
            return shot;
    return shots[0];
}

PackOperations operations(Pace& reading, Pace& packing) {
    PackOperations made;
    made.clips = [](std::span<const std::filesystem::path> paths, const std::set<std::string>&) {
        Pack::Found found;
        if (paths.front().stem() == "Documents") {
            found.places.push_back(
                {Pack::Place::Kind::noClips, paths.front(), "Documents", "no clips in this folder."});
            return found;
        }
        std::vector<PackClip>& clips = found.clips;
        for (const Shot& shot : shots) {
            const std::filesystem::path path = std::filesystem::path(shot.folder) / shot.name;
            clips.push_back({"/media/day 3" / path,
                             (std::filesystem::path(shot.folder) / path.stem()).string(), shot.size});
        }
        found.places.push_back({Pack::Place::Kind::notListed, "/media/day 3/B001/DCIM/101MEDIA",
                                "B001/DCIM/101MEDIA",
                                "this folder can't be listed: permission denied. Clips may be missing."});
        return found;
    };
    made.header = [&reading](const std::filesystem::path& source) {
        reading.step();
        const Shot& shot = shotOf(source);
        if (source.stem() == "B001C003")
            throw PackError::cantOpen();
        ClipHeader header;
        header.duration = shot.duration;
        header.fps = shot.fps;
        header.resolution = shot.resolution;
        header.audioTracks = 2;
        header.audioChannels = 2;
        header.audioBytesPerSecond = 288'000;
        // One shot after the other from eight o'clock on, three minutes apart, on time-of-day timecode.
        double start = 8 * 3600;
        for (const Shot* before = shots; before != &shot; ++before)
            start += before->duration + 180;
        header.date = std::chrono::system_clock::from_time_t(1'794'787'200 + static_cast<std::time_t>(start));
        const double rate = shot.fps < 26 ? 25 : 30'000.0 / 1001;
        if (source.stem() != "DJI_0413")
            header.timecode = Timecode{static_cast<std::int64_t>(start * rate) + 12, shot.fps < 26 ? 25 : 30,
                                       shot.fps > 26};
        return header;
    };
    made.make = [&packing](std::span<const PackClip> clips, const std::filesystem::path& zip, ScratchAudio,
                           const Pack::MakeCallbacks& callbacks) {
        if (zip.stem() == "full")
            throw media::Error(media::Error::Category::io,
                               "The zip can't be written in /media/out: no space left on device.");
        for (const PackClip& clip : clips) {
            callbacks.item(clip, 0.62);
            packing.step();
            PackResult result;
            result.packSize = static_cast<std::int64_t>(shotOf(clip.source).duration * 144'000);
            if (clip.source.stem() == "A001C003_261116_R1K7")
                result.notes = {"scratch audio is silent: sync by timecode only"};
            if (clip.source.stem() == "DJI_0412")
                callbacks.finished(clip, PackFailure{"The copy is 95.360 s long, the clip 95.400 s."});
            else
                callbacks.finished(clip, result);
        }
        callbacks.saving();
    };
    made.place = [](auto&&...) { return ExportPlace{true, false, false, 1'000'000'000'000, {}}; };
    made.fileSize = [](const std::filesystem::path&) { return 612'400'000; };
    return made;
}

QPalette darkPalette() {
    QPalette palette;
    const QColor window(0x2b, 0x2d, 0x30);
    const QColor base(0x1e, 0x1f, 0x22);
    const QColor text(0xdf, 0xe1, 0xe5);
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, QColor(0x25, 0x26, 0x29));
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, QColor(0x3a, 0x3d, 0x41));
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::ToolTipBase, window);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, QColor(0x8c, 0x8f, 0x96));
    palette.setColor(QPalette::Highlight, QColor(0x35, 0x74, 0xf0));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x6b, 0x9b, 0xfa));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, QColor(0x70, 0x73, 0x79));
    return palette;
}

class Photographer {
  public:
    /// Takes only the named pictures, or all.
    Photographer(MainWindow& window, const QDir& folder, QString prefix, QStringList only)
        : window_(window), folder_(folder), prefix_(std::move(prefix)), only_(std::move(only)) {}

    /// The window, and what is open in front of it, as they are on the screen.
    void take(const char* name) {
        QTest::qWait(400);
        if (!only_.isEmpty() && !only_.contains(QLatin1String(name)))
            return;
        QRect area = window_.frameGeometry();
        for (const QWidget* widget : QApplication::topLevelWidgets())
            if (widget->isVisible())
                area |= widget->frameGeometry();
        if (folder_.path() == QLatin1String("-")) {
            std::printf("\n%s\n", name);
            for (QWidget* widget : QApplication::topLevelWidgets())
                if (widget->isVisible())
                    tellAccessibility(*widget);
            return;
        }
        const QString file = folder_.filePath(prefix_ + QLatin1String(name) + QStringLiteral(".png"));
        window_.screen()->grabWindow(0, area.x(), area.y(), area.width(), area.height()).save(file);
        std::printf("%s\n", qPrintable(file));
    }

  private:
    MainWindow& window_;
    QDir folder_;
    QString prefix_;
    QStringList only_;
};

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    QApplication::setApplicationName(QStringLiteral("Ferrowick"));
    QApplication::setApplicationDisplayName(QStringLiteral("Ferrowick"));
    QApplication::setWindowIcon(Icons::application());
    const QStringList words = QApplication::arguments();
    if (words.contains(QStringLiteral("--locales"))) {
        tellLocales();
        return 0;
    }
    if (words.size() < 3)
        return 2;
    if (words.contains(QStringLiteral("--dark")))
        QApplication::setPalette(darkPalette());
    const auto valueOf = [&](const char* option) {
        const qsizetype place = words.indexOf(QLatin1String(option));
        return place > 0 ? words.value(place + 1) : QString();
    };
    if (const QString name = valueOf("--locale"); !name.isEmpty())
        QLocale::setDefault(QLocale(name));
    // As a translation would make it; without one the toolkit mirrors nothing.
    if (words.contains(QStringLiteral("--mirrored")))
        QApplication::setLayoutDirection(Qt::RightToLeft);

    const QTemporaryDir settingsFolder;
    QSettings settings(settingsFolder.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat);
    settings.setValue(QStringLiteral("exportFolder"), QByteArray("/home/me/Packs"));
    Pace reading;
    Pace packing;
    PackModel model(settings, operations(reading, packing));
    MainWindow window(model, settings);
    const auto pixels = [&](const char* option, int usual) {
        const int given = valueOf(option).toInt();
        return given > 0 ? given : usual;
    };
    window.resize(pixels("--width", window.width()), pixels("--height", window.height()));
    window.show();
    if (!QTest::qWaitForWindowActive(&window))
        return 1;
    Photographer photographer(window, QDir(words[1]), words[2],
                              valueOf("--only").split(QLatin1Char(','), Qt::SkipEmptyParts));
    photographer.take("empty");
    Guide::open(window);
    photographer.take("guide");
    window.findChild<QLineEdit*>(QStringLiteral("guideWords"))->setFocus();
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("silent"));
    photographer.take("guide-found");
    window.findChild<Guide*>()->close();
    model.add({"/home/me/Documents"});
    photographer.take("nothing");

    QMimeData files;
    files.setUrls({QUrl(QStringLiteral("file:///media/day%203"))});
    QDragEnterEvent enter(QPoint(300, 200), Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &enter);
    photographer.take("drop");
    QDropEvent drop(QPoint(300, 200), Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &drop);

    reading.allow(5);
    photographer.take("reading");
    model.packWhenReady("/media/out/Ferrowick Nov 16, 2026.zip");
    photographer.take("waiting");
    model.stop();
    reading.allow(manySteps);
    photographer.take("ready");
    auto& table = *window.findChild<ClipTable*>();
    table.setCurrentIndex(table.model()->index(0, 0, table.model()->index(0, 0, table.model()->index(0, 0))));
    photographer.take("selected");
    table.onlyProblemsAction()->trigger();
    photographer.take("problems");
    table.onlyProblemsAction()->trigger();
    window.exportPack();
    photographer.take("save");
    for (QWidget* panel : window.findChildren<QWidget*>(QStringLiteral("exportPanel")))
        panel->close();
    model.setChoosing(true);
    photographer.take("choose");
    model.setChoosing(false);

    model.pack("/media/out/Ferrowick Nov 16, 2026.zip");
    QTest::qWait(2'500);
    packing.allow(5);
    QTest::qWait(1'100);
    table.selectAll();
    photographer.take("exporting");
    table.clearSelection();
    photographer.take("exporting-more");
    packing.allow(manySteps);
    photographer.take("saved");
    model.setAudio(ScratchAudio::none);
    table.header()->setSortIndicator(static_cast<int>(ClipColumn::status), Qt::AscendingOrder);
    window.findChild<QWidget*>(QStringLiteral("statusLink"))->setFocus(Qt::TabFocusReason);
    photographer.take("sorted");
    model.pack("/media/out/full.zip");
    photographer.take("failure");
    return 0;
}
