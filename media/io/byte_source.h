// SPDX-License-Identifier: GPL-3.0-or-later
// Where the bytes of a clip come from: one shared, read-only, counted source a file.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace media::io {

/// Random access to the bytes of a clip, from any thread. It counts what is read, so that a test or a bench
/// can assert that picture data never is.
class ByteSource {
  public:
    virtual ~ByteSource() = default;
    ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;

    /// Size in bytes when the source was opened.
    [[nodiscard]] virtual std::uint64_t size() const noexcept = 0;

    /// Fills the whole of `out` from `offset`. Throws Error: endOfData when the source ends before, io with
    /// the system's reason when it can't be read.
    void readAt(std::uint64_t offset, std::span<std::byte> out) const;

    /// The whole of a file beside this one, named like it with `ending` in place of the extension ("M01.XML"
    /// makes C0001M01.XML of C0001.MP4). None where there is none, it can't be read or has more than
    /// `largest` bytes.
    [[nodiscard]] std::optional<std::vector<std::byte>> companion(std::string_view ending,
                                                                  std::size_t largest) const;

    /// Throws Error (corrupt) when somebody has written to the source since it was opened: nobody knows which
    /// bytes were read then. A recording that goes on, and grows alone, is none of that.
    void checkUnchanged() const;

    /// Lets the disk begin with these bytes, which will be read soon.
    virtual void willRead(std::uint64_t offset, std::uint64_t length) const noexcept {
        static_cast<void>(offset);
        static_cast<void>(length);
    }

    /// Bytes delivered so far over all calls and threads, those of companions among them.
    [[nodiscard]] std::uint64_t bytesRead() const noexcept {
        return bytesRead_.load(std::memory_order_relaxed);
    }

  protected:
    [[nodiscard]] virtual bool isRewritten() const noexcept { return false; }
    virtual void read(std::uint64_t offset, std::span<std::byte> out) const = 0;
    /// `companion`, of which bytes in memory have none.
    [[nodiscard]] virtual std::optional<std::vector<std::byte>> readCompanion(std::string_view ending,
                                                                              std::size_t largest) const {
        static_cast<void>(ending);
        static_cast<void>(largest);
        return std::nullopt;
    }

  private:
    mutable std::atomic<std::uint64_t> bytesRead_{0};
};

/// A file, opened read-only and close-on-exec and advised for random access. Throws Error (io) when it can't
/// be opened or is not a regular file.
[[nodiscard]] std::shared_ptr<const ByteSource> openFile(const std::filesystem::path& path);

/// Throws Error (corrupt).
[[noreturn]] void wasChanged();

/// Bytes in memory, for fuzzing, for tests and for compressed movie headers.
[[nodiscard]] std::shared_ptr<const ByteSource> memorySource(std::vector<std::byte> bytes);

} // namespace media::io
