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
using testing::ElementsAre;

TEST(FormatTest, LengthsTimesAndRates) {
    const std::pair<QString, const char*> cases[] = {
        {Format::length(0), "0:00"},
        {Format::length(59.4), "0:59"},
        {Format::length(59.5), "1:00"},
        {Format::length(3599.5), "1:00:00"},
        {Format::length(90'000), "25:00:00"},
        {Format::length(std::nan("")), ""},
        {Format::length(-std::numeric_limits<double>::infinity()), ""},
        {Format::timeLeft(std::nullopt), "Estimating time left…"},
        {Format::timeLeft(std::nan("")), "Estimating time left…"},
        {Format::timeLeft(-5), "About 1 s left"},
        {Format::timeLeft(59.99), "About 59 s left"},
        {Format::timeLeft(60), "About 1 min left"},
        {Format::timeLeft(61), "About 2 min left"},
        {Format::rate(25), "25"},
        {Format::rate(29.97), "29.97"},
        {Format::rate(120), "120"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(text.toStdString(), expected);
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
    const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
        {"en_US", "Nov 16, 2026", "23.976", "1.13 GB"},   {"de_DE", "16. Nov. 2026", "23,976", "1,13 GB"},
        {"ja_JP", "2026年11月16日", "23.976", "1.13 GB"}, {"ko_KR", "2026년 11월 16일", "23.976", "1.13 GB"},
        {"hr_HR", "16. stu 2026", "23,976", "1,13 GB"},   {"ar_EG", "١٦ نوفمبر ٢٠٢٦", "٢٣٫٩٧٦", "١٫١٣ GB"},
    };
    for (const auto& [locale, name, rate, size] : cases) {
        QLocale::setDefault(QLocale(QLatin1String(locale)));
        EXPECT_EQ(Format::dateForName({2026, 11, 16}).toStdString(), name);
        EXPECT_EQ(Format::rate(24'000.0 / 1001).toStdString(), rate);
        EXPECT_EQ(model::byteCount(1'130'000'000).toStdString(), size);
    }
    QLocale::setDefault(QLocale::c());
}

TEST(LaunchArgumentsTest, TakesPathsAndRefusesUnknownOptions) {
    const auto read = [](std::vector<std::string> words) { return launchArguments(words, "/cards"); };
    const LaunchArguments both = read({"ferrowick", "--add", "A", "/B", "--export", "o.zip"});
    EXPECT_THAT(both.add, ElementsAre("/cards/A", "/B"));
    EXPECT_EQ(both.zip, "/cards/o.zip");
    EXPECT_FALSE(read({"ferrowick", "--export"}).zip);
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
