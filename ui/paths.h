// SPDX-License-Identifier: GPL-3.0-or-later
// Between the toolkit's addresses of files and paths, byte for byte: a file's name need not be valid text.
#pragma once

#include <QList>
#include <QUrl>
#include <filesystem>
#include <vector>

namespace ui {

/// The files among these addresses, in order.
[[nodiscard]] std::vector<std::filesystem::path> paths(const QList<QUrl>& urls);
/// A path as the toolkit writes it.
[[nodiscard]] std::filesystem::path localPath(const QString& path);
/// The address of an absolute path, as the desktop's other programs read it.
[[nodiscard]] QUrl fileURL(const std::filesystem::path& path);

} // namespace ui
