// SPDX-License-Identifier: GPL-3.0-or-later
// The state behind the window: the clips and their folder tree, the reading of their headers, the export.
#pragma once

#include <QObject>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "model/export_place.h"
#include "model/export_progress.h"
#include "model/flag.h"
#include "model/main_queue.h"
#include "model/node.h"
#include "model/pack_operations.h"
#include "model/path_set.h"
#include "model/row.h"
#include "model/workers.h"

/// Used and changed on the main thread only; what touches a file system runs on threads of its own, and their
/// results are applied on the main thread in the order in which they were scheduled. A signal means that the
/// value has changed.
class PackModel : public QObject {
    Q_OBJECT

  public:
    using Row = ::Row;
    using Node = ::Node;
    using Flag = ::Flag;
    using ExportProgress = ::ExportProgress;
    using Rows = std::vector<std::shared_ptr<Row>>;

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
    [[nodiscard]] const std::vector<Node>& tree() const noexcept { return tree_; }
    /// In the file browser's order of their pack paths.
    [[nodiscard]] const Rows& rows() const noexcept { return rows_; }
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

    [[nodiscard]] bool finding() const noexcept { return finding_; }
    /// Headers read, and to be read, since reading began; both 0 when all are.
    [[nodiscard]] std::int64_t readDone() const noexcept { return readDone_; }
    [[nodiscard]] std::int64_t readTotal() const noexcept { return readTotal_; }
    /// There are MXF clips, and nothing here opens them.
    [[nodiscard]] bool cantOpen() const noexcept { return cantOpen_; }
    /// Sentences about clips that are not where somebody may expect them: not in the saved pack, or not in
    /// what was added last, or in folders that can't be listed.
    [[nodiscard]] QStringList remarks() const;
    /// "12 clips, 48.3 GB"
    [[nodiscard]] QString summary() const;

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
    [[nodiscard]] bool packing() const noexcept { return packing_; }
    /// The zip of the export that waits to start; none while the list is empty.
    [[nodiscard]] const std::filesystem::path* waiting() const noexcept {
        return waiting_ && !rows_.empty() ? &*waiting_ : nullptr;
    }
    /// An export that was stopped hangs in a read, so that the next one has to wait.
    [[nodiscard]] bool stoppedStillRuns() const noexcept { return running_ && !packing_; }
    /// The rows' results are of a pack that is being made or was saved.
    [[nodiscard]] bool resultsStand() const noexcept { return resultsStand_; }
    /// Present exactly while an export runs.
    [[nodiscard]] const std::optional<ExportProgress>& exporting() const noexcept { return exporting_; }
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
    void customEvent(QEvent*) override { queue_->run(); }

  private:
    struct Found;
    struct Reading;
    struct Export;
    struct Ended;

    [[nodiscard]] std::int64_t estimatedSize(ScratchAudio mode) const;
    void addFound(Found& discovery);
    void noticePlaces(const std::vector<std::filesystem::path>& asked, bool isNew, bool isKnown,
                      const std::vector<Pack::Place>& places);
    void forgetPlaces(const PathSet& removed);
    void readHeaders(const Rows& fresh);
    static Reading read(const PackOperations& operations, const std::filesystem::path& source);
    void headerRead(const std::shared_ptr<Row>& row, Reading reading);
    void rowsReplaced(std::vector<Node> tree, PathMap<std::shared_ptr<Row>> rowsByID);
    /// Frees what holds thousands of paths on another thread: it would take longer than a frame.
    template <typename Value>
    void forget(Value value) {
        workers_.start("forgetting", [value = std::make_shared<Value>(std::move(value))] {});
    }

    void run(const Export& pack);
    void startWhenReady();
    void start(const std::filesystem::path& zip);
    void stepped(const std::filesystem::path& id, double fraction);
    void finished(const std::filesystem::path& id, const Outcome& outcome);
    void zipStarted();
    void ended(const Ended& how);
    void setResultsStand(bool stand);
    void endExport();
    void giveUpWaiting();

    void setProgress(const std::shared_ptr<Row>& row, std::optional<double> progress);
    void clearProgress();
    void setFinding(bool finding);
    void setReading(std::int64_t done, std::int64_t total);
    void setSaved(std::optional<SavedPack> saved);
    void setFailure(std::optional<QString> failure);
    void setPacking(bool packing);
    void updateCanPack();

    QSettings& settings_;
    const PackOperations operations_;
    const std::shared_ptr<const platform::TextOrder> order_;

    std::vector<Node> tree_;
    Rows rows_;
    PathMap<std::shared_ptr<Row>> rowsByID_;
    std::size_t packableRows_ = 0;
    PathSet selection_;
    PathSet collapsed_;
    QString notice_; ///< of the last addition
    std::vector<Pack::Place> unlisted_;
    bool choosing_ = false;
    bool finding_ = false;
    int discoveries_ = 0; ///< `finding` ends with the first of them
    std::int64_t readDone_ = 0;
    std::int64_t readTotal_ = 0;
    bool cantOpen_ = false;

    ScratchAudio audio_;
    bool canPack_ = false;
    bool packing_ = false;
    std::optional<ExportProgress> exporting_;
    std::optional<SavedPack> saved_;
    std::optional<QString> failure_;
    std::shared_ptr<Flag> cancelled_ = std::make_shared<Flag>();
    ScratchAudio packedAudio_ = ScratchAudio::lossless; ///< of the export that runs
    bool running_ = false; ///< the export's thread; it may hang in a read long after it was stopped
    std::optional<std::filesystem::path> waiting_;
    std::optional<SavedPack> savedLate_; ///< by a stopped export, when the next one waited already
    bool resultsStand_ = true;
    QTimer stopping_;

    const std::shared_ptr<Flag> ending_ = std::make_shared<Flag>();
    std::shared_ptr<MainQueue> queue_;
    Workers workers_; ///< last: its threads use all of the above
};
