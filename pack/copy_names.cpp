// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/copy_names.h"

#include <utility>

#include "pack/report.h"
#include "platform/text.h"

namespace Pack {

namespace {

constexpr std::string_view copyExtension = ".mov";

std::string copyKey(std::string_view path) {
    return platform::nameKey(std::string(path) + std::string(copyExtension));
}

/// A path's folders, up to and with the last slash, and its last component.
std::pair<std::string_view, std::string_view> parts(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    const std::size_t end = slash == path.npos ? 0 : slash + 1;
    return {path.substr(0, end), path.substr(end)};
}

/// The path as a zip and a file system can hold it.
std::string fittingPath(std::string_view path, std::size_t longestName) {
    std::string result;
    for (std::size_t slash = path.find('/'); slash != path.npos; slash = path.find('/')) {
        result += withSuffix(platform::zipName(path.substr(0, slash)), "", longestName) + '/';
        path.remove_prefix(slash + 1);
    }
    return result + withSuffix(platform::zipName(path), "", longestName - copyExtension.size());
}

std::string numbered(std::string_view name, int number, std::size_t longestName) {
    return withSuffix(name, " " + std::to_string(number), longestName);
}

/// Gives a top folder that is called like the report another name, the same for all clips below it.
void makeWayForReport(std::vector<std::string>& paths, std::size_t longestName) {
    std::set<std::string> topNames;
    for (const std::string& path : paths)
        topNames.insert(platform::nameKey(path.substr(0, path.find('/'))));
    const std::string report = platform::nameKey(reportName);
    std::string renamed;
    for (std::string& path : paths) {
        const std::size_t slash = path.find('/');
        const std::string top = path.substr(0, slash);
        if (slash == path.npos || platform::nameKey(top) != report)
            continue;
        for (int number = 2; renamed.empty(); ++number)
            if (const std::string name = numbered(top, number, longestName);
                topNames.insert(platform::nameKey(name)).second)
                renamed = name;
        path.replace(0, slash, renamed);
    }
}

} // namespace

std::string withSuffix(std::string_view name, std::string_view suffix, std::size_t most) {
    std::size_t end = name.size();
    if (end + suffix.size() > most) {
        end = most > suffix.size() ? most - suffix.size() : 0;
        while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0) == 0x80)
            --end;
    }
    return std::string(name.substr(0, end)).append(suffix);
}

CopyNames::CopyNames(std::span<const PackClip> clips, std::size_t longestName) : longestName_(longestName) {
    own_.reserve(clips.size());
    for (const PackClip& clip : clips)
        own_.push_back(fittingPath(clip.packPath, longestName));
    makeWayForReport(own_, longestName);
    for (const std::string& path : own_) {
        ownKeys_.insert(copyKey(path));
        for (std::size_t slash = path.find('/'); slash != path.npos; slash = path.find('/', slash + 1))
            taken_.insert(platform::nameKey(path.substr(0, slash)));
    }
}

CopyNames::Choice CopyNames::choose(std::size_t index) {
    const std::string& own = own_[index];
    const std::string ownKey = copyKey(own);
    if (!taken_.contains(ownKey))
        return {own, false};
    const auto [folders, name] = parts(own);
    // Numbers below the last one tried are taken already.
    for (int& number = lastNumber_.try_emplace(ownKey, 2).first->second;; ++number) {
        std::string path = std::string(folders) + numbered(name, number, longestName_ - copyExtension.size());
        const std::string key = copyKey(path);
        if (!taken_.contains(key) && !ownKeys_.contains(key))
            return {std::move(path), true};
    }
}

void CopyNames::take(const std::string& path) {
    taken_.insert(copyKey(path));
}

} // namespace Pack
