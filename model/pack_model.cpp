// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/pack_model.h"

#include <QLocale>
#include <algorithm>
#include <atomic>
#include <limits>
#include <numeric>
#include <unordered_set>
#include <utility>

#include "model/text.h"

namespace {

constexpr std::size_t mostReads = 4; // at once, of one addition
constexpr QLatin1String audioKey("scratchAudio");

bool isMXF(const std::filesystem::path& path) {
    return text(path.extension().native()).toLower() == QStringLiteral(".mxf");
}

void sortByPath(PackModel::Rows& rows) {
    std::ranges::stable_sort(rows, {}, [](const auto& row) -> const std::string& { return row->pathKey(); });
}

PathMap<std::shared_ptr<Row>> byID(const PackModel::Rows& rows) {
    PathMap<std::shared_ptr<Row>> found;
    found.reserve(rows.size());
    for (const auto& row : rows)
        found.emplace(row->id(), row);
    return found;
}

} // namespace

/// What a discovery has found.
struct PackModel::Found {
    std::vector<std::filesystem::path> asked;
    std::vector<Pack::Place> places;
    bool known = false;                     ///< some clips were listed before
    Rows rows;                              ///< in the order found
    Rows sorted;                            ///< in the list's order, for a list that has none yet
    std::vector<Node> tree;                 ///< of `sorted`
    PathMap<std::shared_ptr<Row>> rowsByID; ///< of `sorted`
};

/// The header of a clip, or why it can't be packed.
struct PackModel::Reading {
    std::optional<ClipHeader> header;
    std::optional<QString> error;
    QString reason;
};

PackModel::Reading PackModel::read(const PackOperations& operations, const std::filesystem::path& source) {
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

PackModel::PackModel(QSettings& settings, PackOperations operations, QObject* parent)
    : QObject(parent), settings_(settings), operations_(std::move(operations)),
      order_(std::make_shared<platform::TextOrder>()),
      audio_(
          scratchAudio(settings.value(audioKey).toString().toStdString()).value_or(ScratchAudio::lossless)),
      queue_(std::make_shared<MainQueue>(this)) {
    stopping_.setSingleShot(true);
    connect(&stopping_, &QTimer::timeout, this, &PackModel::giveUpWaiting);
}

PackModel::~PackModel() {
    ending_->set();
    cancelled_->set();
    queue_->close();
}

bool PackModel::endWithin(std::chrono::milliseconds patience) {
    ending_->set();
    cancelled_->set();
    return workers_.endWithin(patience);
}

void PackModel::setSelection(PathSet ids) {
    if (ids == selection_)
        return;
    selection_ = std::move(ids);
    Q_EMIT selectionChanged();
}

void PackModel::setCollapsed(const std::filesystem::path& folder, bool collapsed) {
    const bool changed = collapsed ? collapsed_.insert(folder).second : collapsed_.erase(folder) > 0;
    if (changed)
        Q_EMIT collapsedChanged();
}

void PackModel::setChoosing(bool choosing) {
    if (std::exchange(choosing_, choosing) != choosing)
        Q_EMIT choosingChanged();
}

void PackModel::add(std::vector<std::filesystem::path> paths) {
    if (packing_ || paths.empty())
        return;
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
    workers_.start("discovery", [this, queue = queue_, order = order_, paths = std::move(paths),
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
            found->tree = ::tree(found->sorted, *order);
            found->rowsByID = byID(found->sorted);
        } catch (const std::exception&) {
            *found = {}; // nothing that can be listed
        }
        queue->schedule([this, found] { addFound(*found); });
    });
}

void PackModel::addFound(Found& discovery) {
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
            rowsReplaced(std::move(discovery.tree), std::move(discovery.rowsByID));
    } else if (!found.empty()) {
        rows_.insert(rows_.end(), found.begin(), found.end());
        sortByPath(rows_);
        rowsReplaced(::tree(rows_, *order_), byID(rows_));
    }
    setSaved(std::nullopt);
    noticePlaces(discovery.asked, !found.empty(), discovery.known, discovery.places);
    --discoveries_;
    setFinding(false);
    if (!found.empty()) {
        setReading(readDone_, readTotal_ + static_cast<std::int64_t>(found.size()));
        readHeaders(found);
    }
    startWhenReady();
}

void PackModel::readHeaders(const Rows& fresh) {
    struct Batch {
        Rows rows;
        std::atomic<std::size_t> next = 0;
    };
    const auto batch = std::make_shared<Batch>();
    batch->rows = fresh;
    for (std::size_t reader = 0; reader < std::min(mostReads, fresh.size()); ++reader)
        workers_.start("header", [this, queue = queue_, ending = ending_, batch] {
            for (std::size_t index; !ending->isSet() && (index = batch->next++) < batch->rows.size();) {
                const auto& row = batch->rows[index];
                queue->schedule([this, row, result = read(operations_, row->clip().source)]() mutable {
                    headerRead(row, std::move(result));
                });
            }
        });
}

void PackModel::headerRead(const std::shared_ptr<Row>& row, Reading reading) {
    const bool wasPackable = row->isPackable();
    if (reading.header)
        row->header_ = std::move(reading.header);
    if (reading.error)
        row->headerError_ = std::move(reading.error);
    row->headerReason_ = std::move(reading.reason);
    if (row->listed_ && !wasPackable && row->isPackable())
        ++packableRows_;
    Q_EMIT rowChanged(row);
    const bool last = readDone_ + 1 >= readTotal_;
    setReading(last ? 0 : readDone_ + 1, last ? 0 : readTotal_);
    updateCanPack();
    startWhenReady();
}

void PackModel::remove(const PathSet& ids) {
    if (packing_)
        return;
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
        forget(std::exchange(rows_, std::move(kept)));
        rowsReplaced(::tree(rows_, *order_), byID(rows_));
    }
    PathSet selected = selection_;
    std::erase_if(selected, [&](const auto& id) { return ids.contains(id); });
    setSelection(std::move(selected));
    setSaved(std::nullopt);
    forgetPlaces(ids);
}

void PackModel::rowsReplaced(std::vector<Node> tree, PathMap<std::shared_ptr<Row>> rowsByID) {
    forget(std::pair(std::exchange(tree_, std::move(tree)), std::exchange(rowsByID_, std::move(rowsByID))));
    packableRows_ = 0;
    bool anyMXF = false;
    for (const auto& row : rows_) {
        packableRows_ += row->isPackable() ? 1 : 0;
        anyMXF = anyMXF || (!operations_.canOpenMXF && isMXF(row->id()));
    }
    Q_EMIT rowsChanged();
    if (waiting_)
        Q_EMIT waitingChanged();
    if (std::exchange(cantOpen_, anyMXF) != anyMXF)
        Q_EMIT cantOpenChanged();
    updateCanPack();
}

QString PackModel::summary() const {
    const std::int64_t size =
        std::accumulate(rows_.begin(), rows_.end(), std::int64_t{0},
                        [](std::int64_t sum, const auto& row) { return sum + row->clip().size; });
    const QString count = rows_.size() == 1 ? tr("1 clip") : tr("%1 clips").arg(rows_.size());
    return tr("%1, %2", "clips, size").arg(count, byteCount(size));
}

std::int64_t PackModel::estimatedSize(ScratchAudio mode) const {
    std::vector<ClipHeader> headers;
    for (const auto& row : rows_)
        if (row->isPackable())
            headers.push_back(*row->header());
    return Pack::estimatedSize(headers, mode);
}

QString PackModel::spaceWarning(ScratchAudio mode, std::int64_t freeSpace) const {
    const std::int64_t size = estimatedSize(mode);
    if (size <= freeSpace / 2)
        return {};
    const QString needed = byteCount(size > std::numeric_limits<std::int64_t>::max() / 2 ? size : 2 * size);
    return tr("Only %1 are free there. Making the pack may need %2.").arg(byteCount(freeSpace), needed);
}

QString PackModel::spaceMessage(ScratchAudio mode) const {
    const QString size = byteCount(estimatedSize(mode));
    return (mode == ScratchAudio::lossless
                ? tr("Each clip's timecode and scratch audio, in the same folders: up to %1. "
                     "Making it needs twice that free on the disk.")
                : tr("Each clip's timecode and scratch audio, in the same folders: about %1. "
                     "Making it needs twice that free on the disk."))
        .arg(size);
}

void PackModel::setAudio(ScratchAudio audio) {
    settings_.setValue(audioKey, text(rawValue(audio)));
    if (std::exchange(audio_, audio) != audio)
        Q_EMIT audioChanged();
}

void PackModel::setFinding(bool finding) {
    if (std::exchange(finding_, finding) == finding)
        return;
    Q_EMIT findingChanged();
    updateCanPack();
}

void PackModel::setReading(std::int64_t done, std::int64_t total) {
    if (done == readDone_ && total == readTotal_)
        return;
    readDone_ = done;
    readTotal_ = total;
    Q_EMIT readingChanged();
}

void PackModel::setSaved(std::optional<SavedPack> saved) {
    if (saved == saved_)
        return;
    saved_ = std::move(saved);
    Q_EMIT savedChanged();
}

void PackModel::setFailure(std::optional<QString> failure) {
    if (failure == failure_)
        return;
    failure_ = std::move(failure);
    Q_EMIT failureChanged();
}

void PackModel::setPacking(bool packing) {
    if (std::exchange(packing_, packing) == packing)
        return;
    Q_EMIT packingChanged();
    updateCanPack();
}

void PackModel::updateCanPack() {
    const bool canPack = !packing_ && !finding_ && packableRows_ > 0;
    if (std::exchange(canPack_, canPack) != canPack)
        Q_EMIT canPackChanged();
}
