// SPDX-License-Identifier: GPL-3.0-or-later
// Shows files in the desktop's file manager.
#pragma once

#include <filesystem>
#include <vector>

class QWidget;

namespace ui {

/// Opens the file manager with these files and folders selected, all at once; where none offers that
/// (org.freedesktop.FileManager1), opens the folder of the first; where nothing opens that, says
/// so before `window`. Returns at once.
void reveal(const std::vector<std::filesystem::path>& paths, QWidget* window);

} // namespace ui
