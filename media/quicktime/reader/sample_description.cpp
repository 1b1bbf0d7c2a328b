// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/sample_description.h"

#include <algorithm>

#include "media/quicktime/reader/sound_description.h"
#include "media/quicktime/reader/timecode_description.h"

namespace media::quicktime {

namespace {

constexpr std::size_t mostEntries = 1024;
constexpr std::size_t entryHead = 16;

MediaType mediaTypeOf(FourCC handler, FourCC entryType) {
    if (entryType == fourCC("tmcd") || entryType == fourCC("tc64"))
        return MediaType::timecode;
    switch (handler) {
    case fourCC("vide"):
        return MediaType::video;
    case fourCC("soun"):
        return MediaType::audio;
    case fourCC("tmcd"):
    case fourCC("tc64"):
        return MediaType::timecode;
    default:
        return MediaType::other;
    }
}

const char* nameOf(MediaType type) {
    switch (type) {
    case MediaType::video:
        return "picture";
    case MediaType::audio:
        return "sound";
    case MediaType::timecode:
        return "timecode";
    case MediaType::other:
        break;
    }
    return "track";
}

/// Coded width and height (ISO/IEC 14496-12, VisualSampleEntry).
FormatDescription videoFormat(const SampleEntry& entry) {
    constexpr std::size_t sizeOffset = 32;
    FormatDescription format;
    if (entry.bytes.size() >= sizeOffset + 4) {
        io::ByteReader reader(entry.bytes.subspan(sizeOffset));
        const std::int32_t width = reader.u16();
        format.video = {width, reader.u16()};
    }
    return format;
}

std::vector<SampleEntry> entriesOf(std::span<const std::byte> descriptions) {
    std::vector<SampleEntry> entries;
    if (descriptions.size() < 8)
        return entries;
    io::ByteReader reader(descriptions);
    const FullBoxHeader head(reader);
    const std::uint32_t count = reader.u32();
    while (entries.size() < count && entries.size() < mostEntries && reader.remaining() >= entryHead) {
        io::ByteReader peek = reader;
        const std::uint32_t size = peek.u32();
        if (size < entryHead)
            break;
        SampleEntry entry;
        entry.tableVersion = head.version;
        entry.type = peek.u32();
        peek.skip(6);
        entry.dataReference = peek.u16();
        entry.bytes = reader.bytes(std::min<std::size_t>(size, reader.remaining()));
        entries.push_back(entry);
    }
    return entries;
}

} // namespace

SampleDescriptions readSampleDescriptions(const TrackHeader& track) {
    SampleDescriptions result;
    const std::vector<SampleEntry> entries = entriesOf(track.descriptions);
    result.mediaType = mediaTypeOf(track.handler, entries.empty() ? 0 : entries.front().type);
    for (const SampleEntry& entry : entries) {
        FormatDescription format;
        PacketLayout layout;
        if (result.mediaType == MediaType::audio) {
            SoundDescription sound = readSoundDescription(entry, track);
            format = std::move(sound.format);
            layout = sound.layout;
        } else if (result.mediaType == MediaType::timecode) {
            format = readTimecodeDescription(entry);
        } else if (result.mediaType == MediaType::video) {
            format = videoFormat(entry);
        }
        format.mediaType = result.mediaType;
        format.mediaSubType = entry.type;
        const std::size_t reference = entry.dataReference;
        if (reference >= 1 && reference <= track.externalData.size() && track.externalData[reference - 1])
            format.unreadable = std::string("The ") + nameOf(result.mediaType) + " lies in another file.";
        result.formats.push_back(std::move(format));
        result.layouts.push_back(layout);
    }
    return result;
}

} // namespace media::quicktime
