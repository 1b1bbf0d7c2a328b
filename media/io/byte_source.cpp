// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/io/byte_source.h"

#include <algorithm>
#include <utility>

#include "media/base/byte_reader.h"
#include "media/base/error.h"
#include "platform/file.h"

namespace media::io {

namespace {

class FileSource final : public ByteSource {
  public:
    explicit FileSource(const std::filesystem::path& path)
        : path_(path), file_(platform::ReadOnlyFile::open(path)) {}
    [[nodiscard]] std::uint64_t size() const noexcept override { return file_.size(); }
    void willRead(std::uint64_t offset, std::uint64_t length) const noexcept override {
        file_.willRead(offset, length);
    }

  protected:
    [[nodiscard]] bool isRewritten() const noexcept override { return file_.isRewritten(); }
    void read(std::uint64_t offset, std::span<std::byte> out) const override {
        if (file_.readAt(offset, out) < out.size())
            endsEarly();
    }

    [[nodiscard]] std::optional<std::vector<std::byte>> readCompanion(std::string_view ending,
                                                                      std::size_t largest) const override {
        try {
            const auto file =
                platform::ReadOnlyFile::open(std::filesystem::path(path_).replace_extension() += ending);
            if (file.size() > largest)
                return std::nullopt;
            std::vector<std::byte> bytes(static_cast<std::size_t>(file.size()));
            bytes.resize(file.readAt(0, bytes));
            return bytes;
        } catch (const std::system_error&) {
            return std::nullopt; // not there, most of the time
        }
    }

  private:
    std::filesystem::path path_;
    platform::ReadOnlyFile file_;
};

class MemorySource final : public ByteSource {
  public:
    explicit MemorySource(std::vector<std::byte> bytes) : bytes_(std::move(bytes)) {}
    [[nodiscard]] std::uint64_t size() const noexcept override { return bytes_.size(); }

  protected:
    void read(std::uint64_t offset, std::span<std::byte> out) const override {
        std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), out.size(), out.begin());
    }

  private:
    std::vector<std::byte> bytes_;
};

/// The system's refusal as the media layer's error.
[[noreturn]] void throwIO(const std::system_error& error) {
    throw Error(Error::Category::io, "The file can't be read: " + platform::reason(error.code()) + ".");
}

} // namespace

void ByteSource::readAt(std::uint64_t offset, std::span<std::byte> out) const {
    if (offset > size() || out.size() > size() - offset)
        endsEarly();
    try {
        read(offset, out);
    } catch (const std::system_error& error) {
        throwIO(error);
    }
    bytesRead_.fetch_add(out.size(), std::memory_order_relaxed);
}

void ByteSource::checkUnchanged() const {
    if (isRewritten())
        wasChanged();
}

void wasChanged() {
    throw Error(Error::Category::corrupt, "The file was changed while it was read.");
}

std::optional<std::vector<std::byte>> ByteSource::companion(std::string_view ending,
                                                            std::size_t largest) const {
    auto bytes = readCompanion(ending, largest);
    if (bytes)
        bytesRead_.fetch_add(bytes->size(), std::memory_order_relaxed);
    return bytes;
}

std::shared_ptr<const ByteSource> openFile(const std::filesystem::path& path) {
    try {
        return std::make_shared<FileSource>(path);
    } catch (const std::system_error& error) {
        throwIO(error);
    }
}

std::shared_ptr<const ByteSource> memorySource(std::vector<std::byte> bytes) {
    return std::make_shared<MemorySource>(std::move(bytes));
}

} // namespace media::io
