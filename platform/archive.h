// SPDX-License-Identifier: GPL-3.0-or-later
// Zip archives of folders.
#pragma once

#include <filesystem>
#include <functional>
#include <stdexcept>

namespace platform {

/// The archive library's refusal, in its words.
struct ArchiveError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Makes the zip archive of a folder: every file and folder in it, under the name `root`, in the order of
/// their names, with UTF-8 names and modification times; zip64 where it takes that. Files for which
/// `isStored` says so go in as they are, the others deflated. The archive is written beside `zip`, flushed to
/// the disk and then renamed over it, so that `zip` is either what it was or the whole new archive, with the
/// permissions that it had; on failure nothing is left behind. Throws std::system_error with the system's
/// reason, or ArchiveError.
void archiveFolder(const std::filesystem::path& folder, const std::filesystem::path& root,
                   const std::filesystem::path& zip,
                   const std::function<bool(const std::filesystem::path& file)>& isStored);

} // namespace platform
