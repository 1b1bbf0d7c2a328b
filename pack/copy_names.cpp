// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/copy_names.h"

#include <map>
#include <set>

#include "pack/report.h"
#include "platform/text.h"

namespace Pack {

namespace {

constexpr std::string_view copyExtension = ".mov";

/// Bytes of the longest name that every usual file system takes (255), less room for a number and the
/// extension.
constexpr std::size_t longestName = 240;

/// The name as a zip can hold it, cut, between two characters, to what a file system takes.
std::string fitting(std::string_view component) {
    std::string name = platform::zipName(component);
    if (name.size() <= longestName)
        return name;
    std::size_t end = longestName;
    while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0) == 0x80)
        --end;
    name.resize(end);
    return name;
}

std::string fittingPath(std::string_view path) {
    std::string result;
    for (std::size_t slash = path.find('/'); slash != path.npos; slash = path.find('/')) {
        result += fitting(path.substr(0, slash)) + '/';
        path.remove_prefix(slash + 1);
    }
    return result + fitting(path);
}

/// Keys of what the pack holds.
class Places {
  public:
    /// Whether something is or will be at this path.
    [[nodiscard]] bool holds(std::string_view path) const { return keys_.contains(platform::nameKey(path)); }
    /// False when it was taken already.
    bool take(std::string_view path) { return keys_.insert(platform::nameKey(path)).second; }
    void takeFoldersOf(std::string_view path) {
        for (std::size_t slash = path.find('/'); slash != path.npos; slash = path.find('/', slash + 1))
            take(path.substr(0, slash));
    }

  private:
    std::set<std::string> keys_;
};

std::string numbered(const std::string& name, int number) {
    return name + " " + std::to_string(number);
}

/// Gives a top folder that is called like the report another name, the same for all clips below it.
void makeWayForReport(std::vector<std::string>& paths) {
    Places topNames;
    for (const std::string& path : paths)
        topNames.take(path.substr(0, path.find('/')));
    const std::string report = platform::nameKey(reportName);
    std::map<std::string, std::string> renamed;
    for (std::string& path : paths) {
        const std::size_t slash = path.find('/');
        const std::string top = path.substr(0, slash);
        if (slash == path.npos || platform::nameKey(top) != report)
            continue;
        std::string& name = renamed[report];
        for (int number = 2; name.empty(); ++number)
            if (topNames.take(numbered(top, number)))
                name = numbered(top, number);
        path.replace(0, slash, name);
    }
}

} // namespace

std::vector<std::string> copyNames(std::span<const PackClip> clips) {
    std::vector<std::string> paths;
    paths.reserve(clips.size());
    for (const PackClip& clip : clips)
        paths.push_back(fittingPath(clip.packPath));
    makeWayForReport(paths);

    Places places;
    for (const std::string& path : paths)
        places.takeFoldersOf(path);
    const auto take = [&](const std::string& path) { return places.take(path + std::string(copyExtension)); };
    // Whoever has a name to itself keeps it; those that come second choose among what is left.
    std::vector<std::string*> homeless;
    for (std::string& path : paths)
        if (!take(path))
            homeless.push_back(&path);
    for (std::string* path : homeless) {
        int number = 2;
        while (!take(numbered(*path, number)))
            ++number;
        *path = numbered(*path, number);
    }
    return paths;
}

} // namespace Pack
