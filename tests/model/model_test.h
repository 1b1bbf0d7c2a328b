// SPDX-License-Identifier: GPL-3.0-or-later
// What the model's tests share: an event loop, settings of their own, pack operations that wait to be let go.
#pragma once

#include <QCoreApplication>
#include <QSettings>
#include <QTest>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>

#include <gmock/gmock.h>

#include "model/pack_model.h"
#include "tests/support/temporary_folder.h"

namespace test {

using namespace model;

/// Holds threads up until a test lets them go.
class Gate {
  public:
    void pass() {
        std::unique_lock guard(lock_);
        ++waiting_;
        changed_.wait(guard, [this] { return open_ || permits_ > 0; });
        permits_ -= open_ ? 0 : 1;
        --waiting_;
    }
    void letGo(int count) {
        const std::lock_guard guard(lock_);
        permits_ += count;
        changed_.notify_all();
    }
    void open() {
        const std::lock_guard guard(lock_);
        open_ = true;
        changed_.notify_all();
    }
    int waiting() {
        const std::lock_guard guard(lock_);
        return waiting_;
    }

  private:
    std::mutex lock_;
    std::condition_variable changed_;
    int waiting_ = 0;
    int permits_ = 0;
    bool open_ = false;
};

inline ClipHeader header(double duration = 10) {
    ClipHeader header;
    header.timecode = Timecode{90'000, 25, false};
    header.duration = duration;
    header.fps = 25;
    header.audioTracks = 1;
    header.audioChannels = 1;
    header.audioBytesPerSecond = 144'000;
    return header;
}

/// Over the application that the tested room needs.
template <typename Application>
class ApplicationTest : public testing::Test {
  protected:
    ApplicationTest() {
        // A path that names a clip is that clip; one that ends in "/" is a folder of the clips named there.
        operations.clips = [this](std::span<const std::filesystem::path> paths, std::set<std::string>) {
            std::vector<PackClip> found;
            for (const auto& path : paths) {
                if (const auto named = folders.find(path.native()); named != folders.end()) {
                    for (const char* clip : named->second)
                        found.push_back({path.native() + clip,
                                         path.parent_path().filename().native() + "/" +
                                             std::filesystem::path(clip).replace_extension().native(),
                                         1'000});
                } else {
                    found.push_back({path, path.stem().native(), 1'000'000});
                }
            }
            return found;
        };
        operations.header = [](const std::filesystem::path&) { return test::header(); };
        operations.make = [](auto&&...) {};
        operations.fileSize = [](const std::filesystem::path&) { return 48'200'000; };
    }

    PackModel& model() {
        if (!model_)
            model_ = std::make_unique<PackModel>(settings, operations);
        return *model_;
    }
    /// Headers are read when the gate lets them through.
    void holdHeaders(Gate& gate) {
        operations.header = [&gate](const std::filesystem::path&) {
            gate.pass();
            return test::header();
        };
    }
    /// Starts anew, with the settings as they are.
    void destroyModel() { model_.reset(); }

    /// Waits for what takes a moment, on a busy machine also a long one.
    [[nodiscard]] static bool eventually(const std::function<bool()>& condition) {
        return QTest::qWaitFor(condition, 60'000);
    }
    [[nodiscard]] bool settles() {
        return eventually([this] { return !model().finding() && model().readTotal() == 0; });
    }
    /// The ids' file names, in the list's order.
    std::vector<std::string> listed() {
        std::vector<std::string> names;
        for (const auto& row : model().rows())
            names.push_back(row->clip().packPath);
        return names;
    }

    int argumentCount_ = 1;
    char name_[6] = "tests";
    char* arguments_[2] = {name_, nullptr};
    Application application_{argumentCount_, arguments_};
    TemporaryFolder folder;
    QSettings settings{QString::fromStdString((folder / "settings.ini").native()), QSettings::IniFormat};
    std::map<std::string, std::vector<const char*>> folders;
    PackOperations operations;

  private:
    std::unique_ptr<PackModel> model_;
};

using ModelTest = ApplicationTest<QCoreApplication>;

} // namespace test
