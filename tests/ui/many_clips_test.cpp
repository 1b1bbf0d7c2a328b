// SPDX-License-Identifier: GPL-3.0-or-later
// Ten thousand clips in the window: the main thread stays free for input and painting.
#include <QAction>
#include <QApplication>
#include <QScrollBar>
#include <algorithm>
#include <ctime>

#include "tests/model/model_test.h"
#include "tests/ui/offscreen.h"
#include "ui/clip_table.h"
#include "ui/main_window.h"

namespace test {

using namespace ui;

namespace {

struct ManyClipsTest : Offscreen, ApplicationTest<QApplication> {};

/// Milliseconds of this thread: how long the machine's other work takes is not the window's doing.
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

TEST_F(ManyClipsTest, NeverHoldTheMainThreadForLong) {
    constexpr int clipCount = 10'000;
    operations.clips = [](auto, auto) {
        std::vector<PackClip> found;
        for (int number = 0; number < clipCount; ++number) {
            // Cards of a hundred clips; on every other card each clip lies in a folder of its own.
            const std::string name = "A" + std::to_string(number);
            const std::string path = "Card " + std::to_string(number / 100) + "/" +
                                     ((number / 100) % 2 == 0 ? name : name + ".clip/" + name);
            found.push_back({"/media/" + path + ".mov", path, 1'000'000'000});
        }
        return found;
    };
    operations.make = [](std::span<const PackClip> clips, auto&&, auto&&,
                         const Pack::MakeCallbacks& callbacks) {
        for (const PackClip& clip : clips) {
            for (const double fraction : {0.25, 0.5, 0.75, 1.0})
                callbacks.item(clip, fraction);
            callbacks.finished(clip, PackResult{});
        }
    };
    MainWindow window(model(), settings);
    window.show();
    QCoreApplication::processEvents();
    auto& table = *window.findChild<ClipTable*>();
    // The best of three rounds: memory that is new, or other work on the same core, is not the window's
    // doing.
    double adding = 1e9;
    double exporting = 1e9;
    double removing = 1e9;
    for (int round = 0; round < 3; ++round) {
        model().add({"/media"});
        adding =
            std::min(adding, longestTurn([&] { return !model().finding() && model().readTotal() == 0; }));
        ASSERT_EQ(model().rows().size(), static_cast<std::size_t>(clipCount));
        model().pack("/out.zip");
        exporting = std::min(exporting, longestTurn([&] {
                                 table.verticalScrollBar()->setValue(table.verticalScrollBar()->value() + 20);
                                 return !model().packing();
                             }));
        ASSERT_TRUE(model().rows().back()->result());
        removing = std::min(removing, processorTime([&] {
                                table.selectAll();
                                table.removeAction()->trigger();
                            }));
        ASSERT_TRUE(model().rows().empty());
    }
#ifdef NDEBUG
    EXPECT_LT(adding, 50);
    EXPECT_LT(exporting, 50);
    EXPECT_LT(removing, 250);
#endif
}

} // namespace

} // namespace test
