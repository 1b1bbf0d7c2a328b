// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/clip_cells.h"

#include <QCoreApplication>

#include "model/text.h"
#include "ui/format.h"

namespace ui {

namespace {

QString translated(const char* text) {
    return QCoreApplication::translate("ClipTable", text);
}

/// What a text leaves out stands below it.
StatusCell warning(const QString& text, const QString& reason) {
    return {StatusLook::warning, text, reason.isEmpty() ? text : text + QLatin1Char('\n') + reason};
}

} // namespace

QString cellText(const model::Row& row, ClipColumn column) {
    if (column == ClipColumn::name)
        return model::text(row.clip().name());
    if (column == ClipColumn::size)
        return model::byteCount(row.clip().size);
    if (!row.header())
        return {};
    const ClipHeader& header = *row.header();
    switch (column) {
    case ClipColumn::date:
        return header.date ? Format::date(*header.date) : QString();
    case ClipColumn::length:
        return Format::length(header.duration);
    case ClipColumn::timecode:
        return model::text(header.range().value_or(std::string()));
    case ClipColumn::fps:
        return header.fps ? Format::rate(*header.fps) : QString();
    case ClipColumn::resolution:
        return model::text(header.resolution.value_or(std::string()));
    default:
        return {};
    }
}

StatusCell statusCell(const model::Row& row, const model::PackModel& model) {
    if (row.headerError())
        return warning(*row.headerError(), row.headerReason());
    if (row.progress())
        return {
            StatusLook::progress,
            translated(QT_TRANSLATE_NOOP("ClipTable", "%1%")).arg(static_cast<int>(*row.progress() * 100))};
    if (row.result()) {
        if (const auto* failure = std::get_if<PackFailure>(&*row.result()))
            return warning(model::text(failure->description), model::text(failure->reason));
        const auto& result = std::get<PackResult>(*row.result());
        // What a stopped or failed export wrote is gone: only its remarks still hold.
        const QString size = model::byteCount(result.packSize);
        if (result.notes.empty())
            return {StatusLook::secondary,
                    model.resultsStand() ? size : translated(QT_TRANSLATE_NOOP("ClipTable", "Ready"))};
        QStringList notes;
        for (const std::string& note : result.notes)
            notes << model::text(note);
        const QString remarks = notes.join(QStringLiteral("; "));
        return {StatusLook::warning, model.resultsStand() ? size + QStringLiteral(": ") + remarks : remarks,
                notes.join(QLatin1Char('\n'))};
    }
    if (model.packing())
        return {StatusLook::secondary, translated(QT_TRANSLATE_NOOP("ClipTable", "Waiting"))};
    return {StatusLook::secondary,
            row.header() ? translated("Ready") : translated(QT_TRANSLATE_NOOP("ClipTable", "Reading…"))};
}

StatusCell statusCell(const std::vector<std::shared_ptr<model::Row>>& problems, int asAsked,
                      const model::PackModel& model) {
    const auto withoutSound = [asAsked] {
        return asAsked == 1
                   ? translated(QT_TRANSLATE_NOOP("ClipTable", "1 clip with timecode only"))
                   : translated(QT_TRANSLATE_NOOP("ClipTable", "%1 clips with timecode only")).arg(asAsked);
    };
    if (problems.empty())
        return asAsked > 0 ? StatusCell{StatusLook::secondary, withoutSound()} : StatusCell();
    constexpr std::size_t mostNamed = 12; // as many lines as a tooltip can have before it hides the list
    QStringList lines;
    for (const auto& row : problems) {
        if (static_cast<std::size_t>(lines.size()) == mostNamed && problems.size() > mostNamed + 1) {
            lines
                << translated(QT_TRANSLATE_NOOP("ClipTable", "and %1 more")).arg(problems.size() - mostNamed);
            break;
        }
        lines << cellText(*row, ClipColumn::name) + QStringLiteral(": ") + statusCell(*row, model).text;
    }
    if (asAsked > 0)
        lines << withoutSound();
    return {StatusLook::warning,
            problems.size() == 1
                ? translated(QT_TRANSLATE_NOOP("ClipTable", "1 clip with a problem"))
                : translated(QT_TRANSLATE_NOOP("ClipTable", "%1 clips with problems")).arg(problems.size()),
            lines.join(QLatin1Char('\n'))};
}

} // namespace ui
