// SPDX-License-Identifier: GPL-3.0-or-later
// Sets and maps of file paths, compared as the bytes that they are: cheap enough for every clip of a shoot.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace model {

struct PathHash {
    std::size_t operator()(const std::filesystem::path& path) const noexcept {
        return std::hash<std::string>{}(path.native());
    }
};

struct PathEqual {
    bool operator()(const std::filesystem::path& a, const std::filesystem::path& b) const noexcept {
        return a.native() == b.native();
    }
};

using PathSet = std::unordered_set<std::filesystem::path, PathHash, PathEqual>;
template <typename Value>
using PathMap = std::unordered_map<std::filesystem::path, Value, PathHash, PathEqual>;

/// The path without ".", "..", doubled and trailing slashes. Asks no file system.
[[nodiscard]] std::filesystem::path standardized(const std::filesystem::path& path);

} // namespace model
