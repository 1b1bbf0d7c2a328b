// SPDX-License-Identifier: GPL-3.0-or-later
// One export: its thread, its progress, and the wish to stop it.
#pragma once

#include <QString>
#include <QTimer>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "model/clip_list.h"
#include "model/export_progress.h"

namespace model {

/// From its making until its thread has ended, which may be long after it was stopped: a read of a disk that
/// does not answer can't be ended from outside. Tells the list how its clips get on.
class ExportRun {
  public:
    /// With a pack, with a reason why not, or (neither) stopped.
    struct End {
        std::optional<std::int64_t> size{}; ///< bytes of the zip
        std::optional<QString> failure{};
    };
    /// What it tells, on the main thread.
    struct Hooks {
        std::function<void()> progressed;
        std::function<void()> givenUp;       ///< stopped, and its thread hangs
        std::function<void(const End&)> end; ///< its thread has nothing more to do; the run may go
    };

    /// Takes all clips with a timecode, in the list's order, and clears what earlier exports left in the
    /// list.
    ExportRun(ClipList& list, std::filesystem::path zip, ScratchAudio audio, Hooks hooks);

    /// Makes the pack on a thread of its own. What is named here outlives the threads.
    void start(const PackOperations& operations, Background& background);
    void stop();
    /// Tells the thread only: it is not waited for.
    void cancel() { cancelled_->set(); }

    [[nodiscard]] const std::filesystem::path& zip() const noexcept { return zip_; }
    /// None once it was given up, or taken.
    [[nodiscard]] const std::optional<ExportProgress>& progress() const noexcept { return progress_; }
    [[nodiscard]] std::optional<ExportProgress> takeProgress();

  private:
    void stepped(const std::filesystem::path& id, double fraction);
    void finished(const std::filesystem::path& id, const Outcome& outcome);
    void saving();

    ClipList& list_;
    const std::filesystem::path zip_;
    const ScratchAudio audio_;
    const std::shared_ptr<const Hooks> hooks_;
    std::vector<PackClip> clips_; ///< until it starts
    std::optional<ExportProgress> progress_;
    const std::shared_ptr<Flag> cancelled_ = std::make_shared<Flag>();
    QTimer stopping_;
};

} // namespace model
