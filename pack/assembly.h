// SPDX-License-Identifier: GPL-3.0-or-later
// Makes a pack: the run over all clips, the report, the zip, and the estimate of its size.
#pragma once

#include <functional>
#include <span>

#include "pack/clip_records.h"
#include "pack/copy_writer.h"

namespace Pack {

/// What the maker of a pack wants to hear and says; called from the calling thread and from lanes' threads.
/// Any of them may be left empty. The clips handed on carry the path of their copy in the pack, which is not
/// always the one that they came with (pack/copy_names.h); a clip that failed has its own.
struct MakeCallbacks {
    std::function<void(const PackClip&, double fraction)> item{}; ///< progress of one clip, 0 to 1
    std::function<void(const PackClip&, const Outcome&)> finished{};
    std::function<bool()> isCancelled{};
    std::function<void()> saving{}; ///< all clips are done; the report and the archive's end come next
};

/// What writes one clip's copy: `write` below `make`, something simpler in a test of what is around it.
using WriteCopy = PackResult(const CopyJob& job, const CopyHooks& hooks);

/// Writes the copies of all clips, the report and the archive at `zip`. A clip that fails is reported and the
/// pack goes on. Throws PackError or media::Error when the pack as a whole fails; whatever happens, the
/// working folder is gone afterwards and an earlier zip at `zip` is either as it was or replaced whole. What
/// `target` refuses is refused before anything is written.
void make(std::span<const PackClip> clips, const std::filesystem::path& zip, ScratchAudio audio,
          const MakeCallbacks& callbacks,
          const std::function<WriteCopy>& writeCopy = static_cast<WriteCopy*>(write));

/// The working folder for a zip: beside it, named after it, with the first number that is free.
[[nodiscard]] std::filesystem::path folder(const std::filesystem::path& zip);

/// Makes the archive of a folder at the zip's place, replacing a zip that is there; its entries stand under
/// the zip's name. A link stays, and so do the replaced zip's permissions. Throws PackError or media::Error.
void zipFolder(const std::filesystem::path& folder, const std::filesystem::path& zip);

/// Bytes of media that the copies of clips with these headers will hold; 0 when that is not finite.
[[nodiscard]] std::int64_t estimatedSize(std::span<const ClipHeader> headers, ScratchAudio audio);

} // namespace Pack
