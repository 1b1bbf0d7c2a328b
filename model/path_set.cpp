// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/path_set.h"

namespace model {

std::filesystem::path standardized(const std::filesystem::path& path) {
    // Most paths are clean already, and taking one apart costs more than looking.
    const std::string& text = path.native();
    const bool clean = text.find("//") == std::string::npos && text.find("/.") == std::string::npos &&
                       !text.starts_with('.') && !text.ends_with('/');
    if (clean)
        return path;
    std::filesystem::path normal = path.lexically_normal();
    return normal.has_filename() || !normal.has_relative_path() ? normal : normal.parent_path();
}

} // namespace model
