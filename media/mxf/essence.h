// SPDX-License-Identifier: GPL-3.0-or-later
// One essence container of a file as its sound readers see it: where its elements lie, which of them belong
// to which track, and whether they are wrapped by the frame or as one clip (SMPTE ST 379, ST 382).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "media/mxf/element_walker.h"
#include "media/mxf/index_table.h"
#include "media/mxf/sound_format.h"

namespace media::mxf {

/// A sound track in a container.
struct SoundStream {
    std::uint32_t number = 0; ///< of its elements
    SoundFormat format;
};

/// Bytes of a clip-wrapped track.
struct Extent {
    std::uint64_t offset = 0;
    std::uint64_t bytes = 0;
};

/// What there is to know of a container before its frames are read. Immutable.
class EssenceMap {
  public:
    enum class Wrapping { none, frame, clip };

    /// Looks at the partitions, the index and the first content package. `packageRate` is the rate of the
    /// content packages as the metadata has it. Throws Error, also when the essence is encrypted.
    EssenceMap(std::shared_ptr<const io::ByteSource> source, const FileLayout& layout, std::uint32_t bodySID,
               std::uint32_t indexSID, Rational packageRate, std::vector<SoundStream> streams);

    [[nodiscard]] const io::ByteSource& source() const noexcept { return *source_; }
    [[nodiscard]] std::uint32_t bodySID() const noexcept { return bodySID_; }
    [[nodiscard]] std::uint64_t runIn() const noexcept { return runIn_; }
    [[nodiscard]] const std::vector<Stretch>& stretches() const noexcept { return stretches_; }
    [[nodiscard]] const std::vector<SoundStream>& streams() const noexcept { return streams_; }
    [[nodiscard]] Wrapping wrapping() const noexcept { return wrapping_; }
    [[nodiscard]] Rational packageRate() const noexcept { return packageRate_; }
    [[nodiscard]] const IndexTable& index() const noexcept { return *index_; }
    /// The system item with which every content package starts, where the container has them.
    [[nodiscard]] const std::optional<Label>& packageKey() const noexcept { return packageKey_; }
    /// Streams whose elements are there.
    [[nodiscard]] std::size_t streamsPresent() const noexcept { return streamsPresent_; }
    [[nodiscard]] bool isIndexUsable() const noexcept { return isIndexUsable_; }
    /// The place of the first sound element in the index, where it is constant or sliced.
    [[nodiscard]] const std::optional<ElementPlace>& soundPlace() const noexcept { return soundPlace_; }

    /// Frames of a stream before content package `unit`: exact where the rates are in step, else the nearest.
    [[nodiscard]] std::int64_t framesBefore(std::size_t stream, std::int64_t unit) const;
    /// Content packages in which the rates of sound and packages meet again; 1 when every package holds as
    /// much.
    [[nodiscard]] std::int64_t cycle(std::size_t stream) const;

    /// Where a clip-wrapped stream lies, in stream order.
    [[nodiscard]] std::vector<Extent> extents(std::size_t stream) const;

  private:
    struct FirstPackage;
    [[nodiscard]] FirstPackage inspect(KlvReader& reader) const;
    void assignNumbers(const FirstPackage& first);
    void decideWrapping(const FirstPackage& first);
    void checkIndex(KlvReader& reader, const FirstPackage& first);

    std::shared_ptr<const io::ByteSource> source_;
    std::uint32_t bodySID_;
    std::uint64_t runIn_;
    Rational packageRate_;
    std::vector<Stretch> stretches_;
    std::vector<SoundStream> streams_;
    std::optional<IndexTable> index_;
    Wrapping wrapping_ = Wrapping::none;
    std::optional<Label> packageKey_;
    std::optional<ElementPlace> soundPlace_;
    std::size_t streamsPresent_ = 0;
    bool isIndexUsable_ = false;
};

/// The file position of a place in a container's stream.
class StreamMap {
  public:
    explicit StreamMap(const std::vector<Stretch>& stretches)
        : stretches_(stretches), starts_(stretches.size()) {}
    /// None when no partition holds it.
    [[nodiscard]] std::optional<Position> position(KlvReader& reader, std::uint64_t streamOffset);

  private:
    const std::vector<Stretch>& stretches_;
    std::vector<std::optional<std::uint64_t>> starts_; ///< file offset of each stretch's essence, once known
};

} // namespace media::mxf
