// SPDX-License-Identifier: GPL-3.0-or-later
// Steps through boxes (ISO/IEC 14496-12, 4.2; atoms in the QuickTime File Format) without loading them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "media/base/byte_reader.h"
#include "media/io/window.h"
#include "media/track/format_description.h"

namespace media::quicktime {

using io::Window;

/// A box: its type and where its payload lies.
struct Box {
    FourCC type = 0;
    std::uint64_t headerBegin = 0;
    std::uint64_t begin = 0; ///< first byte of the payload
    std::uint64_t end = 0;   ///< one past its last byte, never past the parent's
    bool cut = false;        ///< it states more bytes than its parent has

    [[nodiscard]] std::uint64_t size() const noexcept { return end - begin; }
};

/// The boxes of one container, in order.
class BoxWalk {
  public:
    /// At the top level of a file a box of size 0 reaches to the end; elsewhere a zero ends the container.
    enum class Level { file, container };

    BoxWalk(Window& window, std::uint64_t begin, std::uint64_t end, Level level = Level::container)
        : window_(&window), position_(begin), end_(end), level_(level) {}
    BoxWalk(Window& window, const Box& parent) : BoxWalk(window, parent.begin, parent.end) {}

    /// The next box; none at the end, or where what follows is no box.
    [[nodiscard]] std::optional<Box> next();

  private:
    Window* window_;
    std::uint64_t position_;
    std::uint64_t end_;
    Level level_;
};

/// A cursor over a box's payload, at most `limit` bytes of it; valid until the window is used again.
[[nodiscard]] io::ByteReader payload(Window& window, const Box& box, std::size_t limit = 1 << 20);

/// Reads the version and flags word of a full box.
struct FullBoxHeader {
    std::uint8_t version = 0;
    std::uint32_t flags = 0;

    explicit FullBoxHeader(io::ByteReader& reader) : version(reader.u8()), flags(reader.u24()) {}
};

} // namespace media::quicktime
