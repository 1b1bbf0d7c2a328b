// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/clip_list.h"

#include <algorithm>
#include <atomic>
#include <numeric>
#include <unordered_set>
#include <utility>

#include "model/text.h"

namespace model {

namespace {

constexpr std::size_t mostReads = 4; // at once, of one addition

bool isMXF(const std::filesystem::path& path) {
    return text(path.extension().native()).toLower() == QStringLiteral(".mxf");
}

void sortByPath(Rows& rows) {
    std::ranges::stable_sort(rows, {}, [](const auto& row) -> const std::string& { return row->pathKey(); });
}

PathMap<std::shared_ptr<Row>> byID(const Rows& rows) {
    PathMap<std::shared_ptr<Row>> found;
    found.reserve(rows.size());
    for (const auto& row : rows)
        found.emplace(row->id(), row);
    return found;
}

} // namespace

/// What a discovery has found.
struct ClipList::Found {
    std::vector<std::filesystem::path> asked;
    std::vector<Pack::Place> places;
    bool known = false;                     ///< some clips were listed before
    Rows rows;                              ///< in the order found
    Rows sorted;                            ///< in the list's order, for a list that has none yet
    std::vector<Node> tree;                 ///< of `sorted`
    PathMap<std::shared_ptr<Row>> rowsByID; ///< of `sorted`
};

/// The header of a clip, or why it can't be packed.
struct ClipList::Reading {
    std::optional<ClipHeader> header;
    std::optional<QString> error;
    QString reason;
};

ClipList::Reading ClipList::read(const PackOperations& operations, const std::filesystem::path& source) {
    try {
        ClipHeader header = operations.header(source);
        if (header.timecode)
            return {std::move(header), std::nullopt, {}};
        QString reason = text(header.timecodeReason);
        return {std::move(header), text(PackError::noTimecode().errorDescription()), std::move(reason)};
    } catch (const PackError& error) {
        return {std::nullopt, text(error.errorDescription()), text(error.reason())};
    } catch (const std::exception& error) {
        return {std::nullopt, text(PackError::cantOpen().errorDescription()), text(error.what())};
    }
}

void ClipList::add(std::vector<std::filesystem::path> paths) {
    std::set<std::string> taken;
    PathSet present;
    present.reserve(rows_.size());
    for (const auto& row : rows_) {
        if (!row->components().empty())
            taken.emplace(row->components().front());
        present.insert(row->standardizedSource());
    }
    setFinding(true);
    ++discoveries_;
    background_.workers.start("discovery",
                              [this, queue = background_.queue, order = order_, paths = std::move(paths),
                               taken = std::move(taken), present = std::move(present)] {
                                  const auto found = std::make_shared<Found>();
                                  try {
                                      found->asked = paths;
                                      Pack::Found listed = operations_.clips(paths, taken);
                                      found->places = std::move(listed.places);
                                      for (PackClip& clip : listed.clips) {
                                          auto row = std::make_shared<Row>(std::move(clip), *order);
                                          if (present.contains(row->standardizedSource()))
                                              found->known = true;
                                          else
                                              found->rows.push_back(std::move(row));
                                      }
                                      found->sorted = found->rows;
                                      sortByPath(found->sorted);
                                      found->tree = model::tree(found->sorted, *order);
                                      found->rowsByID = byID(found->sorted);
                                  } catch (const std::exception&) {
                                      *found = {}; // nothing that can be listed
                                  }
                                  queue->schedule([this, found] { addFound(*found); });
                              });
}

void ClipList::addFound(Found& discovery) {
    Rows& found = discovery.rows;
    // Another addition may have listed some of these while this one was looking.
    PathSet present;
    present.reserve(rows_.size());
    for (const auto& row : rows_)
        present.insert(row->standardizedSource());
    discovery.known |= std::erase_if(found, [&](const auto& row) {
                           return present.contains(row->standardizedSource());
                       }) > 0;

    for (const auto& row : found)
        row->listed_ = true;
    if (rows_.empty()) {
        rows_ = std::move(discovery.sorted);
        if (!found.empty())
            replace(std::move(discovery.tree), std::move(discovery.rowsByID));
    } else if (!found.empty()) {
        rows_.insert(rows_.end(), found.begin(), found.end());
        sortByPath(rows_);
        replace(model::tree(rows_, *order_), byID(rows_));
    }
    Q_EMIT edited();
    remarks_.looked(discovery.asked, !found.empty(), discovery.known, discovery.places);
    Q_EMIT remarksChanged();
    --discoveries_;
    setFinding(false);
    if (!found.empty()) {
        setReading(readDone_, readTotal_ + static_cast<std::int64_t>(found.size()));
        readHeaders(found);
    }
    Q_EMIT settled();
}

void ClipList::readHeaders(const Rows& fresh) {
    struct Batch {
        Rows rows;
        std::atomic<std::size_t> next = 0;
    };
    const auto batch = std::make_shared<Batch>();
    batch->rows = fresh;
    for (std::size_t reader = 0; reader < std::min(mostReads, fresh.size()); ++reader)
        background_.workers.start(
            "header", [this, queue = background_.queue, ending = background_.ending, batch] {
                for (std::size_t index; !ending->isSet() && (index = batch->next++) < batch->rows.size();) {
                    const auto& row = batch->rows[index];
                    queue->schedule([this, row, result = read(operations_, row->clip().source)]() mutable {
                        headerRead(row, std::move(result));
                    });
                }
            });
}

void ClipList::headerRead(const std::shared_ptr<Row>& row, Reading reading) {
    const bool wasPackable = row->isPackable();
    if (reading.header)
        row->header_ = std::move(reading.header);
    if (reading.error)
        row->headerError_ = std::move(reading.error);
    row->headerReason_ = std::move(reading.reason);
    if (row->listed_ && !wasPackable && row->isPackable())
        ++packable_;
    Q_EMIT rowChanged(row);
    const bool last = readDone_ + 1 >= readTotal_;
    setReading(last ? 0 : readDone_ + 1, last ? 0 : readTotal_);
    Q_EMIT packableChanged();
    Q_EMIT settled();
}

void ClipList::remove(const PathSet& ids) {
    std::unordered_set<std::string> folders;
    for (const auto& id : ids)
        if (!rowsByID_.contains(id))
            folders.insert(standardized(id).native());
    const auto isBelow = [&](const std::filesystem::path& source) {
        const std::string& text = source.native();
        for (auto end = text.rfind('/'); end != std::string::npos && end > 0; end = text.rfind('/', end - 1))
            if (folders.contains(text.substr(0, end)))
                return true;
        return false;
    };
    Rows kept;
    kept.reserve(rows_.size());
    for (auto& row : rows_) {
        row->listed_ = !ids.contains(row->id()) && !isBelow(row->standardizedSource());
        if (row->listed_)
            kept.push_back(row);
    }
    if (kept.size() != rows_.size()) {
        background_.forget(std::exchange(rows_, std::move(kept)));
        replace(model::tree(rows_, *order_), byID(rows_));
    }
    Q_EMIT edited();
    remarks_.removed(ids, rows_.empty());
    Q_EMIT remarksChanged();
}

void ClipList::replace(std::vector<Node> tree, PathMap<std::shared_ptr<Row>> rowsByID) {
    background_.forget(
        std::pair(std::exchange(tree_, std::move(tree)), std::exchange(rowsByID_, std::move(rowsByID))));
    packable_ = 0;
    bool anyMXF = false;
    for (const auto& row : rows_) {
        packable_ += row->isPackable() ? 1 : 0;
        anyMXF = anyMXF || (!operations_.canOpenMXF && isMXF(row->id()));
    }
    Q_EMIT rowsChanged();
    if (std::exchange(cantOpen_, anyMXF) != anyMXF)
        Q_EMIT cantOpenChanged();
    Q_EMIT packableChanged();
}

QString ClipList::summary() const {
    const std::int64_t size =
        std::accumulate(rows_.begin(), rows_.end(), std::int64_t{0},
                        [](std::int64_t sum, const auto& row) { return sum + row->clip().size; });
    const QString count = rows_.size() == 1 ? tr("1 clip") : tr("%1 clips").arg(rows_.size());
    return tr("%1, %2", "clips, size").arg(count, byteCount(size));
}

std::int64_t ClipList::estimatedSize(ScratchAudio mode) const {
    std::vector<ClipHeader> headers;
    for (const auto& row : rows_)
        if (row->isPackable())
            headers.push_back(*row->header());
    return Pack::estimatedSize(headers, mode);
}

std::size_t ClipList::packed() const {
    return static_cast<std::size_t>(std::ranges::count_if(rows_, [](const auto& row) {
        return row->result() && std::holds_alternative<PackResult>(*row->result());
    }));
}

void ClipList::setProgress(const std::filesystem::path& id, std::optional<double> progress) {
    if (const auto row = rowsByID_.find(id); row != rowsByID_.end())
        setProgress(row->second, progress);
}

void ClipList::setProgress(const std::shared_ptr<Row>& row, std::optional<double> progress) {
    if (row->progress_ == progress)
        return;
    row->progress_ = progress;
    Q_EMIT rowChanged(row);
}

void ClipList::setResult(const std::filesystem::path& id, const Outcome& outcome, bool asAsked) {
    const auto row = rowsByID_.find(id);
    if (row == rowsByID_.end())
        return;
    row->second->progress_.reset();
    row->second->result_ = outcome;
    row->second->asAsked_ = asAsked;
    Q_EMIT rowChanged(row->second);
}

void ClipList::clearProgress() {
    for (const auto& row : rows_)
        setProgress(row, std::nullopt);
}

void ClipList::clearResults() {
    for (const auto& row : rows_) {
        if (!row->progress_ && !row->result_)
            continue;
        row->progress_.reset();
        row->result_.reset();
        row->asAsked_ = false;
        Q_EMIT rowChanged(row);
    }
}

void ClipList::tellOfResults() {
    for (const auto& row : rows_)
        if (row->result_)
            Q_EMIT rowChanged(row);
}

void ClipList::setFinding(bool finding) {
    if (std::exchange(finding_, finding) == finding)
        return;
    Q_EMIT findingChanged();
}

void ClipList::setReading(std::int64_t done, std::int64_t total) {
    if (done == readDone_ && total == readTotal_)
        return;
    readDone_ = done;
    readTotal_ = total;
    Q_EMIT readingChanged();
}

} // namespace model
