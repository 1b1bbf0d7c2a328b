// SPDX-License-Identifier: GPL-3.0-or-later
// What the model asks of pack/.
#pragma once

#include <functional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "model/export_place.h"
#include "pack/assembly.h"
#include "pack/clip_records.h"
#include "pack/discovery.h"

namespace model {

/// The operations behind the list, called off the main thread; the real ones unless a test puts others in
/// place. Each means what the function of its name in pack/ does.
struct PackOperations {
    std::function<Pack::Found(std::span<const std::filesystem::path>, std::set<std::string> taken)> clips;
    std::function<ClipHeader(const std::filesystem::path& source)> header;
    std::function<void(std::span<const PackClip>, const std::filesystem::path& zip, ScratchAudio,
                       const Pack::MakeCallbacks&)>
        make;
    /// Bytes of a file; 0 when the file system can't tell.
    std::function<std::int64_t(const std::filesystem::path&)> fileSize;
    /// What stands where a pack is to be saved; on a disk that does not answer it takes as long as that.
    std::function<ExportPlace(const std::filesystem::path& zip,
                              const std::vector<std::filesystem::path>& addedFolders)>
        place = exportPlace;
    bool canOpenMXF = Pack::canOpenMXF;

    PackOperations();
};

} // namespace model
