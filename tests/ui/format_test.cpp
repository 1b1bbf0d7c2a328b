// SPDX-License-Identifier: GPL-3.0-or-later
// Texts for people, and the ways between addresses, arguments and paths.
#include <QLocale>
#include <cmath>
#include <limits>

#include <gmock/gmock.h>

#include "ui/format.h"
#include "ui/launch_arguments.h"
#include "ui/paths.h"

namespace {

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
    for (const char* other :
         {"C", "en_GB", "fr_FR", "ja_JP", "es_ES", "ar_EG", "fa_IR", "sv_SE", "pt_BR", "fi_FI"}) {
        in(other);
        const QString date = Format::dateForName({2026, 11, 6});
        EXPECT_FALSE(date.isEmpty() || date.contains(QLatin1Char('/'))) << other;
        EXPECT_LE(date.size(), 20) << other << " " << date.toStdString();
        EXPECT_EQ(date, date.trimmed()) << other;
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
