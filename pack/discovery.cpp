// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/discovery.h"

#include <algorithm>
#include <array>
#include <system_error>
#include <utility>

#include "platform/file.h"
#include "platform/text.h"
#include "platform/text_order.h"

namespace fs = std::filesystem;

namespace Pack {

namespace {

/// Kinds of movie files. One that nothing here can read is listed all the same: it says so in its line
/// instead of going missing.
constexpr std::array movieExtensions{
    ".mxf", ".mov",  ".qt",   ".mp4", ".m4v", ".mpg4", ".3gp", ".3g2",  ".avi",  ".mts", ".m2ts",  ".m2t",
    ".ts",  ".mpg",  ".mpeg", ".m2v", ".dv",  ".mkv",  ".wmv", ".braw", ".crm",  ".nev", ".r3d",   ".ari",
    ".arx", ".insv", ".360",  ".osv", ".mod", ".tod",  ".rsv", ".vob",  ".webm", ".mlv", ".mcraw", ".cine"};

/// Folders that people see as one file: documents, libraries and programs of macOS.
constexpr std::array packageExtensions{
    ".app",       ".bundle",  ".framework", ".plugin", ".photoslibrary", ".imovielibrary", ".fcpbundle",
    ".tvlibrary", ".theater", ".aplibrary", ".rtfd",   ".logicx",        ".band"};

bool hasExtension(const fs::path& path, const auto& extensions) {
    return std::ranges::find(extensions, platform::nameKey(path.extension().native())) != extensions.end();
}

std::int64_t fileSize(const fs::path& path) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path, error);
    return error ? 0 : static_cast<std::int64_t>(size);
}

/// The name under which a dropped item stands at the top of the pack. A path such as "." or "CARD/" is named
/// after the folder that it means.
fs::path topName(const fs::path& path) {
    std::error_code error;
    fs::path absolute = fs::absolute(path, error).lexically_normal();
    if (!absolute.has_filename())
        absolute = absolute.parent_path();
    return absolute.has_filename() ? absolute.filename() : fs::path("Root");
}

std::string makeUnique(const std::string& name, std::set<std::string>& taken) {
    std::string candidate = name;
    for (int number = 2; !taken.insert(candidate).second; ++number)
        candidate = name + " " + std::to_string(number);
    return candidate;
}

/// The walk through files and folders.
class Walk {
  public:
    Walk(std::set<std::string> taken, const ListFolder& list) : taken_(std::move(taken)), list_(list) {}

    void take(const fs::path& path) {
        std::error_code error;
        const fs::file_status status = fs::status(path, error);
        const std::string name = platform::validUTF8(topName(path).native());
        if (fs::is_directory(status)) {
            const std::size_t clips = found_.clips.size();
            const std::size_t places = found_.places.size();
            walk(path, makeUnique(name, taken_));
            if (found_.clips.size() == clips && found_.places.size() == places)
                note(Place::Kind::noClips, path, name, "no clips in this folder.");
        } else if (isClip(path)) {
            const std::string stem = platform::validUTF8(topName(path).stem().native());
            found_.clips.push_back({path, makeUnique(stem, taken_), fileSize(path)});
        } else if (status.type() == fs::file_type::not_found) {
            note(Place::Kind::missing, path, name, "no such file or folder.");
        } else if (error) {
            noteUnlisted(path, name, "this can't be looked at", error);
        } else {
            note(Place::Kind::notAClip, path, name, "not a clip, by its name.");
        }
    }

    Found end() && { return std::move(found_); }

  private:
    /// Appends the clips of a folder and of the folders below it, each folder in the order of its names'
    /// bytes, so that the same card always gives the same list. Symbolic links to folders are not walked:
    /// they would lead out of the card or in circles.
    void walk(const fs::path& folder, const std::string& packFolder) {
        auto [entries, error] = list_(folder);
        if (error)
            noteUnlisted(folder, packFolder,
                         entries.empty() ? "this folder can't be listed"
                                         : "this folder can't be listed to its end",
                         error);
        std::erase_if(entries,
                      [](const platform::FolderEntry& entry) { return entry.name.starts_with('.'); });
        std::ranges::sort(entries, {}, &platform::FolderEntry::name);
        for (const platform::FolderEntry& entry : entries)
            takeEntry(folder / entry.name, entry.type, packFolder);
    }

    void takeEntry(const fs::path& path, fs::file_type type, const std::string& packFolder) {
        const bool clip = isClip(path);
        if (clip)
            found_.clips.push_back(
                {path, packFolder + "/" + platform::validUTF8(path.stem().native()), fileSize(path)});
        const auto packPath = [&] {
            return packFolder + "/" + platform::validUTF8(path.filename().native());
        };
        // The kind comes with the listing, usually: there is nothing to ask the disk.
        std::error_code error;
        if (type == fs::file_type::unknown)
            type = fs::symlink_status(path, error).type();
        if (type == fs::file_type::symlink) {
            if (!clip)
                noteLink(path, packPath());
        } else if (type == fs::file_type::directory) {
            if (!hasExtension(path, packageExtensions))
                walk(path, packPath());
        }
        if (error && !clip)
            noteUnlisted(path, packPath(), "this can't be looked at", error);
    }

    /// Of links that have no clip's name, those that may be thought to lead to clips.
    void noteLink(const fs::path& link, std::string packPath) {
        std::error_code error;
        const fs::file_status target = fs::status(link, error);
        if (fs::is_directory(target))
            note(Place::Kind::skippedLink, link, std::move(packPath), "a link to a folder, not followed.");
        else if (!fs::exists(target))
            note(Place::Kind::skippedLink, link, std::move(packPath), "a link that leads nowhere.");
    }

    void noteUnlisted(const fs::path& path, std::string name, const std::string& what,
                      const std::error_code& error) {
        note(Place::Kind::notListed, path, std::move(name),
             what + ": " + platform::reason(error) + ". Clips may be missing.");
    }

    void note(Place::Kind kind, const fs::path& path, std::string name, std::string reason) {
        found_.places.push_back({kind, path, std::move(name), std::move(reason)});
    }

    std::set<std::string> taken_;
    const ListFolder& list_;
    Found found_;
};

/// Sorts by pack path in the file browser's order; equal ones keep theirs.
void sortByPackPath(std::vector<PackClip>& found) {
    const platform::TextOrder order;
    std::vector<std::pair<std::string, PackClip>> keyed;
    keyed.reserve(found.size());
    for (PackClip& clip : found) {
        std::string key = order.key(clip.packPath);
        keyed.emplace_back(std::move(key), std::move(clip));
    }
    std::ranges::stable_sort(keyed, {}, &std::pair<std::string, PackClip>::first);
    std::ranges::transform(keyed, found.begin(), [](auto& pair) { return std::move(pair.second); });
}

} // namespace

bool isClip(const fs::path& path) {
    return !path.filename().native().starts_with("._") && hasExtension(path, movieExtensions);
}

std::span<const char* const> clipExtensions() {
    return movieExtensions;
}

bool Found::clipsMayBeMissing() const {
    return std::ranges::find(places, Place::Kind::notListed, &Place::kind) != places.end();
}

Found clips(std::span<const fs::path> paths, std::set<std::string> taken, const ListFolder& list) {
    Walk walk(std::move(taken), list);
    for (const fs::path& path : paths)
        walk.take(path);
    Found found = std::move(walk).end();
    sortByPackPath(found.clips);
    return found;
}

} // namespace Pack
