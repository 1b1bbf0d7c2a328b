// SPDX-License-Identifier: GPL-3.0-or-later
// The columns of the clip table: their titles, and how wide they can be.
#pragma once

#include <QFont>
#include <QString>
#include <QStringList>
#include <array>

namespace ui {

enum class ClipColumn { name, date, length, size, timecode, fps, resolution, status };

inline constexpr int clipColumnCount = 8;

[[nodiscard]] QString title(ClipColumn column);

/// Widths in pixels of the screen's scale.
struct ColumnWidth {
    int least = 0;
    int ideal = 0;
    int most = 0; ///< QWIDGETSIZE_MAX where there is no limit
};

/// Widths measured with this font, once; `margin` is what a cell needs beside its text. A column of fixed
/// content never gets wider than its widest expected text.
[[nodiscard]] std::array<ColumnWidth, clipColumnCount> columnWidths(const QFont& font, int margin);

/// The width of the widest of these texts in whole pixels; 0 for none.
[[nodiscard]] int fit(const QStringList& texts, const QFont& font);

/// The font with digits of equal width, where the toolkit can ask for them.
[[nodiscard]] QFont withEqualDigits(const QFont& font);

} // namespace ui
