// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/archive.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

#include <sys/stat.h>
#include <zlib.h>

#include "platform/clean_up.h"
#include "platform/file.h"
#include "platform/folder.h"
#include "platform/piece_writer.h"
#include "platform/text.h"
#include "platform/zip_records.h"

namespace fs = std::filesystem;

namespace platform {

namespace {

std::string entryName(const fs::path& path) {
    return zipName(validUTF8(path.native()));
}

std::time_t modificationTime(const fs::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        throw std::system_error(errno, std::generic_category(), "stat");
    return status.st_mtime;
}

const Bytef* zlibBytes(std::span<const std::byte> bytes) {
    return reinterpret_cast<const Bytef*>(bytes.data());
}

/// zlib's state while a file is deflated.
class Deflater {
  public:
    Deflater() {
        constexpr int noHeader = -MAX_WBITS;
        constexpr int usualMemory = 8;
        if (deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, noHeader, usualMemory,
                         Z_DEFAULT_STRATEGY) != Z_OK)
            throw std::bad_alloc();
    }
    ~Deflater() { (void)deflateEnd(&stream_); }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    void append(std::span<const std::byte> bytes, bool isLast, PieceWriter& output) {
        std::array<std::byte, 16384> deflated;
        stream_.next_in = const_cast<Bytef*>(zlibBytes(bytes)); // reads alone
        stream_.avail_in = static_cast<uInt>(bytes.size());
        do {
            stream_.next_out = reinterpret_cast<Bytef*>(deflated.data());
            stream_.avail_out = static_cast<uInt>(deflated.size());
            (void)deflate(&stream_, isLast ? Z_FINISH : Z_NO_FLUSH);
            output.append(std::span(deflated).first(deflated.size() - stream_.avail_out));
        } while (stream_.avail_out == 0);
    }

  private:
    z_stream stream_{};
};

} // namespace

/// The archive one entry after the other, going back only to complete an entry's header.
class Archive::Writer {
  public:
    Writer(const fs::path& zip, const fs::path& root)
        : zip_(zip), root_(root), temporary_(zip.parent_path()), output_(temporary_.file()) {
        temporary_.file().takePermissions(zip);
    }

    void addFile(const fs::path& path, const fs::path& name, bool isStored, const std::stop_token& stop) {
        const ReadOnlyFile file = ReadOnlyFile::open(path);
        addFoldersOf(name, file.modificationTime());
        ZipEntry entry = begin({.name = entryName(root_ / name),
                                .modified = file.modificationTime(),
                                .size = file.size(),
                                .isDeflated = !isStored});
        const std::uint64_t data = output_.position();
        entry.checkSum = isStored ? store(file, stop) : deflate(file, stop);
        entry.storedSize = output_.position() - data;
        end(entry);
    }

    void addFolder(const fs::path& folder, const fs::path& name,
                   const std::function<bool(const fs::path& file)>& isStored) {
        addFolderEntry(name, modificationTime(folder / name));
        const FolderListing listing = listFolder(folder / name);
        if (listing.error)
            throw std::system_error(listing.error, "list");
        std::vector<fs::path> names;
        for (const FolderEntry& entry : listing.entries)
            if (!isHiddenName(entry.name)) // what marks a folder of ours
                names.push_back(name / entry.name);
        std::ranges::sort(names);
        for (const fs::path& entry : names) {
            if (fs::is_directory(fs::symlink_status(folder / entry)))
                addFolder(folder, entry, isStored);
            else
                addFile(folder / entry, entry, isStored(folder / entry), {});
        }
    }

    void save() {
        const std::uint64_t start = output_.position();
        output_.append(directory_);
        output_.append(directoryEnd(entries_, start, directory_.size()));
        output_.finish();
        temporary_.file().close();
        replaceDurably(temporary_.path(), zip_);
    }

  private:
    void addFoldersOf(const fs::path& name, std::time_t modified) {
        fs::path path;
        addFolderEntry(path, modified);
        for (const fs::path& component : name.parent_path())
            addFolderEntry(path /= component, modified);
    }

    void addFolderEntry(const fs::path& name, std::time_t modified) {
        if (folders_.insert(name).second)
            end(begin({.name = entryName(name.empty() ? root_ : root_ / name) + "/", .modified = modified}));
    }

    /// Leaves room for the header.
    [[nodiscard]] ZipEntry begin(ZipEntry entry) {
        constexpr std::size_t longestName = 0xFFFF;
        if (entry.name.size() > longestName)
            throw std::system_error(std::make_error_code(std::errc::filename_too_long));
        entry.start = output_.position();
        output_.appendDraft(localHeader(entry));
        return entry;
    }

    void end(const ZipEntry& entry) {
        output_.completeDraft(localHeader(entry));
        const std::vector<std::byte> header = directoryHeader(entry);
        directory_.insert(directory_.end(), header.begin(), header.end());
        ++entries_;
    }

    /// Puts the file into the archive as it is, read to where it is written from. Returns the check sum.
    [[nodiscard]] std::uint32_t store(const ReadOnlyFile& file, const std::stop_token& stop) {
        constexpr std::uint64_t nearPiece = 1 << 18; // what a processor's cache keeps for the check sum
        std::uint32_t sum = 0;
        for (std::uint64_t position = 0; position < file.size();) {
            const std::span<std::byte> bytes = output_.grow(std::min(file.size() - position, nearPiece));
            read(file, position, bytes, stop);
            sum = checkSum(sum, bytes);
            position += bytes.size();
        }
        return sum;
    }

    [[nodiscard]] std::uint32_t deflate(const ReadOnlyFile& file, const std::stop_token& stop) {
        constexpr std::uint64_t most = 1 << 18;
        Deflater deflater;
        std::uint32_t sum = 0;
        std::vector<std::byte> bytes;
        std::uint64_t position = 0;
        do {
            bytes.resize(static_cast<std::size_t>(std::min(file.size() - position, most)));
            read(file, position, bytes, stop);
            sum = checkSum(sum, bytes);
            position += bytes.size();
            deflater.append(bytes, position == file.size(), output_);
        } while (position < file.size());
        return sum;
    }

    static void read(const ReadOnlyFile& file, std::uint64_t position, std::span<std::byte> bytes,
                     const std::stop_token& stop) {
        if (stop.stop_requested())
            throw std::system_error(std::make_error_code(std::errc::operation_canceled));
        if (file.readAt(position, bytes) < bytes.size()) // shorter than it has been
            throw std::system_error(EIO, std::generic_category(), "read");
    }

    static std::uint32_t checkSum(std::uint32_t sum, std::span<const std::byte> bytes) {
        return static_cast<std::uint32_t>(crc32_z(sum, zlibBytes(bytes), bytes.size()));
    }

    fs::path zip_;
    fs::path root_;
    TemporaryFile temporary_;
    PieceWriter output_;
    std::vector<std::byte> directory_; ///< of what is in the archive
    std::uint64_t entries_ = 0;        ///< in it
    std::set<fs::path> folders_;       ///< that have their entry
};

Archive::Archive(const fs::path& zip, const fs::path& root) : writer_(std::make_unique<Writer>(zip, root)) {}
Archive::~Archive() = default;

void Archive::addFile(const fs::path& file, const fs::path& name, bool isStored,
                      const std::stop_token& stop) {
    writer_->addFile(file, name, isStored, stop);
}

void Archive::addFolder(const fs::path& folder, const std::function<bool(const fs::path& file)>& isStored) {
    writer_->addFolder(folder, {}, isStored);
}

void Archive::save() {
    writer_->save();
}

} // namespace platform
