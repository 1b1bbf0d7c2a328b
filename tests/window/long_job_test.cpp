// SPDX-License-Identifier: GPL-3.0-or-later
// What the desktop is asked for while an export runs, and when it has ended.
#include <QApplication>
#include <QDBusUnixFileDescriptor>
#include <algorithm>

#include <fcntl.h>
#include <unistd.h>

#include "tests/model/model_test.h"
#include "tests/window/fake_service.h"
#include "ui/long_job.h"

using testing::ElementsAre;

namespace test {

using namespace ui;

namespace {

class LongJobTest : public ApplicationTest<QApplication> {
  protected:
    LongJobTest() {
        // One bus for both: it is asked for when the process first needs it.
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
        operations.make = [this](auto&&...) { gate.pass(); };
    }
    ~LongJobTest() override { gate.open(); }
    void startExport() {
        if (model().rows().empty()) {
            model().add({"/a.mov"});
            ASSERT_TRUE(settles());
        }
        model().pack("/out/Day 3.zip");
    }
    [[nodiscard]] bool endExport() {
        gate.letGo(1);
        return eventually([this] { return !model().packing(); });
    }
    Gate gate;
};

TEST_F(LongJobTest, KeepsTheSessionAwakeWhereTheSystemCant) {
    LongJob job(model(), nullptr);
    const std::tuple<const char*, const char*, qsizetype, QVariant> services[] = {
        {"org.freedesktop.PowerManagement", "UnInhibit", 1, QStringLiteral("An export is running.")},
        {"org.gnome.SessionManager", "Uninhibit", 3, 4U}, // neither sleep nor idleness
    };
    for (const auto& [name, release, place, argument] : services) {
        FakeService service(name, QVariant(7U));
        startExport();
        ASSERT_TRUE(eventually([&] { return service.calls.size() == 1; }));
        EXPECT_EQ(service.calls[0].second[place], argument);
        ASSERT_TRUE(endExport());
        ASSERT_TRUE(eventually([&] { return service.calls.size() == 2; }));
        EXPECT_THAT(service.methods(), ElementsAre("Inhibit", release));
        EXPECT_EQ(service.calls[1].second, QVariantList{7U});
    }
}

TEST_F(LongJobTest, HoldsTheSystemsLockUntilTheEnd) {
    const std::filesystem::path lock = folder.write("lock", "");
    const auto holders = [&] {
        const std::filesystem::directory_iterator open("/proc/self/fd");
        return std::count_if(begin(open), end(open), [&](const auto& entry) {
            std::error_code closedMeanwhile;
            return read_symlink(entry.path(), closedMeanwhile) == lock;
        });
    };
    const int descriptor = ::open(lock.c_str(), O_RDONLY | O_CLOEXEC);
    FakeService login("org.freedesktop.login1", QVariant::fromValue(QDBusUnixFileDescriptor(descriptor)));
    ::close(descriptor);
    LongJob job(model(), nullptr);
    ASSERT_EQ(holders(), 1);
    startExport();
    ASSERT_TRUE(eventually([&] { return login.calls.size() == 1; }));
    EXPECT_EQ(login.calls[0].second[0], QStringLiteral("sleep:idle"));
    EXPECT_EQ(login.calls[0].second[3], QStringLiteral("block"));
    EXPECT_TRUE(eventually([&] { return holders() == 2; }));
    ASSERT_TRUE(endExport());
    EXPECT_TRUE(eventually([&] { return holders() == 1; }));
}

TEST_F(LongJobTest, TellsOfTheEndBehindOtherWindows) {
    LongJob job(model(), nullptr);
    FakeService notifications("org.freedesktop.Notifications", QVariant(1U));
    startExport();
    ASSERT_TRUE(endExport());
    ASSERT_TRUE(eventually([&] { return notifications.calls.size() == 1; }));
    EXPECT_EQ(notifications.calls[0].second[4].toString(),
              QStringLiteral("Saved “Day 3.zip”, 48.2 MB. 1 listed clip is not in it."));

    QWidget front;
    front.show();
    ASSERT_TRUE(eventually([&] { return QApplication::activeWindow() == &front; }));
    startExport();
    ASSERT_TRUE(endExport());
    front.close();
    ASSERT_TRUE(eventually([] { return QApplication::activeWindow() == nullptr; }));
    startExport();
    ASSERT_TRUE(endExport());
    ASSERT_TRUE(eventually([&] { return notifications.calls.size() > 1; }));
    EXPECT_EQ(notifications.calls.size(), 2U); // none of the export that ended in front
}

} // namespace

} // namespace test
