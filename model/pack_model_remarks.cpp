// SPDX-License-Identifier: GPL-3.0-or-later
// What PackModel has to say beside its state: clips that are not where somebody may expect them.
#include <algorithm>

#include "model/pack_model.h"
#include "model/text.h"

namespace {

bool isAtOrBelow(const std::filesystem::path& path, const std::filesystem::path& folder) {
    return std::ranges::mismatch(folder, path).in1 == folder.end();
}

/// One place by its sentence, several by their names.
QString sentence(const std::vector<Pack::Place>& places, const QString& several) {
    if (places.size() == 1)
        return text(places.front().sentence());
    QStringList names;
    for (const Pack::Place& place : places)
        names << text(place.name);
    return several.arg(places.size()).arg(names.join(QStringLiteral(", ")));
}

} // namespace

QStringList PackModel::remarks() const {
    QStringList remarks;
    if (saved_ && saved_->missing == 1)
        remarks << tr("1 listed clip is not in it.");
    else if (saved_ && saved_->missing > 1)
        remarks << tr("%1 listed clips are not in it.").arg(saved_->missing);
    if (savedLate_)
        remarks << tr("The stopped export was saved too, as “%1”.").arg(fileName(savedLate_->url));
    if (!notice_.isEmpty())
        remarks << notice_;
    if (!unlisted_.empty())
        remarks << sentence(unlisted_, tr("%1 folders can't be listed, clips may be missing: %2"));
    return remarks;
}

void PackModel::noticePlaces(const std::vector<std::filesystem::path>& asked, bool isNew, bool isKnown,
                             const std::vector<Pack::Place>& places) {
    const auto askedAgain = [&](const Pack::Place& place) {
        return std::ranges::any_of(asked, [&](const auto& path) { return isAtOrBelow(place.path, path); });
    };
    std::erase_if(unlisted_, askedAgain);
    std::vector<Pack::Place> gaveNone;
    for (const Pack::Place& place : places)
        (place.kind == Pack::Place::Kind::notListed ? unlisted_ : gaveNone).push_back(place);
    notice_.clear();
    if (!gaveNone.empty())
        notice_ = sentence(gaveNone, tr("%1 places gave no clips: %2"));
    else if (!isNew && isKnown && places.empty())
        notice_ = asked.size() == 1 ? tr("“%1” is listed already.").arg(fileName(standardized(asked.front())))
                                    : tr("All of these clips are listed already.");
    Q_EMIT remarksChanged();
}

void PackModel::forgetPlaces(const PathSet& removed) {
    notice_.clear();
    std::erase_if(unlisted_, [&](const Pack::Place& place) {
        return rows_.empty() || std::ranges::any_of(removed, [&](const auto& id) {
                   return isAtOrBelow(place.path, standardized(id));
               });
    });
    Q_EMIT remarksChanged();
}
