// SPDX-License-Identifier: GPL-3.0-or-later
// Numbers and dates as the window shows them, in the user's locale.
#pragma once

#include <QDateTime>
#include <QString>
#include <chrono>
#include <optional>

namespace ui {

namespace Format {

/// Seconds as 1:00 or 1:02:05; empty for what is no length.
[[nodiscard]] QString length(double seconds);
/// Frames per second with up to three decimals.
[[nodiscard]] QString rate(double framesPerSecond);
/// Day, month, four-digit year and time of day in numbers, in the order of the user's locale for dates.
[[nodiscard]] QString date(const QDateTime& date);
[[nodiscard]] QString date(std::chrono::system_clock::time_point date);
/// Day, abbreviated month and year, fit for a file's name anywhere: "Nov 16, 2026".
[[nodiscard]] QString dateForName(const QDate& date);
/// What an export still takes: "About 4 min left".
[[nodiscard]] QString timeLeft(std::optional<double> seconds);
/// The text, set apart from the direction of what is around it: a timecode reads from left to right
/// everywhere.
[[nodiscard]] QString isolated(const QString& text);
/// A tool tip that shows this text as it is, whatever it looks like.
[[nodiscard]] QString toolTip(const QString& text);

} // namespace Format

} // namespace ui
