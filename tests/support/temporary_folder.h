// SPDX-License-Identifier: GPL-3.0-or-later
// A folder of a test's own, gone with everything in it when the test ends; what is in folders and files.
#pragma once

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <stdlib.h>

namespace test {

class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "ferrowick-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), "mkdtemp");
        }
        path_ = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    [[nodiscard]] std::filesystem::path operator/(const std::filesystem::path& name) const {
        return path_ / name;
    }
    /// Writes a file below the folder, making the folders on the way; returns its path.
    std::filesystem::path write(const std::filesystem::path& name, std::string_view content = {}) const {
        const std::filesystem::path file = path_ / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary)
            .write(content.data(), static_cast<std::streamsize>(content.size()));
        return file;
    }

  private:
    std::filesystem::path path_;
};

[[nodiscard]] inline std::string contents(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}
[[nodiscard]] inline std::vector<std::byte> bytesOf(const std::filesystem::path& file) {
    const std::string text = contents(file);
    const auto* const begin = reinterpret_cast<const std::byte*>(text.data());
    return {begin, begin + text.size()};
}

/// The names in a folder, hidden ones too, sorted.
[[nodiscard]] inline std::vector<std::string> names(const std::filesystem::path& folder) {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        found.push_back(entry.path().filename().string());
    std::ranges::sort(found);
    return found;
}

} // namespace test
