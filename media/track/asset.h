// SPDX-License-Identifier: GPL-3.0-or-later
// A clip as pack/ sees it, whatever its container.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "media/track/container.h"

namespace media {

/// An opened clip. Cheap to copy, immutable, usable from any thread.
class Asset {
  public:
    /// A container open on that source.
    Asset(std::shared_ptr<const io::ByteSource> source, std::shared_ptr<const Container> container);

    [[nodiscard]] Time duration() const { return container_->duration(); }
    /// The tracks of one kind, in file order; the references live as long as the asset.
    [[nodiscard]] std::vector<std::reference_wrapper<const Track>> tracks(MediaType type) const;
    [[nodiscard]] const std::vector<MetadataItem>& metadata() const { return container_->metadata(); }
    [[nodiscard]] std::string timecodeRefusal() const { return container_->timecodeRefusal(); }
    [[nodiscard]] std::optional<Container::Date> creationDate() const { return container_->creationDate(); }
    /// As the source's.
    void checkUnchanged() const { source_->checkUnchanged(); }
    /// Bytes read from the clip so far, by every reader of this asset.
    [[nodiscard]] std::uint64_t bytesRead() const { return source_->bytesRead(); }

  private:
    friend class TrackOutput;
    std::shared_ptr<const io::ByteSource> source_;
    std::shared_ptr<const Container> container_;
};

} // namespace media
