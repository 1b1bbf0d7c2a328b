// SPDX-License-Identifier: GPL-3.0-or-later
// How much essence a file really holds: for recordings that were cut off, and for those whose metadata does
// not say.
#pragma once

#include <map>
#include <memory>
#include <optional>

#include "media/base/time.h"
#include "media/mxf/clip.h"
#include "media/mxf/essence.h"

namespace media::mxf {

/// The sound tracks of a clip that share one essence container.
struct SoundGroup {
    std::uint32_t bodySID = 0;
    std::uint32_t indexSID = 0;
    Rational packageRate;             ///< of the picture beside it, else of the sound track
    std::vector<SoundStream> streams; ///< in the clip's track order
};
/// One group for every container in which the clip has sound.
[[nodiscard]] std::vector<SoundGroup> soundGroups(const Clip& clip);

/// Measures by the index, by constant strides or by hopping along the keys, never by reading picture or
/// sound.
class Measurer {
  public:
    Measurer(std::shared_ptr<const io::ByteSource> source, const FileLayout& layout, const Clip& clip)
        : source_(std::move(source)), layout_(layout), clip_(clip), groups_(soundGroups(clip)) {}

    /// The length of what is stored of a track, from the start of its essence. None when it can't be told
    /// without reading picture data. Throws Error.
    [[nodiscard]] std::optional<Time> storedLength(const ClipTrack& track);

  private:
    [[nodiscard]] Time measureSound(const EssenceMap& map, std::size_t stream) const;
    [[nodiscard]] std::optional<std::int64_t> pictureUnits(const ClipTrack& track) const;

    std::shared_ptr<const io::ByteSource> source_;
    const FileLayout& layout_;
    const Clip& clip_;
    std::vector<SoundGroup> groups_;
    std::map<std::uint32_t, std::optional<EssenceMap>> maps_; ///< by container
    std::map<std::uint32_t, Time> frameWrapped_;              ///< lengths of frame-wrapped containers
};

} // namespace media::mxf
