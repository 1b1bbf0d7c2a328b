// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/format.h"

#include <QCoreApplication>
#include <QLocale>
#include <QRegularExpression>
#include <QTextDocument>
#include <cmath>
#include <cstdint>

namespace Format {

namespace {

QString translated(const char* text) {
    return QCoreApplication::translate("Format", text);
}

bool fits(double value) {
    return std::abs(value) < 0x1p62; // false for what is not a number
}

} // namespace

QString length(double seconds) {
    if (!fits(seconds))
        return {};
    const auto whole = static_cast<std::int64_t>(std::round(seconds));
    const auto twoDigits = [](std::int64_t value) {
        return QStringLiteral("%1").arg(value, 2, 10, QLatin1Char('0'));
    };
    if (whole < 3600)
        return QStringLiteral("%1:%2").arg(whole / 60).arg(twoDigits(whole % 60));
    return QStringLiteral("%1:%2:%3")
        .arg(whole / 3600)
        .arg(twoDigits(whole / 60 % 60), twoDigits(whole % 60));
}

QString rate(double framesPerSecond) {
    if (!fits(framesPerSecond))
        return {};
    const QLocale locale;
    QString number = locale.toString(framesPerSecond, 'f', 3);
    const QString zero = locale.zeroDigit();
    while (number.endsWith(zero))
        number.chop(zero.size());
    if (number.endsWith(locale.decimalPoint()))
        number.chop(locale.decimalPoint().size());
    return number;
}

QString date(const QDateTime& date) {
    return QLocale().toString(date, QLocale::ShortFormat);
}

QString date(std::chrono::system_clock::time_point date) {
    const auto sinceEpoch = std::chrono::floor<std::chrono::milliseconds>(date.time_since_epoch());
    return Format::date(QDateTime::fromMSecsSinceEpoch(sinceEpoch.count()));
}

QString dateForName(const QDate& date) {
    // The locale's long date without its weekday, the month abbreviated.
    const QLocale locale;
    QString format = locale.dateFormat(QLocale::LongFormat);
    static const QRegularExpression weekday(QStringLiteral("[,،、]?\\s*'?[^\\s'dMy]*'?\\s*dddd?[,،.]?\\s*"));
    format.replace(weekday, QString());
    format.replace(QStringLiteral("MMMM"), QStringLiteral("MMM"));
    QString text = locale.toString(date, format.trimmed());
    return text.replace(QLatin1Char('/'), QLatin1Char('-'));
}

QString timeLeft(std::optional<double> seconds) {
    if (!seconds || !fits(*seconds))
        return translated(QT_TRANSLATE_NOOP("Format", "Estimating time left…"));
    if (*seconds < 60)
        return translated(QT_TRANSLATE_NOOP("Format", "About %1 s left"))
            .arg(std::max(static_cast<std::int64_t>(*seconds), std::int64_t{1}));
    return translated(QT_TRANSLATE_NOOP("Format", "About %1 min left"))
        .arg(static_cast<std::int64_t>(std::ceil(*seconds / 60)));
}

QString isolated(const QString& text) {
    constexpr QChar firstStrongIsolate(0x2068); // Unicode Standard Annex 9
    constexpr QChar popDirectionalIsolate(0x2069);
    return text.isEmpty() ? text : firstStrongIsolate + text + popDirectionalIsolate;
}

QString toolTip(const QString& text) {
    return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text;
}

} // namespace Format
