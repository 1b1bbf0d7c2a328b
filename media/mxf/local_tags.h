// SPDX-License-Identifier: GPL-3.0-or-later
// Local tags: the two bytes by which a set names its properties. Those below 0x8000 are the same in every
// file.
#pragma once

#include <cstdint>

namespace media::mxf::localTag {

using Tag = std::uint16_t;

// Every set, the preface and what it refers to (SMPTE ST 377-1, annex A).
inline constexpr Tag instanceUID = 0x3c0a;
inline constexpr Tag lastModifiedDate = 0x3b02;
inline constexpr Tag identifications = 0x3b06;
inline constexpr Tag companyName = 0x3c01;
inline constexpr Tag productName = 0x3c02;
inline constexpr Tag modificationDate = 0x3c06;
inline constexpr Tag linkedPackageUID = 0x2701;

// Packages, tracks and what a track consists of (SMPTE ST 377-1, annex B).
inline constexpr Tag packageUID = 0x4401;
inline constexpr Tag packageCreationDate = 0x4405;
inline constexpr Tag packageTracks = 0x4403;
inline constexpr Tag packageDescriptor = 0x4701;
inline constexpr Tag trackID = 0x4801;
inline constexpr Tag trackNumber = 0x4804;
inline constexpr Tag trackSequence = 0x4803;
inline constexpr Tag editRate = 0x4b01;
inline constexpr Tag origin = 0x4b02;
inline constexpr Tag dataDefinition = 0x0201;
inline constexpr Tag duration = 0x0202;
inline constexpr Tag structuralComponents = 0x1001;
inline constexpr Tag sourcePackageID = 0x1101;
inline constexpr Tag sourceTrackID = 0x1102;
inline constexpr Tag startPosition = 0x1201;
inline constexpr Tag startTimecode = 0x1501;
inline constexpr Tag roundedTimecodeBase = 0x1502;
inline constexpr Tag dropFrame = 0x1503;
inline constexpr Tag choices = 0x0501;
inline constexpr Tag inputSegment = 0x0d01;

// Essence descriptors (SMPTE ST 377-1, annex F; BlockAlign SMPTE ST 382, annex A).
inline constexpr Tag linkedTrackID = 0x3006;
inline constexpr Tag sampleRate = 0x3001;
inline constexpr Tag essenceContainer = 0x3004;
inline constexpr Tag subDescriptors = 0x3f01;
inline constexpr Tag storedHeight = 0x3202;
inline constexpr Tag storedWidth = 0x3203;
inline constexpr Tag sampledHeight = 0x3204;
inline constexpr Tag sampledWidth = 0x3205;
inline constexpr Tag displayHeight = 0x3208;
inline constexpr Tag displayWidth = 0x3209;
inline constexpr Tag frameLayout = 0x320c;
inline constexpr Tag aspectRatio = 0x320e;
inline constexpr Tag quantizationBits = 0x3d01;
inline constexpr Tag audioSamplingRate = 0x3d03;
inline constexpr Tag soundEssenceCompression = 0x3d06;
inline constexpr Tag channelCount = 0x3d07;
inline constexpr Tag blockAlign = 0x3d0a;

// Index table segments (SMPTE ST 377-1, 11.2); the two identifiers name an essence container's data, too.
inline constexpr Tag editUnitByteCount = 0x3f05;
inline constexpr Tag indexSID = 0x3f06;
inline constexpr Tag bodySID = 0x3f07;
inline constexpr Tag sliceCount = 0x3f08;
inline constexpr Tag deltaEntryArray = 0x3f09;
inline constexpr Tag indexEntryArray = 0x3f0a;
inline constexpr Tag indexStartPosition = 0x3f0c;
inline constexpr Tag indexDuration = 0x3f0d;

} // namespace media::mxf::localTag
