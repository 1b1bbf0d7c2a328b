// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace platform {

namespace {

[[noreturn]] void throwLast(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// How many bytes could be written; with fewer than all, errno says why.
std::size_t writeFully(int descriptor, std::uint64_t offset, std::span<const std::byte> bytes) noexcept {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count =
            ::pwrite(descriptor, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count == 0)
            errno = EIO; // no reason given, and no progress
        if (count <= 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

/// Positioned read of the whole span; fewer bytes only at the end of the file.
std::size_t readFully(int descriptor, std::uint64_t offset, std::span<std::byte> out) {
    std::size_t done = 0;
    while (done < out.size()) {
        const ssize_t count =
            ::pread(descriptor, out.data() + done, out.size() - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throwLast("read");
        if (count == 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

int openForWriting(const std::filesystem::path& path, int ifThere) {
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | ifThere | O_CLOEXEC | O_NOCTTY, 0666);
    if (descriptor < 0)
        throwLast("create");
    return descriptor;
}

/// Flushes the file or folder at `path` to the disk.
void flush(const std::filesystem::path& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        throwLast("open");
    const int result = ::fsync(descriptor);
    const int error = errno;
    ::close(descriptor);
    // Some file systems (network ones among them) cannot flush a folder; there is nothing more to be had from
    // them.
    if (result != 0 && error != EINVAL && error != ENOTSUP)
        throw std::system_error(error, std::generic_category(), "fsync");
}

} // namespace

std::string reason(const std::error_code& code) {
    std::string text = code.message();
    if (text.size() > 1 && text[0] >= 'A' && text[0] <= 'Z' && !(text[1] >= 'A' && text[1] <= 'Z'))
        text[0] = static_cast<char>(text[0] - 'A' + 'a');
    return text;
}

ReadOnlyFile ReadOnlyFile::open(const std::filesystem::path& path) {
    // O_NONBLOCK keeps a named pipe from holding the program up; it means nothing for regular files.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (descriptor < 0)
        throwLast("open");
    struct stat status {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        const int error = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        ::close(descriptor);
        throw std::system_error(error, std::generic_category(), "open");
    }
    (void)::posix_fadvise(descriptor, 0, 0, POSIX_FADV_RANDOM);
    return {descriptor, static_cast<std::uint64_t>(status.st_size), status.st_mtim};
}

ReadOnlyFile::ReadOnlyFile(ReadOnlyFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), size_(other.size_), modified_(other.modified_) {}

ReadOnlyFile::~ReadOnlyFile() {
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

std::size_t ReadOnlyFile::readAt(std::uint64_t offset, std::span<std::byte> out) const {
    return readFully(descriptor_, offset, out);
}

bool ReadOnlyFile::isRewritten() const noexcept {
    struct stat status {};
    return ::fstat(descriptor_, &status) == 0 && static_cast<std::uint64_t>(status.st_size) <= size_ &&
           (status.st_mtim.tv_sec != modified_.tv_sec || status.st_mtim.tv_nsec != modified_.tv_nsec);
}

void ReadOnlyFile::willRead(std::uint64_t offset, std::uint64_t length) const noexcept {
    (void)::posix_fadvise(descriptor_, static_cast<off_t>(offset), static_cast<off_t>(length),
                          POSIX_FADV_WILLNEED);
}

WritableFile WritableFile::create(const std::filesystem::path& path) {
    return WritableFile(openForWriting(path, O_TRUNC));
}

WritableFile WritableFile::createNew(const std::filesystem::path& path) {
    return WritableFile(openForWriting(path, O_EXCL));
}

WritableFile WritableFile::temporary(const std::filesystem::path& folder) {
    int descriptor = ::open(folder.c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        // File systems without unnamed files get a named one, unlinked at once.
        std::string name = (folder / ".ferrowick-XXXXXX").string();
        descriptor = ::mkostemp(name.data(), O_CLOEXEC);
        if (descriptor < 0)
            throwLast("create");
        (void)::unlink(name.c_str());
    }
    return WritableFile(descriptor);
}

WritableFile::WritableFile(WritableFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

WritableFile::~WritableFile() {
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

void WritableFile::writeAt(std::uint64_t offset, std::span<const std::byte> bytes) {
    if (writeFully(descriptor_, offset, bytes) < bytes.size())
        throwLast("write");
}

std::size_t WritableFile::readAt(std::uint64_t offset, std::span<std::byte> out) const {
    return readFully(descriptor_, offset, out);
}

void WritableFile::takePermissions(const std::filesystem::path& path) const noexcept {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return;
    const uid_t owner = ::geteuid() == 0 ? status.st_uid : static_cast<uid_t>(-1);
    if (::fchown(descriptor_, owner, status.st_gid) != 0) {
        // What the old file's group may do is not for another one.
        (void)::fchmod(descriptor_, status.st_mode & (S_IRWXU | S_IRWXO));
        return;
    }
    (void)::fchmod(descriptor_, status.st_mode & ACCESSPERMS);
    constexpr const char* accessList = "system.posix_acl_access";
    std::array<char, 4096> entries{};
    const ssize_t size = ::getxattr(path.c_str(), accessList, entries.data(), entries.size());
    if (size > 0)
        (void)::fsetxattr(descriptor_, accessList, entries.data(), static_cast<std::size_t>(size), 0);
}

void WritableFile::writePiece(std::uint64_t offset, std::span<const std::byte> bytes) {
    const std::size_t done = writePastCache(offset, bytes);
    if (done == bytes.size())
        return;
    writeAt(offset + done, bytes.subspan(done)); // finds out what is wrong, if anything
    (void)::sync_file_range(descriptor_, static_cast<off64_t>(offset), static_cast<off64_t>(bytes.size()),
                            SYNC_FILE_RANGE_WRITE);
}

/// How many bytes could be written.
std::size_t WritableFile::writePastCache(std::uint64_t offset,
                                         std::span<const std::byte> bytes) const noexcept {
    // Others may take it and do worse: a network's server flushes every single piece.
    constexpr auto ext4 = 0xEF53;
    constexpr auto xfs = 0x58465342;
    struct statfs system {};
    const std::uint64_t places = offset | bytes.size() | reinterpret_cast<std::uintptr_t>(bytes.data());
    if (places % pieceAlignment != 0 || ::fstatfs(descriptor_, &system) != 0 ||
        (system.f_type != ext4 && system.f_type != xfs) || ::fcntl(descriptor_, F_SETFL, O_DIRECT) != 0)
        return 0;
    const std::size_t done = writeFully(descriptor_, offset, bytes);
    (void)::fcntl(descriptor_, F_SETFL, 0);
    return done;
}

void WritableFile::close() {
    const int descriptor = std::exchange(descriptor_, -1);
    if (descriptor >= 0 && ::close(descriptor) != 0 && errno != EINTR)
        throwLast("close");
}

std::size_t longestName(const std::filesystem::path& folder) noexcept {
    constexpr long usual = 255;
    constexpr long shortest = 14; // POSIX guarantees as much
    const long here = ::pathconf(folder.empty() ? "." : folder.c_str(), _PC_NAME_MAX);
    return static_cast<std::size_t>(here < 0 ? usual : std::clamp(here, shortest, usual));
}

std::optional<std::chrono::system_clock::time_point> creationDate(const std::filesystem::path& path) {
    struct statx status {};
    if (::statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME | STATX_MTIME, &status) != 0)
        return std::nullopt;
    const auto date = [](const struct statx_timestamp& stamp) {
        return std::chrono::system_clock::time_point(std::chrono::seconds(stamp.tv_sec));
    };
    const auto modified = date(status.stx_mtime);
    return (status.stx_mask & STATX_BTIME) != 0 ? std::min(modified, date(status.stx_btime)) : modified;
}

void replaceDurably(const std::filesystem::path& finished, const std::filesystem::path& destination) {
    flush(finished);
    std::filesystem::rename(finished, destination);
    flush(destination.parent_path().empty() ? std::filesystem::path(".") : destination.parent_path());
}

} // namespace platform
