// SPDX-License-Identifier: GPL-3.0-or-later
// Ten thousand clips in the window: the longest turn of the main thread, which has to stay free for input and
// painting. Needs no screen. Prints processor milliseconds of that thread: what else the machine does is not
// the window's doing.
#include <QAction>
#include <QApplication>
#include <QScrollBar>
#include <QSettings>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <ctime>

#include "model/pack_model.h"
#include "ui/clip_table.h"
#include "ui/main_window.h"

namespace {

constexpr int clipCount = 10'000;

/// Cards of a hundred clips; on every other card each clip lies in a folder of its own.
std::vector<PackClip> clips() {
    std::vector<PackClip> found;
    for (int number = 0; number < clipCount; ++number) {
        const std::string name = "A" + std::to_string(number);
        std::string path = "Card " + std::to_string(number / 100) + "/";
        if ((number / 100) % 2 != 0)
            path.append(name).append(".clip/");
        path += name;
        found.push_back({"/media/" + path + ".mov", path, 1'000'000'000});
    }
    return found;
}

/// Packs with a pace of progress that no disk reaches.
void make(std::span<const PackClip> clips, const Pack::MakeCallbacks& callbacks) {
    for (const PackClip& clip : clips) {
        for (const double fraction : {0.25, 0.5, 0.75, 1.0})
            callbacks.item(clip, fraction);
        callbacks.finished(clip, PackResult{});
    }
}

double processorTime(const auto& work) {
    const auto spent = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    };
    const double before = spent();
    work();
    return spent() - before;
}

/// Handles events until the condition holds; the longest turn of the main thread meanwhile.
double longestTurn(const auto& done) {
    double longest = 0;
    while (!done())
        longest = std::max(longest, processorTime([] { QCoreApplication::processEvents(); }));
    return longest;
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    const QTemporaryDir folder;
    QSettings settings(folder.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat);
    model::PackOperations operations;
    operations.clips = [](auto&&, auto&&) { return clips(); };
    operations.header = [](auto&&) {
        ClipHeader header;
        header.timecode = Timecode{90'000, 25, false};
        header.duration = 10;
        header.fps = 25;
        return header;
    };
    operations.make = [](auto&& list, auto&&, auto&&, const auto& callbacks) { make(list, callbacks); };
    operations.fileSize = [](auto&&) { return 48'200'000; };
    model::PackModel model(settings, operations);
    ui::MainWindow window(model, settings);
    window.show();
    QCoreApplication::processEvents();
    auto& table = *window.findChild<ui::ClipTable*>();
    for (int round = 1; round <= 3; ++round) {
        model.add({"/media"});
        const double adding = longestTurn([&] { return !model.finding() && model.readTotal() == 0; });
        if (model.rows().size() != clipCount)
            return 1;
        model.pack("/out.zip");
        const double exporting = longestTurn([&] {
            table.verticalScrollBar()->setValue(table.verticalScrollBar()->value() + 20);
            return !model.packing();
        });
        const double removing = processorTime([&] {
            table.selectAll();
            table.removeAction()->trigger();
        });
        if (!model.rows().empty())
            return 1;
        std::printf("round %d: adding %.1f ms, exporting %.1f ms, selecting and removing all %.1f ms\n",
                    round, adding, exporting, removing);
    }
    return 0;
}
