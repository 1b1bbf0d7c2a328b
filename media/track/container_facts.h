// SPDX-License-Identifier: GPL-3.0-or-later
// What a container tells of itself to those who look closer than a pack does.
#pragma once

#include <string>

namespace media {

/// Beside Container, where a format has it to tell. Both are words for a person.
class ContainerFacts {
  public:
    virtual ~ContainerFacts() = default;
    /// "QuickTime", "MPEG-4 (mp42)", "MXF". Throws Error when the file can't be read.
    [[nodiscard]] virtual std::string formatName() const = 0;
    /// Where the timecode stands that the reader made a track of ("the first system item"); empty where the
    /// file has a timecode track of its own, or none.
    [[nodiscard]] virtual std::string timecodeOrigin() const = 0;
};

} // namespace media
