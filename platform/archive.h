// SPDX-License-Identifier: GPL-3.0-or-later
// Zip archives that grow entry by entry.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <stop_token>

namespace platform {

/// A zip archive on its way: written to a temporary file beside its place, in the background, with UTF-8
/// names, modification times, and zip64 where it takes that (PKWARE APPNOTE 6.3). Names are paths with "/".
/// All entries stand below one folder. Throws std::system_error with the system's reason; what has thrown
/// takes no more.
class Archive {
  public:
    /// `zip` is the archive's place, `root` the name that its entries stand under.
    Archive(const std::filesystem::path& zip, const std::filesystem::path& root);
    /// Nothing is left of an archive that was not saved.
    ~Archive();
    Archive(const Archive&) = delete;
    Archive& operator=(const Archive&) = delete;

    /// Adds a file as `name`, stored as it is or deflated, and entries for the folders of that name, as old
    /// as the file. Throws std::errc::operation_canceled when it is stopped.
    void addFile(const std::filesystem::path& file, const std::filesystem::path& name, bool isStored,
                 const std::stop_token& stop = {});
    /// Adds all that is in a folder, in the order of the names; files for which `isStored` says so go in as
    /// they are.
    void addFolder(const std::filesystem::path& folder,
                   const std::function<bool(const std::filesystem::path& file)>& isStored);
    /// Completes the archive, flushes it to the disk and renames it over its place, which is then either what
    /// it was or the whole new archive, with the permissions that it had.
    void save();

  private:
    class Writer;
    std::unique_ptr<Writer> writer_;
};

} // namespace platform
