// SPDX-License-Identifier: GPL-3.0-or-later
// PackModel's export: one run of Pack::make, told to the rows and to the progress record.
#include <algorithm>
#include <cmath>
#include <utility>

#include "model/pack_model.h"
#include "model/text.h"

namespace {

/// A read that has not noticed the wish to stop by then hangs.
constexpr std::chrono::milliseconds stopPatience(800);

double fractionOf(double value) {
    return value > 0 ? std::min(value, 1.0) : 0; // 0 for what is not a number
}

} // namespace

/// What an export's thread needs.
struct PackModel::Export {
    std::vector<PackClip> clips;
    std::filesystem::path zip;
    ScratchAudio audio;
    std::shared_ptr<Flag> cancelled;
};

/// How an export ended: with a pack, with a reason why not, or (neither) stopped.
struct PackModel::Ended {
    std::optional<SavedPack> saved{};
    std::optional<QString> failure{};
};

void PackModel::pack(const std::filesystem::path& zip) {
    if (running_)
        packWhenReady(zip);
    else
        start(zip);
}

void PackModel::packWhenReady(const std::filesystem::path& zip) {
    savedLate_.reset();
    setSaved(std::nullopt);
    setFailure(std::nullopt);
    waiting_ = zip;
    Q_EMIT waitingChanged();
    startWhenReady();
}

void PackModel::startWhenReady() {
    if (!waiting_ || running_ || discoveries_ > 0 || readTotal_ >= 1 || rows_.empty())
        return;
    start(*std::exchange(waiting_, std::nullopt));
    Q_EMIT waitingChanged();
}

void PackModel::start(const std::filesystem::path& zip) {
    Export pack{{}, zip, audio_, std::make_shared<Flag>()};
    PathMap<ExportProgress::Clip> clips;
    for (const auto& row : rows_) {
        if (row->isPackable()) {
            const ClipHeader& header = *row->header();
            const double length = std::isfinite(header.duration) ? std::max(header.duration, 0.001) : 0.001;
            const double audio = header.duration * header.audioBytesPerSecond;
            pack.clips.push_back(row->clip());
            clips.emplace(row->id(), ExportProgress::Clip{length, std::isfinite(audio) ? audio : 0,
                                                          fileName(row->id())});
        }
        if (row->progress_ || row->result_) {
            row->progress_.reset();
            row->result_.reset();
            row->asAsked_ = false;
            Q_EMIT rowChanged(row);
        }
    }
    exporting_.emplace(std::move(clips));
    cancelled_ = pack.cancelled;
    packedAudio_ = pack.audio;
    running_ = true;
    stopping_.stop();
    notice_.clear();
    setResultsStand(true);
    setPacking(true);
    setSaved(std::nullopt);
    setFailure(std::nullopt);
    Q_EMIT exportingChanged();
    workers_.start("export", [this, pack = std::move(pack)] { run(pack); });
}

/// On the export's thread.
void PackModel::run(const Export& pack) {
    const auto queue = queue_;
    const Pack::MakeCallbacks callbacks{
        .item =
            [this, &queue](const PackClip& clip, double fraction) {
                queue->schedule([this, id = clip.id(), fraction] { stepped(id, fraction); });
            },
        .finished =
            [this, &queue](const PackClip& clip, const Outcome& outcome) {
                queue->schedule([this, id = clip.id(), outcome] { finished(id, outcome); });
            },
        .isCancelled = [&pack] { return pack.cancelled->isSet(); },
        .saving = [this, &queue] { queue->schedule([this] { zipStarted(); }); },
    };
    Ended how;
    try {
        operations_.make(pack.clips, pack.zip, pack.audio, callbacks);
        how.saved = SavedPack{pack.zip, operations_.fileSize(pack.zip)};
    } catch (const PackError& error) {
        if (error.kind() != PackError::Case::cancelled)
            how.failure = text(error.errorDescription());
    } catch (const std::exception&) {
        how.failure = text(Pack::currentErrorDescription());
    }
    queue->schedule([this, how = std::move(how)] { ended(how); });
}

void PackModel::stepped(const std::filesystem::path& id, double fraction) {
    if (!packing_)
        return;
    if (const auto row = rowsByID_.find(id); row != rowsByID_.end())
        setProgress(row->second, fractionOf(fraction));
    exporting_->step(id, fractionOf(fraction));
    Q_EMIT exportingChanged();
}

/// Also of an export that was given up: it may still save its pack.
void PackModel::finished(const std::filesystem::path& id, const Outcome& outcome) {
    if (const auto row = rowsByID_.find(id); row != rowsByID_.end()) {
        row->second->progress_.reset();
        row->second->result_ = outcome;
        const auto* packed = std::get_if<PackResult>(&outcome);
        row->second->asAsked_ =
            packedAudio_ == ScratchAudio::none && packed != nullptr && packed->notes.size() == 1;
        Q_EMIT rowChanged(row->second);
    }
    if (!packing_)
        return;
    const auto* result = std::get_if<PackResult>(&outcome);
    exporting_->finish(id, result != nullptr ? result->packSize : 0);
    Q_EMIT exportingChanged();
}

void PackModel::zipStarted() {
    if (!packing_)
        return;
    exporting_->saving = true;
    stopping_.stop(); // no clip is being read any more, the end is near
    Q_EMIT exportingChanged();
}

void PackModel::ended(const Ended& how) {
    running_ = false;
    std::optional<SavedPack> saved = how.saved;
    if (saved) {
        const auto isPacked = [](const auto& row) {
            return row->result() && std::holds_alternative<PackResult>(*row->result());
        };
        saved->missing = rows_.size() - static_cast<std::size_t>(std::ranges::count_if(rows_, isPacked));
    }
    setResultsStand(saved.has_value());
    if (packing_) {
        if (saved)
            setSaved(std::move(saved));
        else if (how.failure)
            setFailure(tr("The pack wasn't saved: %1").arg(*how.failure));
        else
            clearProgress();
        endExport();
    } else if (saved) {
        // The stop came too late after all: the pack is there, and that must not be hidden.
        if (waiting_)
            savedLate_ = std::move(saved);
        else
            setSaved(std::move(saved));
    }
    startWhenReady();
}

void PackModel::stop() {
    if (waiting_) {
        waiting_.reset();
        if (savedLate_)
            setSaved(std::exchange(savedLate_, std::nullopt));
        Q_EMIT waitingChanged();
    }
    if (!packing_)
        return;
    cancelled_->set();
    if (!exporting_->saving && !stopping_.isActive())
        stopping_.start(stopPatience);
}

/// The export's thread hangs in a read of a disk that does not answer. It ends by itself, and cleans up, when
/// the disk does; until then the list can be used, and another export waits.
void PackModel::giveUpWaiting() {
    setResultsStand(false);
    clearProgress();
    endExport();
}

void PackModel::setResultsStand(bool stand) {
    if (std::exchange(resultsStand_, stand) == stand)
        return;
    for (const auto& row : rows_)
        if (row->result_)
            Q_EMIT rowChanged(row);
}

void PackModel::endExport() {
    stopping_.stop();
    forget(std::exchange(exporting_, std::nullopt));
    Q_EMIT exportingChanged();
    setPacking(false);
}

void PackModel::lookAt(const std::filesystem::path& zip, std::function<void(const ExportPlace&)> tell) {
    std::vector<std::filesystem::path> folders;
    for (const Node& node : tree_)
        if (node.children)
            folders.push_back(node.id);
    workers_.start("place", [queue = queue_, zip, folders = std::move(folders), tell = std::move(tell)] {
        queue->schedule([tell, place = exportPlace(zip, folders)] { tell(place); });
    });
}

void PackModel::setProgress(const std::shared_ptr<Row>& row, std::optional<double> progress) {
    if (row->progress_ == progress)
        return;
    row->progress_ = progress;
    Q_EMIT rowChanged(row);
}

void PackModel::clearProgress() {
    for (const auto& row : rows_)
        setProgress(row, std::nullopt);
}
