// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/archive.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <sys/stat.h>
#include <zip.h>

#include "platform/clean_up.h"
#include "platform/file.h"
#include "platform/text.h"
#include "platform/thread_name.h"

namespace fs = std::filesystem;

namespace platform {

namespace {

/// libzip moves data in pieces of 8 KiB; the system is asked in larger ones.
constexpr std::size_t bufferSize = 1 << 20;

/// What a source of ours has to say about a failure.
class SourceError {
  public:
    SourceError() { zip_error_init(&error_); }
    ~SourceError() { zip_error_fini(&error_); }
    SourceError(const SourceError&) = delete;
    SourceError& operator=(const SourceError&) = delete;

    zip_int64_t set(int zipCode, int systemCode = 0) {
        zip_error_set(&error_, zipCode, systemCode);
        return -1;
    }
    zip_int64_t tell(void* data, zip_uint64_t length) { return zip_error_to_data(&error_, data, length); }

  private:
    zip_error_t error_;
};

/// Runs a step of a source; a system error becomes the source's, as the libzip error `zipCode`.
template <typename Step>
zip_int64_t guarded(SourceError& error, int zipCode, Step step) {
    try {
        return step();
    } catch (const std::system_error& failure) {
        return error.set(zipCode, failure.code().value());
    } catch (const std::bad_alloc&) {
        return error.set(ZIP_ER_MEMORY, ENOMEM);
    }
}

zip_int64_t commands(std::initializer_list<zip_source_cmd> list) {
    zip_int64_t bitmap = 0;
    for (const zip_source_cmd command : list)
        bitmap |= ZIP_SOURCE_MAKE_COMMAND_BITMASK(command);
    return bitmap;
}

/// A file on its way into the archive.
class FileSource {
  public:
    FileSource(fs::path path, std::uint64_t size) : path_(std::move(path)), size_(size) {}

    static zip_int64_t callback(void* self, void* data, zip_uint64_t length, zip_source_cmd_t command) {
        return static_cast<FileSource*>(self)->answer(data, length, command);
    }

  private:
    zip_int64_t answer(void* data, zip_uint64_t length, zip_source_cmd_t command) {
        switch (command) {
        case ZIP_SOURCE_OPEN:
            return guarded(error_, ZIP_ER_OPEN, [&] {
                reading_.emplace(ReadOnlyFile::open(path_));
                return 0;
            });
        case ZIP_SOURCE_READ:
            return guarded(error_, ZIP_ER_READ, [&] {
                return read(static_cast<std::byte*>(data), static_cast<std::size_t>(length));
            });
        case ZIP_SOURCE_CLOSE:
            reading_.reset();
            return 0;
        case ZIP_SOURCE_STAT: {
            auto* status = static_cast<zip_stat_t*>(data);
            zip_stat_init(status);
            status->valid = ZIP_STAT_SIZE | ZIP_STAT_COMP_METHOD | ZIP_STAT_COMP_SIZE;
            status->size = status->comp_size = size_;
            status->comp_method = ZIP_CM_STORE;
            return sizeof *status;
        }
        case ZIP_SOURCE_ERROR:
            return error_.tell(data, length);
        case ZIP_SOURCE_FREE:
            delete this;
            return 0;
        case ZIP_SOURCE_SUPPORTS:
            return commands({ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE, ZIP_SOURCE_STAT,
                             ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE});
        default:
            return error_.set(ZIP_ER_OPNOTSUPP);
        }
    }

    zip_int64_t read(std::byte* out, std::size_t length) {
        Reading& from = *reading_;
        if (from.taken == from.buffer.size()) {
            // As much as the file still has: small files are not slowed down by large buffers.
            const std::uint64_t rest = from.position < size_ ? size_ - from.position : 0;
            from.buffer.resize(static_cast<std::size_t>(std::min<std::uint64_t>(rest, bufferSize)));
            from.buffer.resize(from.file.readAt(from.position, from.buffer));
            from.position += from.buffer.size();
            from.taken = 0;
        }
        const std::size_t count = std::min(length, from.buffer.size() - from.taken);
        std::copy_n(from.buffer.data() + from.taken, count, out);
        from.taken += count;
        return static_cast<zip_int64_t>(count);
    }

    /// What there is only while libzip copies the file.
    struct Reading {
        explicit Reading(ReadOnlyFile opened) : file(std::move(opened)) {}
        ReadOnlyFile file;
        std::uint64_t position = 0; ///< in the file, of the end of the buffer
        std::vector<std::byte> buffer{};
        std::size_t taken = 0; ///< bytes of the buffer already handed on
    };

    fs::path path_;
    std::uint64_t size_;
    std::optional<Reading> reading_;
    SourceError error_;
};

/// Writes pieces to a file in the background, one at a time, so that the disk and the check sums of what
/// comes next go on side by side. An error is thrown by the call after the piece that met it.
class BackgroundWriter {
  public:
    explicit BackgroundWriter(WritableFile& file)
        : file_(file), thread_([this](const auto& stop) { run(stop); }) {}

    /// Takes the piece when the one before is written, and gives back that one's memory.
    std::vector<std::byte> write(std::uint64_t offset, std::vector<std::byte> bytes) {
        std::unique_lock guard(lock_);
        waitForPiece(guard);
        offset_ = offset;
        bytes_.swap(bytes);
        pending_ = true;
        guard.unlock();
        changed_.notify_all();
        return bytes;
    }

    /// Returns when all is written.
    void finish() {
        std::unique_lock guard(lock_);
        waitForPiece(guard);
    }

  private:
    void waitForPiece(std::unique_lock<std::mutex>& guard) {
        changed_.wait(guard, [this] { return !pending_; });
        if (error_)
            std::rethrow_exception(std::exchange(error_, nullptr));
    }

    void run(const std::stop_token& stop) {
        nameThread("archive");
        std::unique_lock guard(lock_);
        while (changed_.wait(guard, stop, [this] { return pending_; })) {
            guard.unlock(); // nobody else touches the piece while it is pending
            try {
                file_.writeAt(offset_, bytes_);
                file_.startFlushing(offset_, bytes_.size());
            } catch (...) {
                error_ = std::current_exception();
            }
            guard.lock();
            pending_ = false;
            changed_.notify_all();
        }
    }

    WritableFile& file_;
    std::mutex lock_;
    std::condition_variable_any changed_;
    bool pending_ = false; ///< `offset_` and `bytes_` are the thread's
    std::uint64_t offset_ = 0;
    std::vector<std::byte> bytes_;
    std::exception_ptr error_;
    std::jthread thread_;
};

/// The archive as libzip writes it: one after the other, going back only to complete an entry's header.
class ArchiveTarget {
  public:
    explicit ArchiveTarget(WritableFile& file) : writer_(file) {}

    static zip_int64_t callback(void* self, void* data, zip_uint64_t length, zip_source_cmd_t command) {
        return static_cast<ArchiveTarget*>(self)->answer(data, length, command);
    }

  private:
    zip_int64_t answer(void* data, zip_uint64_t length, zip_source_cmd_t command) {
        switch (command) {
        case ZIP_SOURCE_STAT:
            return error_.set(ZIP_ER_READ, ENOENT); // there is no archive yet
        case ZIP_SOURCE_BEGIN_WRITE:
            return 0;
        case ZIP_SOURCE_WRITE:
            return guarded(error_, ZIP_ER_WRITE, [&] {
                write({static_cast<const std::byte*>(data), static_cast<std::size_t>(length)});
                return static_cast<zip_int64_t>(length);
            });
        case ZIP_SOURCE_SEEK_WRITE: {
            const zip_int64_t offset = zip_source_seek_compute_offset(position_, end_, data, length, nullptr);
            if (offset < 0)
                return error_.set(ZIP_ER_SEEK, EINVAL);
            position_ = static_cast<std::uint64_t>(offset);
            return 0;
        }
        case ZIP_SOURCE_TELL_WRITE:
            return static_cast<zip_int64_t>(position_);
        case ZIP_SOURCE_COMMIT_WRITE:
            return guarded(error_, ZIP_ER_WRITE, [&] {
                flush();
                writer_.finish();
                return 0;
            });
        case ZIP_SOURCE_ERROR:
            return error_.tell(data, length);
        case ZIP_SOURCE_SUPPORTS:
            return commands({ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_CLOSE, ZIP_SOURCE_STAT,
                             ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, ZIP_SOURCE_SEEK, ZIP_SOURCE_TELL,
                             ZIP_SOURCE_SUPPORTS, ZIP_SOURCE_BEGIN_WRITE, ZIP_SOURCE_COMMIT_WRITE,
                             ZIP_SOURCE_ROLLBACK_WRITE, ZIP_SOURCE_WRITE, ZIP_SOURCE_SEEK_WRITE,
                             ZIP_SOURCE_TELL_WRITE, ZIP_SOURCE_REMOVE});
        case ZIP_SOURCE_ROLLBACK_WRITE:
        case ZIP_SOURCE_FREE:
            return 0;
        default:
            return error_.set(ZIP_ER_OPNOTSUPP);
        }
    }

    /// Bytes that follow the buffered ones, or replace some of them, stay in memory for now.
    void write(std::span<const std::byte> bytes) {
        const std::uint64_t bufferEnd = bufferStart_ + buffer_.size();
        const bool follows = position_ == bufferEnd && buffer_.size() + bytes.size() <= bufferSize;
        const bool replaces = position_ >= bufferStart_ && position_ + bytes.size() <= bufferEnd;
        if (follows) {
            buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
        } else if (replaces) {
            std::ranges::copy(bytes, buffer_.begin() + static_cast<std::ptrdiff_t>(position_ - bufferStart_));
        } else {
            flush();
            bufferStart_ = position_;
            buffer_.assign(bytes.begin(), bytes.end());
        }
        position_ += bytes.size();
        end_ = std::max(end_, position_);
    }

    void flush() {
        const std::uint64_t start = std::exchange(bufferStart_, bufferStart_ + buffer_.size());
        buffer_ = writer_.write(start, std::move(buffer_));
        buffer_.clear();
    }

    BackgroundWriter writer_;
    std::uint64_t position_ = 0; ///< where libzip writes next
    std::uint64_t end_ = 0;
    std::uint64_t bufferStart_ = 0;
    std::vector<std::byte> buffer_;
    SourceError error_;
};

/// Throws an error of libzip's: the system's reason where there is one.
[[noreturn]] void throwError(zip_error_t* error) {
    const int code = zip_error_code_system(error);
    if (zip_error_system_type(error) == ZIP_ET_SYS && code != 0)
        throw std::system_error(code, std::generic_category(), "zip");
    if (zip_error_code_zip(error) == ZIP_ER_MEMORY)
        throw std::bad_alloc();
    throw ArchiveError(zip_error_strerror(error));
}

/// An archive that is being put together; nothing is written before `close`.
class Archive {
  public:
    Archive(ArchiveTarget& target) {
        zip_error_t error;
        zip_error_init(&error);
        zip_source_t* source = zip_source_function_create(ArchiveTarget::callback, &target, &error);
        if (source != nullptr)
            archive_ = zip_open_from_source(source, ZIP_CREATE, &error);
        if (archive_ == nullptr) {
            if (source != nullptr)
                zip_source_free(source);
            throwError(&error);
        }
        zip_error_fini(&error);
    }
    ~Archive() {
        if (archive_ != nullptr)
            zip_discard(archive_);
    }
    Archive(const Archive&) = delete;
    Archive& operator=(const Archive&) = delete;

    void addFolder(const std::string& name, const struct stat& status) {
        describe(zip_dir_add(archive_, name.c_str(), ZIP_FL_ENC_UTF_8), status);
    }

    void addFile(const std::string& name, const fs::path& path, const struct stat& status, bool stored) {
        auto file = std::make_unique<FileSource>(path, static_cast<std::uint64_t>(status.st_size));
        zip_source_t* source = zip_source_function(archive_, FileSource::callback, file.get());
        if (source == nullptr)
            throwError(zip_get_error(archive_));
        (void)file.release(); // the source's from here on
        const zip_int64_t index = zip_file_add(archive_, name.c_str(), source, ZIP_FL_ENC_UTF_8);
        if (index < 0)
            zip_source_free(source);
        describe(index, status);
        require(zip_set_file_compression(archive_, static_cast<zip_uint64_t>(index),
                                         stored ? ZIP_CM_STORE : ZIP_CM_DEFLATE, 0));
    }

    /// Writes the archive.
    void close() {
        require(zip_close(archive_));
        archive_ = nullptr;
    }

  private:
    void require(int result) {
        if (result != 0)
            throwError(zip_get_error(archive_));
    }

    /// Gives an entry its time, as local time with two-second steps (all that zip has by itself) and in
    /// seconds since 1970 (Info-ZIP's extended timestamp, 0x5455), which holds in every time zone; and the
    /// usual permissions, whatever the umask was.
    void describe(zip_int64_t added, const struct stat& status) {
        if (added < 0)
            throwError(zip_get_error(archive_));
        const auto index = static_cast<zip_uint64_t>(added);
        require(zip_file_set_mtime(archive_, index, status.st_mtime, 0));
        constexpr zip_uint16_t extendedTimestamp = 0x5455;
        constexpr zip_uint8_t modificationTime = 1;
        const auto seconds = static_cast<std::uint32_t>(status.st_mtime);
        const std::array<zip_uint8_t, 5> stamp{
            modificationTime, static_cast<zip_uint8_t>(seconds), static_cast<zip_uint8_t>(seconds >> 8),
            static_cast<zip_uint8_t>(seconds >> 16), static_cast<zip_uint8_t>(seconds >> 24)};
        require(zip_file_extra_field_set(archive_, index, extendedTimestamp, ZIP_EXTRA_FIELD_NEW,
                                         stamp.data(), static_cast<zip_uint16_t>(stamp.size()),
                                         ZIP_FL_LOCAL | ZIP_FL_CENTRAL));
        const zip_uint32_t mode = S_ISDIR(status.st_mode) ? S_IFDIR | 0755 : S_IFREG | 0644;
        require(zip_file_set_external_attributes(archive_, index, 0, ZIP_OPSYS_UNIX, mode << 16));
    }

    zip_t* archive_ = nullptr;
};

std::string entryName(const fs::path& path) {
    return zipName(validUTF8(path.filename().native()));
}

void addTree(Archive& archive, const fs::path& folder, const std::string& name,
             const std::function<bool(const fs::path&)>& isStored) {
    const auto statusOf = [](const fs::path& path) {
        struct stat status {};
        if (::lstat(path.c_str(), &status) != 0)
            throw std::system_error(errno, std::generic_category(), "stat");
        return status;
    };
    archive.addFolder(name + "/", statusOf(folder));
    std::vector<fs::path> paths;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder))
        paths.push_back(entry.path());
    std::ranges::sort(paths);
    for (const fs::path& path : paths) {
        const struct stat status = statusOf(path);
        const std::string entry = name + "/" + entryName(path);
        if (S_ISDIR(status.st_mode))
            addTree(archive, path, entry, isStored);
        else
            archive.addFile(entry, path, status, isStored(path));
    }
}

} // namespace

void archiveFolder(const fs::path& folder, const fs::path& root, const fs::path& zip,
                   const std::function<bool(const fs::path& file)>& isStored) {
    TemporaryFile temporary(zip.parent_path());
    temporary.file().takePermissions(zip);
    ArchiveTarget target(temporary.file());
    {
        Archive archive(target);
        addTree(archive, folder, entryName(root), isStored);
        archive.close();
    }
    temporary.file().close();
    replaceDurably(temporary.path(), zip);
}

} // namespace platform
