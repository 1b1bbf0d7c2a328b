// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/discovery.h"

#include <algorithm>
#include <array>
#include <system_error>
#include <utility>

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

/// Appends the clips of a folder and of the folders below it, each folder in the order of its names' bytes,
/// so that the same card always gives the same list. Symbolic links to folders are not walked: they would
/// lead out of the card or in circles.
void walk(const fs::path& folder, const std::string& packFolder, std::vector<PackClip>& found) {
    std::error_code error;
    std::vector<fs::directory_entry> entries;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
        if (entry->path().filename().native().front() != '.')
            entries.push_back(*entry);
    std::ranges::sort(entries, {}, [](const fs::directory_entry& entry) { return entry.path().native(); });

    for (const fs::directory_entry& entry : entries) {
        const fs::path& path = entry.path();
        if (isClip(path))
            found.push_back(
                {path, packFolder + "/" + platform::validUTF8(path.stem().native()), fileSize(path)});
        std::error_code unknown; // the kind came with the listing, there is nothing to ask the disk
        if (!entry.is_symlink(unknown) && entry.is_directory(unknown) &&
            !hasExtension(path, packageExtensions))
            walk(path, packFolder + "/" + platform::validUTF8(path.filename().native()), found);
    }
}

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

std::vector<PackClip> clips(std::span<const fs::path> paths, std::set<std::string> taken) {
    std::vector<PackClip> found;
    for (const fs::path& path : paths) {
        std::error_code unknown;
        if (fs::is_directory(path, unknown)) {
            walk(path, makeUnique(platform::validUTF8(topName(path).native()), taken), found);
        } else if (isClip(path)) {
            const std::string name = platform::validUTF8(topName(path).stem().native());
            found.push_back({path, makeUnique(name, taken), fileSize(path)});
        }
    }
    sortByPackPath(found);
    return found;
}

} // namespace Pack
