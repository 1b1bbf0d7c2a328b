// SPDX-License-Identifier: GPL-3.0-or-later
// Notes of what the program makes beside people's files, so that what a killed process left can be told from
// what is theirs, or a living process's.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace platform {

/// A hidden name that nothing else has: ".ferrowick-" and twelve letters and digits.
[[nodiscard]] std::string hiddenName();
[[nodiscard]] bool isHiddenName(std::string_view name);

/// A hidden file in a folder, locked (flock) as long as its process lives, that names what the process makes
/// in that folder, each thing before it is made. It helps those who come after a crash and nobody else, so
/// nothing here fails: where no file can be made or locked, nothing is noted.
class Journal {
  public:
    explicit Journal(const std::filesystem::path& folder);
    /// Removes the journal itself.
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    /// A file with a hidden name.
    void noteFile(std::string_view name) noexcept { note("file", name); }
    /// A folder with a hidden name; what follows is about it.
    void noteFolder(std::string_view name) noexcept { note("folder", name); }
    /// It has been made: the one at `path` now, whatever it is called later. One that holds a file of its own
    /// hidden name is known by that, too.
    void noteIdentity(const std::filesystem::path& path) noexcept;
    /// The name that it gets.
    void noteName(std::string_view name) noexcept { note("name", name); }
    /// A file in it, by the path from there; noted with the folders on the way.
    void noteContent(std::string_view path) noexcept { note("content", path); }

    void remove() noexcept;

  private:
    void note(std::string_view kind, std::string_view text) noexcept;

    std::filesystem::path path_;
    int descriptor_ = -1;
};

/// Removes what processes of this user and machine that are dead noted in `folder`. What a person put into a
/// folder of theirs stays, and so does that folder. Never fails: what can't be removed is left.
void removeLeftovers(const std::filesystem::path& folder) noexcept;

} // namespace platform
