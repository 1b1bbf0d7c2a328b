// SPDX-License-Identifier: GPL-3.0-or-later
// Icons that scale: the desktop's own where its theme has one, else ours, drawn in the colours of the text.
#pragma once

#include <QColor>
#include <QIcon>
#include <QPalette>

namespace ui {

namespace Icons {

[[nodiscard]] QIcon addFolder();
[[nodiscard]] QIcon exportPack();
[[nodiscard]] QIcon stop();
[[nodiscard]] QIcon reveal();
[[nodiscard]] QIcon remove();
/// A triangle with an exclamation mark, in one colour.
[[nodiscard]] QIcon warning(const QColor& colour);
[[nodiscard]] QIcon application();

/// The icon of a folder line, and of a clip by its file name; asks no file system. Kept once made.
[[nodiscard]] QIcon folder();
[[nodiscard]] QIcon clip(const QString& fileName);

/// The colour of texts that tell of a problem, readable on this palette's background.
[[nodiscard]] QColor orange(const QPalette& palette);
/// The colour of texts that are less important.
[[nodiscard]] QColor secondary(const QPalette& palette);

} // namespace Icons

} // namespace ui
