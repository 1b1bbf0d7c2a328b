// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/clip_columns.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFontMetricsF>
#include <QWidget>
#include <algorithm>
#include <cmath>

#include "model/text.h"
#include "ui/format.h"

namespace ui {

namespace {

constexpr std::array titles{
    QT_TRANSLATE_NOOP("ClipTable", "Name"),       QT_TRANSLATE_NOOP("ClipTable", "Date"),
    QT_TRANSLATE_NOOP("ClipTable", "Length"),     QT_TRANSLATE_NOOP("ClipTable", "Size"),
    QT_TRANSLATE_NOOP("ClipTable", "Timecode"),   QT_TRANSLATE_NOOP("ClipTable", "FPS"),
    QT_TRANSLATE_NOOP("ClipTable", "Resolution"), QT_TRANSLATE_NOOP("ClipTable", "Status")};

} // namespace

QString title(ClipColumn column) {
    return QCoreApplication::translate("ClipTable", titles[static_cast<std::size_t>(column)]);
}

int fit(const QStringList& texts, const QFont& font) {
    const QFontMetricsF metrics(font);
    double widest = 0;
    for (const QString& text : texts)
        widest = std::max(widest, std::ceil(metrics.horizontalAdvance(text)));
    return static_cast<int>(widest);
}

QFont withEqualDigits(const QFont& font) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 7, 0)
    QFont digits = font;
    digits.setFeature(QFont::Tag("tnum"), 1);
    return digits;
#else
    return font; // the usual fonts of Linux desktops have such digits anyway
#endif
}

std::array<ColumnWidth, clipColumnCount> columnWidths(const QFont& font, int margin) {
    const auto fixed = [&](ClipColumn column, int least, QStringList samples, bool equalDigits = true) {
        samples << title(column);
        const int width = fit(samples, equalDigits ? withEqualDigits(font) : font) + margin;
        return ColumnWidth{least, width, width};
    };
    QStringList dates; // in the morning and in the evening, with every digit
    for (const int hour : {0, 10, 12, 22})
        for (const int minute : {0, 11, 23, 48, 56, 59})
            for (const int day : {20, 27, 28, 30})
                dates << Format::date(QDateTime(QDate(2026, 12, day), QTime(hour, minute)));
    const int status =
        fit({title(ClipColumn::status), QCoreApplication::translate("ClipTable", "Reading…")}, font);
    return {ColumnWidth{160, 220, QWIDGETSIZE_MAX},
            fixed(ClipColumn::date, 40, dates, false),
            fixed(ClipColumn::length, 40, {QStringLiteral("0:00:00")}),
            fixed(ClipColumn::size, 40, {QStringLiteral("000.0 MB"), model::byteCount(888'800'000)}, false),
            fixed(ClipColumn::timecode, 40, {QStringLiteral("00:00:00:00 – 00:00:00:00")}),
            fixed(ClipColumn::fps, 30, {QStringLiteral("00.000"), Format::rate(88.888)}),
            fixed(ClipColumn::resolution, 40, {QStringLiteral("0000 × 0000")}),
            ColumnWidth{40, status + margin, QWIDGETSIZE_MAX}};
}

} // namespace ui
