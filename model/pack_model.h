// SPDX-License-Identifier: GPL-3.0-or-later
// The state behind the window: the clips and their folder tree, the reading of their headers, the export.
#pragma once

#include <QObject>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "model/background.h"
#include "model/clip_list.h"
#include "model/export_place.h"
#include "model/export_run.h"
#include "model/pack_operations.h"

namespace model {

/// Used and changed on the main thread only; what touches a file system runs on threads of its own, and their
/// results are applied on the main thread in the order in which they were scheduled. A signal means that the
/// value has changed.
class PackModel : public QObject {
    Q_OBJECT

  public:
    struct SavedPack {
        std::filesystem::path url;
        std::int64_t size = 0;   ///< bytes
        std::size_t missing = 0; ///< clips of the list that are not in it
        bool operator==(const SavedPack&) const = default;
    };

    /// `settings` keeps the user's choices and must outlive the model.
    explicit PackModel(QSettings& settings, PackOperations operations = {}, QObject* parent = nullptr);
    /// Stops what runs and waits for it, also for a read that hangs: `endWithin` first where that matters.
    ~PackModel() override;

    // The list.
    [[nodiscard]] const std::vector<Node>& tree() const noexcept { return list_.tree(); }
    /// In the file browser's order of their pack paths.
    [[nodiscard]] const Rows& rows() const noexcept { return list_.rows(); }
    /// Ids of the selected lines, folders among them.
    [[nodiscard]] const PathSet& selection() const noexcept { return selection_; }
    void setSelection(PathSet ids);
    /// Ids of the folders shown collapsed.
    [[nodiscard]] const PathSet& collapsed() const noexcept { return collapsed_; }
    void setCollapsed(const std::filesystem::path& folder, bool collapsed);
    /// The folder chooser is to be shown.
    [[nodiscard]] bool choosing() const noexcept { return choosing_; }
    void setChoosing(bool choosing);

    /// Looks for clips in these files and folders and reads the headers of those that are new, at most four
    /// at a time. Returns at once; does nothing while an export runs.
    void add(std::vector<std::filesystem::path> paths);
    /// Takes the clips with these ids, and those below folders with these ids, off the list; not during an
    /// export.
    void remove(const PathSet& ids);

    [[nodiscard]] bool finding() const noexcept { return list_.finding(); }
    /// Headers read, and to be read, since reading began; both 0 when all are.
    [[nodiscard]] std::int64_t readDone() const noexcept { return list_.readDone(); }
    [[nodiscard]] std::int64_t readTotal() const noexcept { return list_.readTotal(); }
    /// There are MXF clips, and nothing here opens them.
    [[nodiscard]] bool cantOpen() const noexcept { return list_.cantOpen(); }
    /// Sentences about clips that are not where somebody may expect them: not in the saved pack, or not in
    /// what was added last, or in folders that can't be listed.
    [[nodiscard]] QStringList remarks() const;
    /// "12 clips, 48.3 GB"
    [[nodiscard]] QString summary() const { return list_.summary(); }

    // The export.
    /// What the next export keeps of the sound; stored in the settings at once.
    [[nodiscard]] ScratchAudio audio() const noexcept { return audio_; }
    void setAudio(ScratchAudio audio);
    [[nodiscard]] bool canPack() const noexcept { return canPack_; }
    /// Starts the export of all rows with a timecode, in their order. The caller asks `canPack`. It waits as
    /// `packWhenReady` does when an earlier export, which was stopped, still hangs in a read: no two ever run
    /// side by side.
    void pack(const std::filesystem::path& zip);
    /// Starts the export as soon as there are clips, and none of them is looked for or has its header still
    /// to be read: at once where that is so.
    void packWhenReady(const std::filesystem::path& zip);
    /// Asks the running export to stop, and forgets the one that waits. A running one ends when it notices,
    /// or without it after a moment in which a read hangs.
    void stop();
    [[nodiscard]] bool packing() const noexcept { return run_ && run_->progress(); }
    /// The zip of the export that waits to start; none while the list is empty.
    [[nodiscard]] const std::filesystem::path* waiting() const noexcept {
        return waiting_ && !rows().empty() ? &*waiting_ : nullptr;
    }
    /// An export that was stopped hangs in a read, so that the next one has to wait.
    [[nodiscard]] bool stoppedStillRuns() const noexcept { return run_ && !run_->progress(); }
    /// The rows' results are of a pack that is being made or was saved.
    [[nodiscard]] bool resultsStand() const noexcept { return resultsStand_; }
    /// Present exactly while an export runs.
    [[nodiscard]] const ExportProgress* exporting() const noexcept {
        return packing() ? &*run_->progress() : nullptr;
    }
    [[nodiscard]] const std::optional<SavedPack>& saved() const noexcept { return saved_; }
    /// Why the last export ended without a pack.
    [[nodiscard]] const std::optional<QString>& failure() const noexcept { return failure_; }
    /// What the save panel says of the pack's size in this mode.
    [[nodiscard]] QString spaceMessage(ScratchAudio mode) const;
    /// Says that the pack in this mode may not fit into so many free bytes; empty where it does.
    [[nodiscard]] QString spaceWarning(ScratchAudio mode, std::int64_t freeSpace) const;

    /// Looks at a place for a pack, and tells later what is there: never where the disk does not answer.
    void lookAt(const std::filesystem::path& zip, std::function<void(const ExportPlace&)> tell);

    /// Stops everything and waits this long at most; whether all threads have ended. When one hangs in a
    /// read, the program can only end around it, without destroying the model.
    [[nodiscard]] bool endWithin(std::chrono::milliseconds patience);

  Q_SIGNALS:
    void rowsChanged(); ///< `rows` and `tree`
    void rowChanged(const std::shared_ptr<Row>& row);
    void selectionChanged();
    void collapsedChanged();
    void choosingChanged();
    void findingChanged();
    void readingChanged(); ///< `readDone`, `readTotal`
    void cantOpenChanged();
    void audioChanged();
    void canPackChanged();
    void packingChanged();
    void waitingChanged();
    void exportingChanged(); ///< also every step of it
    void savedChanged();
    void failureChanged();
    void remarksChanged();

  protected:
    void customEvent(QEvent*) override { background_.queue->run(); }

  private:
    void startWhenReady();
    void start(const std::filesystem::path& zip);
    void ended(const ExportRun::End& how);
    void giveUpWaiting();
    void endExport();

    void setResultsStand(bool stand);
    void setSaved(std::optional<SavedPack> saved);
    void setFailure(std::optional<QString> failure);
    void updateCanPack();

    QSettings& settings_;
    const PackOperations operations_;

    PathSet selection_;
    PathSet collapsed_;
    bool choosing_ = false;
    ScratchAudio audio_;
    bool canPack_ = false;
    std::optional<SavedPack> saved_;
    std::optional<QString> failure_;
    std::optional<std::filesystem::path> waiting_;
    std::optional<SavedPack> savedLate_; ///< by a stopped export, when the next one waited already
    bool resultsStand_ = true;

    ClipList list_;
    std::unique_ptr<ExportRun> run_; ///< as long as its thread may have something to tell
    Background background_;          ///< last: its threads use all of the above
};

} // namespace model
