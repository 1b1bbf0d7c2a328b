// SPDX-License-Identifier: GPL-3.0-or-later
// Texts for people, and the ways between addresses, arguments and paths.
#include <QLocale>
#include <QRegularExpression>
#include <cmath>
#include <limits>

#include <gmock/gmock.h>

#include "model/text.h"
#include "ui/format.h"
#include "ui/launch_arguments.h"
#include "ui/paths.h"

namespace {

using namespace ui;
using model::byteCount;

using testing::ElementsAre;

TEST(FormatTest, Lengths) {
    const std::pair<double, const char*> cases[] = {
        {0, "0:00"},         {59.4, "0:59"},    {59.5, "1:00"},
        {3599.5, "1:00:00"}, {3725, "1:02:05"}, {90'000, "25:00:00"},
        {std::nan(""), ""},  {1e300, ""},       {-std::numeric_limits<double>::infinity(), ""},
    };
    for (const auto& [seconds, text] : cases)
        EXPECT_EQ(Format::length(seconds).toStdString(), text) << seconds;
}

TEST(FormatTest, TimeLeft) {
    const std::pair<std::optional<double>, const char*> cases[] = {
        {std::nullopt, "Estimating time left…"},
        {std::nan(""), "Estimating time left…"},
        {-5, "About 1 s left"},
        {0.4, "About 1 s left"},
        {59.99, "About 59 s left"},
        {60, "About 1 min left"},
        {61, "About 2 min left"},
        {3600, "About 60 min left"},
    };
    for (const auto& [seconds, text] : cases)
        EXPECT_EQ(Format::timeLeft(seconds).toStdString(), text);
}

TEST(FormatTest, RatesAndDatesOfALocale) {
    const auto in = [](const char* locale) { QLocale::setDefault(QLocale(QLatin1String(locale))); };
    in("en_US");
    EXPECT_EQ(Format::rate(25), QStringLiteral("25"));
    EXPECT_EQ(Format::rate(29.97), QStringLiteral("29.97"));
    EXPECT_EQ(Format::rate(120), QStringLiteral("120"));
    EXPECT_EQ(Format::dateForName({2026, 11, 6}), QStringLiteral("Nov 6, 2026"));
    in("de_DE");
    EXPECT_EQ(Format::rate(24'000.0 / 1001), QStringLiteral("23,976"));
    EXPECT_EQ(Format::dateForName({2026, 11, 6}), QStringLiteral("6. Nov. 2026"));
    in("ar_EG");
    EXPECT_EQ(byteCount(1'130'000'000).toStdString(), "١٫١٣ GB");
    EXPECT_EQ(Format::rate(25).toStdString(), "٢٥");
    QLocale::setDefault(QLocale::c());
}

/// The numbers in a text, in whatever digits.
std::vector<int> numbers(const QString& text) {
    std::vector<int> found;
    bool inNumber = false;
    for (const char32_t sign : text.toUcs4()) {
        const int digit = QChar::digitValue(sign);
        if (digit >= 0 && !inNumber)
            found.push_back(0);
        if (digit >= 0)
            found.back() = found.back() * 10 + digit;
        inNumber = digit >= 0;
    }
    return found;
}

TEST(FormatTest, DatesTellDayMonthAndYearInEveryLocale) {
    const auto locales =
        QLocale::matchingLocales(QLocale::AnyLanguage, QLocale::AnyScript, QLocale::AnyCountry);
    EXPECT_GT(locales.size(), 300);
    for (const QLocale& locale : locales) {
        QLocale::setDefault(locale);
        const QString name = Format::dateForName({2026, 11, 16});
        const std::string which = locale.name().toStdString() + ": " + name.toStdString();
        EXPECT_THAT(numbers(name), testing::IsSupersetOf({2026, 16})) << which;
        EXPECT_NE(name, Format::dateForName({2026, 5, 16})) << which;
        EXPECT_EQ(name, name.simplified()) << which;
        const QList<uint> signs = name.toUcs4();
        EXPECT_LE(signs.size(), 32) << which;
        EXPECT_TRUE(QChar::isLetterOrNumber(signs.front()) && name.back() != QLatin1Char('.')) << which;
        for (const uint sign : signs)
            EXPECT_TRUE(QChar::category(sign) > QChar::Other_NotAssigned ||
                        QChar::category(sign) < QChar::Other_Control)
                << which;
        EXPECT_FALSE(name.contains(QRegularExpression(QStringLiteral("[/\\\\:*?\"<>|]")))) << which;
        const QString date = Format::date(QDateTime(QDate(2026, 11, 16), QTime(8, 47)));
        EXPECT_THAT(numbers(date), testing::UnorderedElementsAre(2026, 11, 16, 8, 47))
            << which << " " << date.toStdString();
    }
    const std::pair<const char*, const char*> names[] = {
        {"ja_JP", "2026年11月16日"},
        {"zh_CN", "2026年11月16日"},
        {"ko_KR", "2026년 11월 16일"},
        {"hr_HR", "16. stu 2026"},
    };
    for (const auto& [locale, name] : names) {
        QLocale::setDefault(QLocale(QLatin1String(locale)));
        EXPECT_EQ(Format::dateForName({2026, 11, 16}).toStdString(), name);
    }
    QLocale::setDefault(QLocale::c());
}

TEST(LaunchArgumentsTest, TakesPathsAndRefusesUnknownOptions) {
    const auto read = [](std::vector<std::string> words) { return launchArguments(words, "/cards"); };
    const LaunchArguments both = read({"ferrowick", "--add", "A", "/B", "--export", "o.zip"});
    EXPECT_THAT(both.add, ElementsAre("/cards/A", "/B"));
    EXPECT_EQ(both.zip, "/cards/o.zip");
    EXPECT_FALSE(read({"ferrowick", "--export"}).zip);
    EXPECT_TRUE(read({"ferrowick", "--export", "/o.zip"}).add.empty());
    const LaunchArguments plain =
        read({"ferrowick", "A", "--export", "o.zip", "", "/B", "--add", "-C", "--add"});
    EXPECT_THAT(plain.add, ElementsAre("/cards/A", "/B", "/cards/-C", "/cards/--add"));
    EXPECT_FALSE(plain.unknown);
    EXPECT_EQ(read({"ferrowick", "A", "--exprot", "o.zip", "-x"}).unknown, "--exprot");
}

TEST(PathsTest, KeepEveryByte) {
    const std::filesystem::path odd = "/Karte %20#?/\xff clip é.mov";
    EXPECT_THAT(paths({fileURL(odd)}), ElementsAre(odd));
    EXPECT_EQ(fileURL(odd).toEncoded(), "file:///Karte%20%2520%23%3F/%FF%20clip%20%C3%A9.mov");
    EXPECT_THAT(paths({QUrl(QStringLiteral("https://example.org/a.mov")),
                       QUrl::fromLocalFile(QStringLiteral("/a/ä.mov"))}),
                ElementsAre("/a/ä.mov"));
}

} // namespace
