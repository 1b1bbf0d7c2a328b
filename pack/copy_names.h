// SPDX-License-Identifier: GPL-3.0-or-later
// The places of the copies in a pack, chosen so that no copy ever takes another's place.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "pack/clip_records.h"

namespace Pack {

/// The place of each clip's copy: the clip's own pack path, unless a copy or a folder is there. Then it is
/// the next free name ("A001C003 2") that is no other clip's own. A top folder called like the report takes a
/// number for all its clips. Names that differ only in case or in how accents are composed count as one,
/// because the pack is unpacked on volumes that take them for one. Names longer than `longestName` bytes
/// (with the copy's extension, where it is a copy's) are cut, and control characters that a zip can't hold
/// replaced.
class CopyNames {
  public:
    CopyNames(std::span<const PackClip> clips, std::size_t longestName);

    struct Choice {
        std::string path; ///< as a pack path: without the extension
        bool isNumbered;  ///< the clip's own is another copy's
    };
    /// Where the copy of the clip at `index` goes.
    [[nodiscard]] Choice choose(std::size_t index);
    /// The copy is there: from here on, the path is no other clip's.
    void take(const std::string& path);

  private:
    std::size_t longestName_;
    std::vector<std::string> own_;          ///< each clip's own path
    std::set<std::string> ownKeys_;         ///< of those paths
    std::set<std::string> taken_;           ///< keys of copies and folders, with extensions
    std::map<std::string, int> lastNumber_; ///< the number last tried, by the own path's key
};

/// A name cut, between two characters, to `most` bytes less those of `suffix`, and the suffix.
[[nodiscard]] std::string withSuffix(std::string_view name, std::string_view suffix, std::size_t most);

} // namespace Pack
