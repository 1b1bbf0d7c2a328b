// SPDX-License-Identifier: GPL-3.0-or-later
// The structural metadata of a clip as plain values: packages, their tracks and components, essence
// descriptors (SMPTE ST 377-1, annexes B and F; sound SMPTE ST 382). Nothing is judged here.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "media/mxf/local_set.h"

namespace media::mxf {

/// A stretch of a track.
struct Component {
    enum class Kind { sourceClip, timecode, filler, other };
    Kind kind = Kind::other;
    std::int64_t duration = -1; ///< edit units of the track; below 0 unknown
    // Source clips: the track of another package that this stretch shows, and from where.
    Umid sourcePackage{};
    std::uint32_t sourceTrack = 0;
    std::int64_t startPosition = 0; ///< edit units of the clip's own track
    // Timecode: whole frames from midnight, drop-frame numbers not counted.
    std::int64_t startTimecode = -1; ///< below 0 unknown
    std::uint32_t base = 0;          ///< whole frames a second
    bool dropFrame = false;
};

/// A timeline track of a package.
struct PackageTrack {
    std::uint32_t id = 0;
    std::uint32_t number = 0; ///< file packages: bytes 12 to 15 of the element keys
    Rational editRate;
    std::int64_t origin = 0;
    DataKind kind = DataKind::unknown;
    std::int64_t duration = -1; ///< edit units; below 0 unknown
    std::vector<Component> components;
};

struct PictureDescription {
    std::uint32_t storedWidth = 0, storedHeight = 0;
    std::uint32_t sampledWidth = 0, sampledHeight = 0;
    std::uint32_t displayWidth = 0, displayHeight = 0;
    std::uint8_t frameLayout =
        0; ///< 0 full frame, 1 separate fields, 2 one field, 3 mixed fields, 4 segmented
    Rational aspectRatio{0, 1};
    Rational referenceRate{0, 1}; ///< frames a second where units are fields; 0 when absent
};

struct SoundDescription {
    Rational samplingRate{0, 1};
    std::uint32_t bits = 0;
    std::uint32_t channels = 0;
    std::uint32_t blockAlign = 0; ///< bytes of one sample of every channel; 0 when absent
    Label compression{};
};

/// How the essence of one track, or of several, is stored.
struct Descriptor {
    std::uint8_t kind = 0; ///< `setKind::…`
    std::uint32_t linkedTrack = 0;
    Rational sampleRate{0, 1};
    Label essenceContainer{};
    PictureDescription picture;
    SoundDescription sound;
    bool isSound = false;
    bool isPicture = false;
    std::vector<Descriptor> children; ///< of a multiple descriptor
};

struct Package {
    bool isMaterial = false;
    Umid id{};
    std::optional<std::chrono::system_clock::time_point> created;
    std::vector<PackageTrack> tracks;
    std::optional<Descriptor> descriptor;
};

/// Which essence container of the file holds a package's essence.
struct EssenceContainerData {
    Umid package{};
    std::uint32_t bodySID = 0;
    std::uint32_t indexSID = 0;
};

struct Identification {
    std::string supplier;    ///< company of the application that wrote the file
    std::string application; ///< its name
    std::optional<std::chrono::system_clock::time_point> modified;
};

struct Metadata {
    std::vector<Package> packages; ///< in file order
    std::vector<EssenceContainerData> containers;
    std::vector<Identification> identifications; ///< the oldest first
    std::optional<std::chrono::system_clock::time_point> lastModified;
    /// The first set that another one refers to in vain, in words ("a track"); empty where all are there.
    std::string missing;

    [[nodiscard]] const Package* package(const Umid& id) const;
};

/// The copy of the metadata in one partition; without packages when there is none. Throws Error when the file
/// can't be read.
[[nodiscard]] Metadata readMetadata(const io::ByteSource& source, const Partition& partition);

} // namespace media::mxf
