// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/journal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <random>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/folder.h"

namespace fs = std::filesystem;

namespace platform {

namespace {

constexpr std::string_view prefix = ".ferrowick-";
constexpr std::string_view suffix = ".journal";
constexpr std::string_view digits = "0123456789abcdefghijklmnopqrstuv";
constexpr std::size_t digitCount = 12;

bool isJournalName(std::string_view name) {
    return name.ends_with(suffix) && isHiddenName(name.substr(0, name.size() - suffix.size()));
}

/// A descriptor that is closed in the end.
class Descriptor {
  public:
    explicit Descriptor(int value) : value_(value) {}
    ~Descriptor() {
        if (value_ >= 0)
            ::close(value_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] int get() const noexcept { return value_; }
    explicit operator bool() const noexcept { return value_ >= 0; }

  private:
    int value_;
};

std::string firstLine(const char* file) {
    std::string line;
    std::getline(std::ifstream(file), line);
    return line;
}

/// Where a process runs. Locks on a network file system may hold on one machine only; so of another machine's
/// processes nobody here can tell whether they live.
struct Host {
    std::string boot; ///< of the running kernel: the same in all its containers
    std::string name; ///< the machine's, over reboots; empty when it has no identity

    static Host own() {
        std::array<char, 256> name{};
        const std::string machine = firstLine("/etc/machine-id");
        const bool isNamed = ::gethostname(name.data(), name.size() - 1) == 0 && !machine.empty();
        return {firstLine("/proc/sys/kernel/random/boot_id"), isNamed ? machine + " " + name.data() : ""};
    }
    [[nodiscard]] bool isSameMachine(const Host& other) const {
        return (!boot.empty() && boot == other.boot) || (!name.empty() && name == other.name);
    }
};

/// What tells a folder from a later one of the same name, as text: its number in the file system and, where
/// that is kept, its time of birth. FAT and exFAT give out new numbers whenever they are mounted.
std::string identity(int folder, const char* name) {
    struct statx status {};
    if (::statx(folder, name, AT_SYMLINK_NOFOLLOW, STATX_INO | STATX_BTIME, &status) != 0)
        return {};
    std::string text = std::to_string(status.stx_ino);
    if ((status.stx_mask & STATX_BTIME) != 0)
        text +=
            " " + std::to_string(status.stx_btime.tv_sec) + "." + std::to_string(status.stx_btime.tv_nsec);
    return text;
}

/// A folder that a dead process noted.
struct NotedFolder {
    std::string hiddenName{}, name{}, identity{};
    std::set<std::string, std::less<>> contents{};

    /// Whether a folder below, by its path with a slash at the end, is one on the way to a noted file.
    [[nodiscard]] bool holds(const std::string& path) const {
        const auto next = contents.lower_bound(path);
        return next != contents.end() && next->starts_with(path);
    }
};

struct Notes {
    std::vector<std::string> files;
    std::vector<NotedFolder> folders;
};

/// Whether a name in a journal is one in its folder and not a way out of there.
bool isPlainName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == name.npos;
}

/// Removes the noted contents of one folder, then those folders that are empty by that. Follows no links.
class Remover {
  public:
    explicit Remover(const NotedFolder& noted) : noted_(noted) {}

    /// Whether everything that could be removed is.
    [[nodiscard]] bool isDone() const noexcept { return isDone_; }

    void remove(int parent, const std::string& name, const std::string& path = {}) {
        std::vector<std::string> names;
        const int descriptor =
            ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        DIR* const folder = descriptor < 0 ? nullptr : ::fdopendir(descriptor);
        if (folder == nullptr) {
            if (descriptor >= 0)
                ::close(descriptor);
            return;
        }
        while (const dirent* entry = ::readdir(folder))
            if (isPlainName(entry->d_name))
                names.emplace_back(entry->d_name);
        for (const std::string& entry : names) {
            struct stat status {};
            if (::fstatat(descriptor, entry.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
                continue;
            const std::string below = path + entry;
            if (S_ISDIR(status.st_mode) && noted_.holds(below + "/"))
                remove(descriptor, entry, below + "/");
            else if (S_ISREG(status.st_mode) &&
                     (noted_.contents.contains(below) || entry.starts_with(prefix)))
                isDone_ = ::unlinkat(descriptor, entry.c_str(), 0) == 0 && isDone_;
        }
        ::closedir(folder);
        // What is not empty holds something of a person's.
        if (::unlinkat(parent, name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOTEMPTY && errno != EEXIST)
            isDone_ = false;
    }

  private:
    const NotedFolder& noted_;
    bool isDone_ = true;
};

constexpr std::string_view magic = "Ferrowick journal 1";

/// The journal's texts that end: the last one may have been cut off.
std::vector<std::string> readTexts(int journal) {
    std::string bytes;
    std::array<char, 65536> piece;
    for (ssize_t count; (count = ::read(journal, piece.data(), piece.size())) > 0;)
        bytes.append(piece.data(), static_cast<std::size_t>(count));
    std::vector<std::string> texts;
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = bytes.find('\0', begin)) != bytes.npos; begin = end + 1)
        texts.push_back(bytes.substr(begin, end - begin));
    return texts;
}

/// What a journal of this machine notes; nothing when it is none, or another machine's.
bool parse(const std::vector<std::string>& texts, Notes& notes) {
    Host host;
    for (const std::string& text : texts) {
        const std::size_t space = text.find(' ');
        const std::string kind = text.substr(0, space);
        std::string value = space == text.npos ? std::string() : text.substr(space + 1);
        NotedFolder* const folder = notes.folders.empty() ? nullptr : &notes.folders.back();
        if (kind == "boot")
            host.boot = std::move(value);
        else if (kind == "machine")
            host.name = std::move(value);
        else if (kind == "file")
            notes.files.push_back(std::move(value));
        else if (kind == "folder")
            notes.folders.push_back({.hiddenName = std::move(value)});
        else if (kind == "identity" && folder != nullptr)
            folder->identity = std::move(value);
        else if (kind == "name" && folder != nullptr)
            folder->name = std::move(value);
        else if (kind == "content" && folder != nullptr)
            folder->contents.insert(std::move(value));
    }
    return !texts.empty() && texts.front() == magic && host.isSameMachine(Host::own());
}

/// Whether it is the noted folder, by what it is or by the file in it that nobody else's has.
bool isNoted(int parent, const NotedFolder& noted) {
    if (!noted.identity.empty() && identity(parent, noted.name.c_str()) == noted.identity)
        return true;
    const Descriptor folder(
        ::openat(parent, noted.name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    return folder && isHiddenName(noted.hiddenName) &&
           ::fstatat(folder.get(), noted.hiddenName.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISREG(status.st_mode);
}

/// Whether nothing of it is left that the next one should try to remove again.
bool removeNoted(int folder, const Notes& notes) {
    bool isDone = true;
    for (const std::string& file : notes.files)
        if (isHiddenName(file) && ::unlinkat(folder, file.c_str(), 0) != 0 && errno != ENOENT)
            isDone = false;
    for (const NotedFolder& noted : notes.folders) {
        Remover remover(noted);
        if (isHiddenName(noted.hiddenName))
            remover.remove(folder, noted.hiddenName);
        if (isPlainName(noted.name) && isNoted(folder, noted))
            remover.remove(folder, noted.name);
        isDone = isDone && remover.isDone();
    }
    return isDone;
}

/// Looks after one journal; leaves it alone when its process lives, or is somebody else's.
void removeLeftoversOf(int folder, const std::string& name) {
    const Descriptor journal(
        ::openat(folder, name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    struct stat status {};
    if (!journal || ::flock(journal.get(), LOCK_EX | LOCK_NB) != 0 || ::fstat(journal.get(), &status) != 0 ||
        !S_ISREG(status.st_mode) || status.st_uid != ::geteuid() || status.st_nlink == 0)
        return;
    Notes notes;
    // An empty one is of a process that ended before it made anything.
    if (status.st_size != 0 && !parse(readTexts(journal.get()), notes))
        return;
    if (removeNoted(folder, notes))
        (void)::unlinkat(folder, name.c_str(), 0);
}

} // namespace

bool isHiddenName(std::string_view name) {
    return name.size() == prefix.size() + digitCount && name.starts_with(prefix) &&
           name.find_first_not_of(digits, prefix.size()) == name.npos;
}

std::string hiddenName() {
    std::random_device random;
    std::string name(prefix);
    for (std::size_t count = 0; count < digitCount; ++count)
        name += digits[random() % digits.size()];
    return name;
}

Journal::Journal(const fs::path& folder) {
    constexpr int mostAttempts = 10;
    for (int attempt = 1;; ++attempt) {
        path_ = folder / (hiddenName() + std::string(suffix));
        descriptor_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0600);
        if (descriptor_ < 0)
            return;
        struct stat status {};
        const bool isLocked = ::flock(descriptor_, LOCK_EX | LOCK_NB) == 0;
        const bool isBusy = !isLocked && errno == EWOULDBLOCK;
        const bool isSeen = isLocked && ::fstat(descriptor_, &status) == 0;
        if (isSeen && status.st_nlink != 0)
            break;
        remove();
        const bool isTaken = isBusy || isSeen; // by one who just then looked for leftovers
        if (!isTaken || attempt == mostAttempts)
            return;
    }
    try {
        const Host host = Host::own();
        std::string texts(magic);
        texts.append(1, '\0').append("boot ").append(host.boot);
        note(texts.append(1, '\0').append("machine"), host.name);
    } catch (...) {
        remove();
        throw;
    }
}

Journal::~Journal() {
    remove();
}

void Journal::remove() noexcept {
    if (const int descriptor = std::exchange(descriptor_, -1); descriptor >= 0) {
        const bool isGone = removeTree(path_);
        ::close(descriptor);
        if (!isGone) // NTFS on a full disk lets go only what nobody has open
            (void)removeTree(path_);
    }
}

void Journal::noteIdentity(const fs::path& path) noexcept {
    try {
        note("identity", identity(AT_FDCWD, path.c_str()));
    } catch (const std::bad_alloc&) {
        return; // a folder that is not known by more than its hidden name
    }
}

void Journal::note(std::string_view kind, std::string_view text) noexcept {
    if (descriptor_ < 0)
        return;
    try {
        // In one piece, so that no note is cut off where the process ends.
        const std::string line = std::string(kind).append(" ").append(text).append(1, '\0');
        (void)!::write(descriptor_, line.data(), line.size());
    } catch (const std::bad_alloc&) {
        return;
    }
}

void removeLeftovers(const fs::path& folder) noexcept {
    try {
        const Descriptor descriptor(
            ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!descriptor)
            return;
        for (const FolderEntry& entry : listFolder(folder).entries)
            if (isJournalName(entry.name))
                removeLeftoversOf(descriptor.get(), entry.name);
    } catch (const std::exception&) {
        return; // what could not be looked at stays
    }
}

} // namespace platform
