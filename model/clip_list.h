// SPDX-License-Identifier: GPL-3.0-or-later
// The clips behind the window: looking for them, reading their headers, grouping and removing them.
#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "model/background.h"
#include "model/node.h"
#include "model/pack_operations.h"
#include "model/path_set.h"
#include "model/place_remarks.h"
#include "model/row.h"

namespace model {

using Rows = std::vector<std::shared_ptr<Row>>;

/// On the main thread only, as PackModel. A signal means that the value has changed.
class ClipList : public QObject {
    Q_OBJECT

  public:
    /// `operations` and `background` outlive the list, and the list outlives the threads.
    ClipList(const PackOperations& operations, Background& background)
        : operations_(operations), background_(background) {}

    [[nodiscard]] const std::vector<Node>& tree() const noexcept { return tree_; }
    /// In the file browser's order of their pack paths.
    [[nodiscard]] const Rows& rows() const noexcept { return rows_; }
    /// How many of them have a timecode.
    [[nodiscard]] std::size_t packable() const noexcept { return packable_; }
    /// How many of them the last export has packed.
    [[nodiscard]] std::size_t packed() const;
    [[nodiscard]] std::int64_t estimatedSize(ScratchAudio mode) const;
    [[nodiscard]] QString summary() const;

    void add(std::vector<std::filesystem::path> paths);
    void remove(const PathSet& ids);

    [[nodiscard]] bool finding() const noexcept { return finding_; }
    [[nodiscard]] std::int64_t readDone() const noexcept { return readDone_; }
    [[nodiscard]] std::int64_t readTotal() const noexcept { return readTotal_; }
    /// There are clips, none is being looked for, and none has its header still to be read.
    [[nodiscard]] bool isSettled() const noexcept {
        return discoveries_ == 0 && readTotal_ == 0 && !rows_.empty();
    }
    [[nodiscard]] bool cantOpen() const noexcept { return cantOpen_; }
    /// Of the places that gave no clips.
    [[nodiscard]] QStringList remarks() const { return remarks_.sentences(); }
    void forgetNotice() { remarks_.forgetNotice(); }

    // What an export makes of the clips.
    void setProgress(const std::filesystem::path& id, std::optional<double> progress);
    /// `asAsked`: the result's one note says what was asked for.
    void setResult(const std::filesystem::path& id, const Outcome& outcome, bool asAsked);
    void clearProgress();
    void clearResults();
    /// Their meaning has changed.
    void tellOfResults();

  Q_SIGNALS:
    void rowsChanged();
    void rowChanged(const std::shared_ptr<Row>& row);
    void findingChanged();
    void readingChanged();
    void cantOpenChanged();
    void remarksChanged();
    void packableChanged();
    /// Clips were added, or looked for in vain, or removed.
    void edited();
    /// `isSettled` may have become true.
    void settled();

  private:
    struct Found;
    struct Reading;

    static Reading read(const PackOperations& operations, const std::filesystem::path& source);
    void addFound(Found& discovery);
    void readHeaders(const Rows& fresh);
    void headerRead(const std::shared_ptr<Row>& row, Reading reading);
    void replace(std::vector<Node> tree, PathMap<std::shared_ptr<Row>> rowsByID);
    void setProgress(const std::shared_ptr<Row>& row, std::optional<double> progress);
    void setFinding(bool finding);
    void setReading(std::int64_t done, std::int64_t total);

    const PackOperations& operations_;
    Background& background_;
    const std::shared_ptr<const platform::TextOrder> order_ = std::make_shared<platform::TextOrder>();

    std::vector<Node> tree_;
    Rows rows_;
    PathMap<std::shared_ptr<Row>> rowsByID_;
    std::size_t packable_ = 0;
    PlaceRemarks remarks_;
    bool finding_ = false;
    int discoveries_ = 0; ///< `finding` ends with the first of them
    std::int64_t readDone_ = 0;
    std::int64_t readTotal_ = 0;
    bool cantOpen_ = false;
};

} // namespace model
