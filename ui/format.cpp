// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/format.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTextDocument>
#include <QTimeZone>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <unicode/dtptngen.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

namespace ui {

namespace Format {

namespace {

QString translated(const char* text) {
    return QCoreApplication::translate("Format", text);
}

bool fits(double value) {
    return std::abs(value) < 0x1p62; // false for what is not a number
}

/// The locale of dates, which the user may have set apart from the language (LC_TIME).
std::string dateLocale() {
    const QLocale locale;
    if (locale == QLocale::system())
        for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"})
            if (const char* name = std::getenv(variable); name != nullptr && *name != '\0') {
                const std::string plain = std::string(name).substr(0, std::string_view(name).find('.'));
                return plain == "C" || plain == "POSIX" ? "en" : plain;
            }
    return locale.bcp47Name().toStdString();
}

/// A format with these fields (Unicode Technical Standard 35, "Date Format Patterns") in the locale's own
/// order, Gregorian. Made once for each locale: that takes longer than a frame.
const icu::SimpleDateFormat* formatFor(const char* fields, const std::string& name) {
    static std::map<std::pair<std::string, std::string>, std::unique_ptr<icu::SimpleDateFormat>> formats;
    auto& format = formats[{fields, name}];
    if (format)
        return format.get();
    UErrorCode error = U_ZERO_ERROR;
    icu::Locale locale = icu::Locale::createCanonical(name.c_str());
    // Qt leaves out of a name what goes without saying, but digits and order are a region's: "ar" is Egypt's.
    UErrorCode unlikely = U_ZERO_ERROR;
    locale.addLikelySubtags(unlikely);
    locale.setKeywordValue("calendar", "gregorian", error);
    const std::unique_ptr<icu::DateTimePatternGenerator> patterns(
        icu::DateTimePatternGenerator::createInstance(locale, error));
    if (U_FAILURE(error) != 0)
        return nullptr;
    const icu::UnicodeString pattern = patterns->getBestPattern(icu::UnicodeString(fields), error);
    auto made = std::make_unique<icu::SimpleDateFormat>(pattern, locale, error);
    if (U_FAILURE(error) != 0)
        return nullptr;
    made->adoptTimeZone(icu::TimeZone::createTimeZone(
        icu::UnicodeString::fromUTF8(QTimeZone::systemTimeZoneId().toStdString())));
    format = std::move(made);
    return format.get();
}

QString formatted(const char* fields, qint64 sinceEpoch) {
    const icu::SimpleDateFormat* format = formatFor(fields, dateLocale());
    if (format == nullptr)
        return QDateTime::fromMSecsSinceEpoch(sinceEpoch).date().toString(Qt::ISODate);
    icu::UnicodeString text;
    format->format(static_cast<UDate>(sinceEpoch), text);
    return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
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
    return formatted("yMdjm", date.toMSecsSinceEpoch());
}

QString date(std::chrono::system_clock::time_point date) {
    const auto sinceEpoch = std::chrono::floor<std::chrono::milliseconds>(date.time_since_epoch());
    return formatted("yMdjm", sinceEpoch.count());
}

QString dateForName(const QDate& date) {
    const QTime noon(12, 0);
    QString name;
    for (const QChar sign : formatted("yMMMd", QDateTime(date, noon).toMSecsSinceEpoch())) {
        if (sign.category() == QChar::Other_Format)
            continue; // marks of direction
        if (sign.isSpace())
            name += QLatin1Char(' ');
        else
            name += QStringLiteral("/\\:*?\"<>|").contains(sign) ? QLatin1Char('-') : sign;
    }
    name = name.trimmed();
    while (name.endsWith(QLatin1Char('.'))) // ".zip" follows
        name.chop(1);
    return name;
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

} // namespace ui
