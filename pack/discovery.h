// SPDX-License-Identifier: GPL-3.0-or-later
// From files and folders to clips: names, listings and sizes only, no clip is opened.
#pragma once

#include <functional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "pack/clip_records.h"
#include "platform/folder.h"

namespace Pack {

/// Whether a file of this name is a clip: by its extension alone.
[[nodiscard]] bool isClip(const std::filesystem::path& path);

/// The extensions of clips, with their dots and in small letters.
[[nodiscard]] std::span<const char* const> clipExtensions();

/// A place that was named, or came up in a folder, and has not given the clips that somebody may expect of
/// it.
struct Place {
    enum class Kind {
        notListed,   ///< can't be listed, or not to its end: clips may be missing
        missing,     ///< named, but there is no such file or folder
        notAClip,    ///< a named file that has no clip's extension
        noClips,     ///< a named folder, looked through to its end
        skippedLink, ///< a link in a folder: to another folder, or to nothing
    };

    Kind kind;
    std::filesystem::path path;
    std::string name;   ///< as clips of it would be called: its path in the pack, for a named file its name
    std::string reason; ///< "no such file or folder."

    /// For a person: "A001/CLIP: this folder can't be listed: permission denied. Clips may be missing."
    [[nodiscard]] std::string sentence() const { return name + ": " + reason; }
};

/// What discovery has found: the clips in the file browser's order of their pack paths, and beside them what
/// gave none, in the order in which it came up.
struct Found {
    std::vector<PackClip> clips;
    std::vector<Place> places;

    Found() = default;
    Found(std::vector<PackClip> found) : clips(std::move(found)) {}
    /// Whether there may be clips that nobody has seen.
    [[nodiscard]] bool clipsMayBeMissing() const;
};

using ListFolder = std::function<platform::FolderListing(const std::filesystem::path&)>;

/// The clips among and below the given files and folders. Top-level names in `taken` are not given out again.
/// Never fails: what can't be used is left out of the list, and `places` says why. `list` is what lists a
/// folder.
[[nodiscard]] Found clips(std::span<const std::filesystem::path> paths, std::set<std::string> taken,
                          const ListFolder& list = platform::listFolder);

} // namespace Pack
