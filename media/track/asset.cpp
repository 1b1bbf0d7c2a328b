// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/track/asset.h"

#include <utility>

namespace media {

Asset::Asset(std::shared_ptr<const io::ByteSource> source, std::shared_ptr<const Container> container)
    : source_(std::move(source)), container_(std::move(container)) {}

std::vector<std::reference_wrapper<const Track>> Asset::tracks(MediaType type) const {
    std::vector<std::reference_wrapper<const Track>> found;
    for (const Track& track : container_->tracks())
        if (track.mediaType == type)
            found.emplace_back(track);
    return found;
}

} // namespace media
