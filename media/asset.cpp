// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/asset.h"

#include <utility>

namespace media {

Asset::Asset(const std::filesystem::path& path) : Asset(io::openFile(path)) {}

Asset::Asset(std::shared_ptr<const io::ByteSource> source)
    : source_(std::move(source)), container_(openContainer(source_)) {}

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
