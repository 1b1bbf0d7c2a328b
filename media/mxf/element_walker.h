// SPDX-License-Identifier: GPL-3.0-or-later
// Hops from one essence element of a container to the next without reading any value.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "media/mxf/partition.h"

namespace media::mxf {

/// Part of the file that holds essence of one container: from a partition pack to the next one that is known
/// of.
struct Stretch {
    Partition partition;
    std::uint64_t end = 0;
};

/// The stretches of the container `bodySID` in stream order. A container that no known partition holds is
/// looked for in the whole file.
[[nodiscard]] std::vector<Stretch> stretchesOf(const FileLayout& layout,
                                               const std::vector<Partition>& partitions,
                                               std::uint32_t bodySID, std::uint64_t fileSize);

/// Where an element lies.
struct Position {
    std::size_t stretch = 0;
    std::uint64_t offset = 0;
};

/// Walks one container's elements in stream order. One thread.
class ElementWalker {
  public:
    /// `bodySID` 0 stands for every container. The stretches must outlive the walker.
    ElementWalker(KlvReader& reader, const std::vector<Stretch>& stretches, std::uint32_t bodySID,
                  std::uint64_t runIn);

    /// The next element or system item; none at the end of the container, or of what was recorded of it. Its
    /// value may be cut off by the end of the file. Throws Error when the file's structure leads nowhere.
    [[nodiscard]] std::optional<Klv> next();
    /// Continues at the very start.
    void restart() noexcept { started_ = false; }
    /// Continues at an element of the container.
    void moveTo(Position position) noexcept;
    /// Of what `next` looks at next.
    [[nodiscard]] Position position() const noexcept { return {stretch_, offset_}; }
    /// Whether the container came to an end of its own, not to the end of a file that was cut off.
    [[nodiscard]] bool endedCleanly() const noexcept { return sawEnd_; }
    /// Rises with every partition that is entered.
    [[nodiscard]] std::uint64_t partitionsEntered() const noexcept { return partitionsEntered_; }

  private:
    bool enterStretch(std::size_t index);
    void enterPartition(const Partition& partition);

    KlvReader& reader_;
    const std::vector<Stretch>& stretches_;
    std::uint32_t bodySID_;
    std::uint64_t runIn_;
    std::size_t stretch_ = 0;
    std::uint64_t offset_ = 0;
    bool inside_ = false; ///< the current partition holds the container
    bool started_ = false;
    bool sawEnd_ = false;
    std::uint64_t partitionsEntered_ = 0;
    std::uint64_t hops_ = 0;
    std::uint64_t bytesPassed_ = 0;
};

} // namespace media::mxf
