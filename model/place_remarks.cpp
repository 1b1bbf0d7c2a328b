// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/place_remarks.h"

#include <QCoreApplication>
#include <algorithm>

#include "model/text.h"

namespace model {

namespace {

QString translated(const char* text) {
    return QCoreApplication::translate("PackModel", text);
}

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

QStringList PlaceRemarks::sentences() const {
    QStringList sentences;
    if (!notice_.isEmpty())
        sentences << notice_;
    if (!unlisted_.empty())
        sentences << sentence(
            unlisted_, translated(QT_TRANSLATE_NOOP("PackModel",
                                                    "%1 folders can't be listed, clips may be missing: %2")));
    return sentences;
}

void PlaceRemarks::looked(const std::vector<std::filesystem::path>& asked, bool isNew, bool isKnown,
                          const std::vector<Pack::Place>& places) {
    std::erase_if(unlisted_, [&](const Pack::Place& place) {
        return std::ranges::any_of(asked, [&](const auto& path) { return isAtOrBelow(place.path, path); });
    });
    std::vector<Pack::Place> gaveNone;
    for (const Pack::Place& place : places)
        (place.kind == Pack::Place::Kind::notListed ? unlisted_ : gaveNone).push_back(place);
    notice_.clear();
    if (!gaveNone.empty())
        notice_ =
            sentence(gaveNone, translated(QT_TRANSLATE_NOOP("PackModel", "%1 places gave no clips: %2")));
    else if (!isNew && isKnown && places.empty())
        notice_ = asked.size() == 1
                      ? translated(QT_TRANSLATE_NOOP("PackModel", "“%1” is listed already."))
                            .arg(fileName(standardized(asked.front())))
                      : translated(QT_TRANSLATE_NOOP("PackModel", "All of these clips are listed already."));
}

void PlaceRemarks::removed(const PathSet& ids, bool all) {
    notice_.clear();
    std::erase_if(unlisted_, [&](const Pack::Place& place) {
        return all || std::ranges::any_of(
                          ids, [&](const auto& id) { return isAtOrBelow(place.path, standardized(id)); });
    });
}

} // namespace model
