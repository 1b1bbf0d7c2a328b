// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/archive.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

#include <minizip/zip.h>
#include <sys/stat.h>
#include <zlib.h>

#include "platform/background_file.h"
#include "platform/clean_up.h"
#include "platform/file.h"
#include "platform/folder.h"
#include "platform/text.h"

namespace fs = std::filesystem;

namespace platform {

namespace {

/// The most bytes that a field of 32 bits can state; it then refers to zip64's (APPNOTE 4.5.3).
constexpr std::uint64_t zip64Begins = 0xFFFF'FFFF;
/// The same for the number of entries, in 16 bits.
constexpr std::uint64_t zip64Entries = 0xFFFF;

std::string entryName(const fs::path& path) {
    return zipName(validUTF8(path.native()));
}

struct stat statusOf(const fs::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        throw std::system_error(errno, std::generic_category(), "stat");
    return status;
}

/// Local time in steps of two seconds from 1980 to 2107, date above time (APPNOTE 4.4.6): all that zip has by
/// itself.
std::uint32_t dosTime(std::time_t time) {
    std::tm local{};
    if (::localtime_r(&time, &local) == nullptr || local.tm_year < 80)
        return 1U << 21 | 1U << 16;
    const auto bits = [](int value, int shift) { return static_cast<std::uint32_t>(value) << shift; };
    return bits(std::min(local.tm_year - 80, 127), 25) | bits(local.tm_mon + 1, 21) |
           bits(local.tm_mday, 16) | bits(local.tm_hour, 11) | bits(local.tm_min, 5) |
           bits(local.tm_sec / 2, 0);
}

/// Info-ZIP's extended timestamp (0x5455): the modification time in seconds since 1970, which holds in every
/// time zone.
std::array<char, 9> extendedTimestamp(std::time_t time) {
    const auto seconds = static_cast<std::uint32_t>(time);
    const auto byte = [seconds](int shift) { return static_cast<char>(seconds >> shift & 0xFF); };
    constexpr char modificationTime = 1;
    return {'U', 'T', 5, 0, modificationTime, byte(0), byte(8), byte(16), byte(24)};
}

} // namespace

/// The archive as minizip writes it: one entry after the other, going back only to complete an entry's
/// header.
class Archive::Writer {
  public:
    Writer(const fs::path& zip, const fs::path& root)
        : zip_(zip), root_(root), temporary_(zip.parent_path()), file_(temporary_.file()) {
        temporary_.file().takePermissions(zip);
        zlib_filefunc64_def functions{
            .zopen64_file = [](voidpf self, const void*, int) { return self; },
            .zread_file = [](voidpf, voidpf, void*, uLong) -> uLong { return 0; },
            .zwrite_file = write,
            .ztell64_file = [](voidpf self, voidpf) -> ZPOS64_T { return of(self).file_.position(); },
            .zseek64_file = seek,
            .zclose_file = [](voidpf, voidpf) { return 0; },
            .zerror_file = [](voidpf, voidpf) { return 0; },
            .opaque = this,
        };
        archive_ = zipOpen2_64("", APPEND_STATUS_CREATE, nullptr, &functions);
        if (archive_ == nullptr)
            throw std::bad_alloc();
    }

    ~Writer() {
        if (archive_ == nullptr)
            return;
        isGivenUp_ = true; // what closing would write is for nobody
        (void)zipClose(archive_, nullptr);
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    void addFile(const fs::path& folder, const fs::path& name, bool isStored, const std::stop_token& stop) {
        addFoldersOf(folder, name);
        const ReadOnlyFile file = ReadOnlyFile::open(folder / name);
        open(entryName(root_ / name), statusOf(folder / name), file.size(), isStored);
        for (std::uint64_t position = 0; position < file.size(); position += buffer_.size()) {
            if (stop.stop_requested())
                throw std::system_error(std::make_error_code(std::errc::operation_canceled));
            constexpr std::uint64_t most = 1 << 20;
            // As much as there is: small files are not slowed down by a large buffer.
            buffer_.resize(static_cast<std::size_t>(std::min(file.size() - position, most)));
            if (file.readAt(position, buffer_) < buffer_.size()) // shorter than it has been
                throw std::system_error(EIO, std::generic_category(), "read");
            require(zipWriteInFileInZip(archive_, buffer_.data(), static_cast<unsigned>(buffer_.size())));
        }
        require(zipCloseFileInZip(archive_));
    }

    void addFolder(const fs::path& folder, const fs::path& name,
                   const std::function<bool(const fs::path& file)>& isStored) {
        addFolderEntry(folder, name);
        const FolderListing listing = listFolder(folder / name);
        if (listing.error)
            throw std::system_error(listing.error, "list");
        std::vector<fs::path> names;
        for (const FolderEntry& entry : listing.entries)
            names.push_back(name / entry.name);
        std::ranges::sort(names);
        for (const fs::path& entry : names) {
            if (fs::is_directory(fs::symlink_status(folder / entry)))
                addFolder(folder, entry, isStored);
            else
                addFile(folder, entry, isStored(folder / entry), {});
        }
    }

    void save() {
        const std::uint64_t directory = file_.end();
        require(zipClose(std::exchange(archive_, nullptr), nullptr));
        if (entries_ >= zip64Entries && directory < zip64Begins)
            writeZip64End(directory);
        file_.finish();
        temporary_.file().close();
        replaceDurably(temporary_.path(), zip_);
    }

  private:
    static Writer& of(voidpf self) { return *static_cast<Writer*>(self); }

    static uLong write(voidpf self, voidpf, const void* data, uLong size) {
        Writer& writer = of(self);
        if (writer.isGivenUp_)
            return 0;
        try {
            writer.file_.write({static_cast<const std::byte*>(data), static_cast<std::size_t>(size)});
            return size;
        } catch (...) {
            writer.error_ = std::current_exception();
            return 0;
        }
    }

    static long seek(voidpf self, voidpf, ZPOS64_T offset, int origin) {
        BackgroundFile& file = of(self).file_;
        file.seek(offset + (origin == SEEK_CUR ? file.position() : origin == SEEK_END ? file.end() : 0));
        return 0;
    }

    /// Throws what the library, or what it writes with, has met.
    void require(int result) {
        if (result == ZIP_OK)
            return;
        if (error_)
            std::rethrow_exception(error_);
        if (result == ZIP_INTERNALERROR)
            throw std::bad_alloc();
        throw ArchiveError("the zip library says " + std::to_string(result));
    }

    void addFoldersOf(const fs::path& folder, const fs::path& name) {
        fs::path path;
        addFolderEntry(folder, path);
        for (const fs::path& component : name.parent_path())
            addFolderEntry(folder, path /= component);
    }

    void addFolderEntry(const fs::path& folder, const fs::path& name) {
        if (!folders_.insert(name).second)
            return;
        open(entryName(name.empty() ? root_ : root_ / name) + "/", statusOf(folder / name), 0, true);
        require(zipCloseFileInZip(archive_));
    }

    /// Begins an entry, with the usual permissions, whatever the umask was.
    void open(const std::string& name, const struct stat& status, std::uint64_t size, bool isStored) {
        const bool isFolder = S_ISDIR(status.st_mode);
        constexpr uLong folderOfDOS = 0x10;
        const uLong mode = isFolder ? S_IFDIR | 0755 : S_IFREG | 0644;
        zip_fileinfo info{};
        info.dosDate = dosTime(status.st_mtime);
        info.external_fa = mode << 16 | (isFolder ? folderOfDOS : 0);
        const auto extra = extendedTimestamp(status.st_mtime);
        constexpr uLong madeOnUnix = 3 << 8 | 45; // by version 4.5 of the format, which knows zip64
        constexpr uLong namesAreUTF8 = 1 << 11;
        constexpr int memoryLevel = 8; // zlib's usual one
        require(zipOpenNewFileInZip4_64(
            archive_, name.c_str(), &info, extra.data(), extra.size(), extra.data(), extra.size(), nullptr,
            isStored ? 0 : Z_DEFLATED, isStored ? 0 : Z_DEFAULT_COMPRESSION, 0, -MAX_WBITS, memoryLevel,
            Z_DEFAULT_STRATEGY, nullptr, 0, madeOnUnix, namesAreUTF8, size >= zip64Begins ? 1 : 0));
        ++entries_;
    }

    /// Puts zip64's end record and locator before the end record of a directory that minizip 1.1 did not
    /// write them for: it counts bytes only (APPNOTE 4.3.14 to 4.3.16).
    void writeZip64End(std::uint64_t directory) {
        constexpr std::uint64_t endSize = 22;
        constexpr std::uint64_t zip64EndSize = 56;
        constexpr std::uint64_t version = 45;
        const std::uint64_t end = file_.end() - endSize;
        std::vector<std::byte> bytes;
        const auto put = [&](int size, std::initializer_list<std::uint64_t> values) {
            for (const std::uint64_t value : values)
                for (int byte = 0; byte < size; ++byte)
                    bytes.push_back(static_cast<std::byte>(value >> 8 * byte));
        };
        put(4, {0x0606'4B50, zip64EndSize - 12, 0, version << 16 | version, 0, 0});
        put(8, {entries_, entries_, end - directory, directory});
        put(4, {0x0706'4B50, 0});
        put(8, {end});
        put(4, {1, 0x0605'4B50, 0, zip64Entries << 16 | zip64Entries, end - directory, directory});
        put(2, {0});
        file_.seek(end);
        file_.write(bytes);
    }

    fs::path zip_;
    fs::path root_;
    TemporaryFile temporary_;
    BackgroundFile file_;
    zipFile archive_ = nullptr;
    std::uint64_t entries_ = 0;
    std::exception_ptr error_;
    bool isGivenUp_ = false;
    std::set<fs::path> folders_; ///< that have their entry
    std::vector<std::byte> buffer_;
};

Archive::Archive(const fs::path& zip, const fs::path& root) : writer_(std::make_unique<Writer>(zip, root)) {}
Archive::~Archive() = default;

void Archive::addFile(const fs::path& folder, const fs::path& name, bool isStored,
                      const std::stop_token& stop) {
    writer_->addFile(folder, name, isStored, stop);
}

void Archive::addFolder(const fs::path& folder, const std::function<bool(const fs::path& file)>& isStored) {
    writer_->addFolder(folder, {}, isStored);
}

void Archive::save() {
    writer_->save();
}

} // namespace platform
