// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/folder.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace platform {

namespace {

fs::file_type typeOf(unsigned char code) {
    switch (code) {
    case DT_REG:
        return fs::file_type::regular;
    case DT_DIR:
        return fs::file_type::directory;
    case DT_LNK:
        return fs::file_type::symlink;
    case DT_BLK:
        return fs::file_type::block;
    case DT_CHR:
        return fs::file_type::character;
    case DT_FIFO:
        return fs::file_type::fifo;
    case DT_SOCK:
        return fs::file_type::socket;
    default:
        return fs::file_type::unknown;
    }
}

bool isDots(std::string_view name) {
    return name == "." || name == "..";
}

bool isGone(int result) {
    return result == 0 || errno == ENOENT;
}

/// The removal of one tree.
class TreeRemover {
  public:
    bool remove(int parent, const char* name) noexcept {
        if (isGone(::unlinkat(parent, name, 0)))
            return true;
        const int folder = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (folder < 0)
            return errno == EMFILE && moveUp(parent, name);
        const bool isTop = top_ < 0;
        if (isTop)
            top_ = folder;
        empty(folder);
        if (isTop)
            top_ = -1;
        ::close(folder);
        return isGone(::unlinkat(parent, name, AT_REMOVEDIR));
    }

  private:
    /// Removes what is in an open folder, a batch of names at a time, from the start again until a whole pass
    /// finds nothing that goes.
    void empty(int folder) noexcept {
        alignas(dirent64) std::array<std::byte, 2048> names; // more than the longest name takes
        for (bool progress = true; progress;) {
            progress = false;
            (void)::lseek(folder, 0, SEEK_SET);
            for (ssize_t size; (size = ::getdents64(folder, names.data(), names.size())) > 0;)
                for (ssize_t at = 0; at < size;) {
                    const auto* const entry = reinterpret_cast<const dirent64*>(names.data() + at);
                    at += entry->d_reclen;
                    if (!isDots(entry->d_name) && remove(folder, entry->d_name))
                        progress = true;
                }
        }
    }

    /// Brings a folder that lies too deep to be opened below the top, where it is found again.
    bool moveUp(int parent, const char* name) noexcept {
        std::array<char, 16> place{};
        (void)std::snprintf(place.data(), place.size(), "%u", ++moved_);
        return top_ >= 0 && parent != top_ && ::renameat(parent, name, top_, place.data()) == 0;
    }

    int top_ = -1; ///< the tree's own folder, once it is open
    unsigned moved_ = 0;
};

} // namespace

FolderListing listFolder(const fs::path& folder) {
    FolderListing listing;
    const std::unique_ptr<DIR, int (*)(DIR*)> open(::opendir(folder.empty() ? "." : folder.c_str()),
                                                   &::closedir);
    if (open == nullptr) {
        listing.error = {errno, std::generic_category()};
        return listing;
    }
    for (;;) {
        errno = 0;
        const dirent* const entry = ::readdir(open.get());
        if (entry == nullptr)
            break;
        if (!isDots(entry->d_name))
            listing.entries.push_back({entry->d_name, typeOf(entry->d_type)});
    }
    listing.error = {errno, std::generic_category()};
    return listing;
}

bool removeTree(const fs::path& path) noexcept {
    constexpr int attempts = 3;
    for (int attempt = 0; attempt < attempts; ++attempt)
        if (TreeRemover().remove(AT_FDCWD, path.c_str()))
            return true;
    return false;
}

} // namespace platform
