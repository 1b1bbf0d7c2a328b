// SPDX-License-Identifier: GPL-3.0-or-later
// Files as the operating system gives them: positioned reads, appended writes, atomic replacement. All
// failures are std::system_error with the system's own code.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <system_error>

namespace platform {

/// The system's reason as words inside a sentence: "no space left on device".
[[nodiscard]] std::string reason(const std::error_code& code);

/// A regular file open for reading only, close-on-exec, advised for random access. Reads may run in parallel.
class ReadOnlyFile {
  public:
    [[nodiscard]] static ReadOnlyFile open(const std::filesystem::path& path);
    ~ReadOnlyFile();
    ReadOnlyFile(ReadOnlyFile&& other) noexcept;
    ReadOnlyFile& operator=(ReadOnlyFile&&) = delete;

    [[nodiscard]] std::uint64_t size() const noexcept { return size_; }
    /// Seconds since 1970.
    [[nodiscard]] std::time_t modificationTime() const noexcept { return modified_.tv_sec; }
    /// Whether somebody has written to it since it was opened, beyond making it longer.
    [[nodiscard]] bool isRewritten() const noexcept;
    /// Bytes read: fewer than asked for only at the end of the file.
    std::size_t readAt(std::uint64_t offset, std::span<std::byte> out) const;
    /// Lets the disk begin with these bytes, which will be read soon; waits for nothing.
    void willRead(std::uint64_t offset, std::uint64_t length) const noexcept;

  private:
    ReadOnlyFile(int descriptor, std::uint64_t size, std::timespec modified)
        : descriptor_(descriptor), size_(size), modified_(modified) {}
    int descriptor_;
    std::uint64_t size_;
    std::timespec modified_;
};

/// A file open for writing, close-on-exec.
class WritableFile {
  public:
    /// A new file, or an existing one emptied.
    [[nodiscard]] static WritableFile create(const std::filesystem::path& path);
    /// A new file where nothing is yet.
    [[nodiscard]] static WritableFile createNew(const std::filesystem::path& path);
    /// A file without a name in `folder`, gone when closed; it can be read back.
    [[nodiscard]] static WritableFile temporary(const std::filesystem::path& folder);
    ~WritableFile();
    WritableFile(WritableFile&& other) noexcept;
    WritableFile& operator=(WritableFile&&) = delete;

    void writeAt(std::uint64_t offset, std::span<const std::byte> bytes);
    /// The same for much that nobody will read soon: past the system's cache, which costs nothing but the
    /// disk's time, if offset, size and memory are multiples of `pieceAlignment` and the file system is known
    /// to do that well; else through the cache, and the disk is made to begin at once, so that there is
    /// little left to wait for at the end.
    void writePiece(std::uint64_t offset, std::span<const std::byte> bytes);
    static constexpr std::size_t pieceAlignment = 4096;
    /// Bytes read: fewer than asked for only at the end of the file.
    std::size_t readAt(std::uint64_t offset, std::span<std::byte> out) const;
    /// Gives the file the group and permissions of the one at `path`, access list included, as far as the
    /// file system has them and this user may; without one there it keeps its own.
    void takePermissions(const std::filesystem::path& path) const noexcept;
    /// Closes the file; reports what the system held back until now. The destructor closes without reporting.
    void close();

  private:
    explicit WritableFile(int descriptor) : descriptor_(descriptor) {}
    std::size_t writePastCache(std::uint64_t offset, std::span<const std::byte> bytes) const noexcept;
    int descriptor_;
};

/// Bytes of the longest name that a file in this folder can have, and one on other usual file systems too
/// (255).
[[nodiscard]] std::size_t longestName(const std::filesystem::path& folder) noexcept;

/// When the file came to be: the older of its birth and its last modification, for a copied card keeps only
/// the latter. Empty when the file system can't tell.
[[nodiscard]] std::optional<std::chrono::system_clock::time_point>
creationDate(const std::filesystem::path& path);

/// Flushes a finished file and then its folder's entry to the disk and renames it over `destination`: the
/// destination is either what it was or the whole new file.
void replaceDurably(const std::filesystem::path& finished, const std::filesystem::path& destination);

} // namespace platform
