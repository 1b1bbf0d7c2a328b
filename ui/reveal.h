// SPDX-License-Identifier: GPL-3.0-or-later
// Shows files in the desktop's file manager.
#pragma once

#include <filesystem>
#include <vector>

class QObject;

/// Opens the file manager with these files and folders selected, all at once; where none offers that
/// (org.freedesktop.FileManager1), opens the folder of the first. Returns at once; `context` lives until the
/// answer or makes it not matter.
void reveal(const std::vector<std::filesystem::path>& paths, QObject* context);
