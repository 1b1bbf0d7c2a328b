// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/pack_model.h"

#include <limits>
#include <utility>

#include "model/text.h"

namespace model {

namespace {

constexpr QLatin1String audioKey("scratchAudio");

} // namespace

PackModel::PackModel(QSettings& settings, PackOperations operations, QObject* parent)
    : QObject(parent), settings_(settings), operations_(std::move(operations)),
      audio_(
          scratchAudio(settings.value(audioKey).toString().toStdString()).value_or(ScratchAudio::lossless)),
      list_(operations_, background_), background_(this) {
    connect(&list_, &ClipList::rowsChanged, this, [this] {
        Q_EMIT rowsChanged();
        if (waiting_)
            Q_EMIT waitingChanged();
    });
    connect(&list_, &ClipList::rowChanged, this, &PackModel::rowChanged);
    connect(&list_, &ClipList::findingChanged, this, &PackModel::findingChanged);
    connect(&list_, &ClipList::readingChanged, this, &PackModel::readingChanged);
    connect(&list_, &ClipList::cantOpenChanged, this, &PackModel::cantOpenChanged);
    connect(&list_, &ClipList::remarksChanged, this, &PackModel::remarksChanged);
    connect(&list_, &ClipList::findingChanged, this, &PackModel::updateCanPack);
    connect(&list_, &ClipList::packableChanged, this, &PackModel::updateCanPack);
    // The saved pack is no longer the list's.
    connect(&list_, &ClipList::edited, this, [this] { setSaved(std::nullopt); });
    connect(&list_, &ClipList::settled, this, &PackModel::startWhenReady);
}

PackModel::~PackModel() {
    background_.ending->set();
    if (run_)
        run_->cancel();
    background_.queue->close();
}

bool PackModel::endWithin(std::chrono::milliseconds patience) {
    background_.ending->set();
    if (run_)
        run_->cancel();
    return background_.workers.endWithin(patience);
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
    if (!packing() && !paths.empty())
        list_.add(std::move(paths));
}

void PackModel::remove(const PathSet& ids) {
    if (packing())
        return;
    list_.remove(ids);
    PathSet selected = selection_;
    std::erase_if(selected, [&](const auto& id) { return ids.contains(id); });
    setSelection(std::move(selected));
}

QStringList PackModel::remarks() const {
    QStringList remarks;
    if (saved_ && saved_->missing == 1)
        remarks << tr("1 listed clip is not in it.");
    else if (saved_ && saved_->missing > 1)
        remarks << tr("%1 listed clips are not in it.").arg(saved_->missing);
    if (savedLate_)
        remarks << tr("The stopped export was saved too, as “%1”.").arg(fileName(savedLate_->url));
    return remarks + list_.remarks();
}

QString PackModel::spaceWarning(ScratchAudio mode, std::int64_t freeSpace) const {
    const std::int64_t size = list_.estimatedSize(mode);
    if (size <= freeSpace / 2)
        return {};
    const QString needed = byteCount(size > std::numeric_limits<std::int64_t>::max() / 2 ? size : 2 * size);
    return tr("Only %1 are free there. Making the pack may need %2.").arg(byteCount(freeSpace), needed);
}

QString PackModel::spaceMessage(ScratchAudio mode) const {
    const QString size = byteCount(list_.estimatedSize(mode));
    return (mode == ScratchAudio::lossless
                ? tr("Each clip's timecode and scratch audio, in the same folders: up to %1. "
                     "Making it needs twice that free on the disk.")
                : tr("Each clip's timecode and scratch audio, in the same folders: about %1. "
                     "Making it needs twice that free on the disk."))
        .arg(size);
}

void PackModel::lookAt(const std::filesystem::path& zip, std::function<void(const ExportPlace&)> tell) {
    std::vector<std::filesystem::path> folders;
    for (const Node& node : tree())
        if (node.children)
            folders.push_back(node.id);
    background_.workers.start("place", [this, queue = background_.queue, zip, folders = std::move(folders),
                                        tell = std::move(tell)] {
        queue->schedule([tell, place = operations_.place(zip, folders)] { tell(place); });
    });
}

void PackModel::pack(const std::filesystem::path& zip) {
    if (run_)
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
    if (!waiting_ || run_ || !list_.isSettled())
        return;
    start(*std::exchange(waiting_, std::nullopt));
    Q_EMIT waitingChanged();
}

void PackModel::start(const std::filesystem::path& zip) {
    run_ = std::make_unique<ExportRun>(
        list_, zip, audio_,
        ExportRun::Hooks{.progressed = [this] { Q_EMIT exportingChanged(); },
                         .givenUp = [this] { giveUpWaiting(); },
                         .end = [this](const ExportRun::End& how) { ended(how); }});
    list_.forgetNotice();
    setResultsStand(true);
    Q_EMIT packingChanged();
    updateCanPack();
    setSaved(std::nullopt);
    setFailure(std::nullopt);
    Q_EMIT exportingChanged();
    run_->start(operations_, background_);
}

void PackModel::ended(const ExportRun::End& how) {
    std::optional<SavedPack> saved;
    if (how.size)
        saved = SavedPack{run_->zip(), *how.size, rows().size() - list_.packed()};
    setResultsStand(saved.has_value());
    if (packing()) {
        if (saved)
            setSaved(std::move(saved));
        else if (how.failure)
            setFailure(tr("The pack wasn't saved: %1").arg(*how.failure));
        else
            list_.clearProgress();
        endExport();
    } else if (saved) {
        // The stop came too late after all: the pack is there, and that must not be hidden.
        if (waiting_)
            savedLate_ = std::move(saved);
        else
            setSaved(std::move(saved));
    }
    run_.reset();
    startWhenReady();
}

void PackModel::stop() {
    if (waiting_) {
        waiting_.reset();
        if (savedLate_)
            setSaved(std::exchange(savedLate_, std::nullopt));
        Q_EMIT waitingChanged();
    }
    if (run_)
        run_->stop();
}

/// The export's thread hangs in a read of a disk that does not answer. It ends by itself, and cleans up, when
/// the disk does; until then the list can be used, and another export waits.
void PackModel::giveUpWaiting() {
    setResultsStand(false);
    list_.clearProgress();
    endExport();
}

void PackModel::endExport() {
    background_.forget(run_->takeProgress());
    Q_EMIT exportingChanged();
    Q_EMIT packingChanged();
    updateCanPack();
}

void PackModel::setAudio(ScratchAudio audio) {
    settings_.setValue(audioKey, text(rawValue(audio)));
    if (std::exchange(audio_, audio) != audio)
        Q_EMIT audioChanged();
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

void PackModel::setResultsStand(bool stand) {
    if (std::exchange(resultsStand_, stand) != stand)
        list_.tellOfResults();
}

void PackModel::updateCanPack() {
    const bool canPack = !packing() && !finding() && list_.packable() > 0;
    if (std::exchange(canPack_, canPack) != canPack)
        Q_EMIT canPackChanged();
}

} // namespace model
