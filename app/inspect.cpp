// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/inspect.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <functional>
#include <iterator>
#include <memory>
#include <vector>

#include "media/audio/format_name.h"
#include "media/open.h"
#include "media/track/container_facts.h"
#include "pack/clip_records.h"
#include "pack/number_text.h"
#include "pack/timecode_track.h"

namespace CLI {

namespace {

using media::FormatDescription;
using media::Track;

std::string text(const media::Time& time) {
    return Pack::fixedText(time.seconds(), 3) + " s (" + std::to_string(time.value) + "/" +
           std::to_string(time.timescale) + ")";
}

std::string text(media::Container::Date date) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(date);
    std::tm utc{};
    std::string line(32, '\0');
    if (::gmtime_r(&seconds, &utc) == nullptr)
        return "out of range";
    line.resize(std::strftime(line.data(), line.size(), "%Y-%m-%d %H:%M:%S UTC", &utc));
    return line;
}

std::string kindOf(const Track& track) {
    switch (track.mediaType) {
    case media::MediaType::video:
        return "picture";
    case media::MediaType::audio:
        return "sound";
    case media::MediaType::timecode:
        return "timecode";
    case media::MediaType::other:
        break;
    }
    return "other";
}

std::string soundText(const media::AudioStreamDescription& sound) {
    std::string line = media::audio::formatName(sound.formatID) + ", " + Pack::generalText(sound.sampleRate) +
                       " Hz, " + std::to_string(sound.channelsPerFrame) +
                       (sound.channelsPerFrame == 1 ? " channel" : " channels");
    if (!sound.isLinearPCM())
        return line;
    line += ", " + std::to_string(sound.bitsPerChannel) + (sound.isFloat() ? " bits float" : " bits");
    return line + ((sound.formatFlags & media::pcmFlag::bigEndian) != 0 ? ", big-endian" : ", little-endian");
}

std::string timecodeText(const media::TimecodeDescription& timecode) {
    std::string line = ", base " + std::to_string(timecode.base);
    if (timecode.rate.num != 0)
        line +=
            ", frame " + std::to_string(timecode.rate.den) + "/" + std::to_string(timecode.rate.num) + " s";
    return line + (timecode.dropFrame ? ", drop frame" : "");
}

std::string text(const FormatDescription& format) {
    const bool isPlain = format.audio && format.audio->formatID == format.mediaSubType;
    std::string line = isPlain                    ? ""
                       : format.mediaSubType == 0 ? "of the clip's own form"
                                                  : media::audio::formatName(format.mediaSubType);
    if (format.video)
        line += ", " + std::to_string(format.video->width) + " x " + std::to_string(format.video->height);
    if (format.audio)
        line += (isPlain ? "" : ", ") + soundText(*format.audio);
    if (format.timecode)
        line += timecodeText(*format.timecode);
    if (!format.sampleEntry.empty())
        line += ", description of " + std::to_string(format.sampleEntry.size()) + " bytes";
    if (!format.unreadable.empty())
        line += ": " + format.unreadable;
    return line;
}

std::string text(const media::Edit& edit) {
    const std::string range = text(edit.duration) + " from " + text(edit.start) + ": ";
    return range +
           (edit.mediaTime == media::emptyEdit ? "empty" : "media from " + std::to_string(edit.mediaTime));
}

/// Cameras keep whole documents in a text.
std::string text(const media::MetadataItem& item) {
    constexpr std::size_t longest = 200;
    const std::string value = item.stringValue.value_or("");
    if (value.size() <= longest)
        return item.identifier + " = " + value;
    return item.identifier + " = " + value.substr(0, longest) + "… (" + std::to_string(value.size()) +
           " bytes)";
}

/// The tracks of all kinds, in file order.
std::vector<std::reference_wrapper<const Track>> allTracks(const media::Asset& asset) {
    std::vector<std::reference_wrapper<const Track>> tracks;
    for (const auto type : {media::MediaType::video, media::MediaType::audio, media::MediaType::timecode,
                            media::MediaType::other})
        std::ranges::copy(asset.tracks(type), std::back_inserter(tracks));
    std::ranges::sort(tracks, {}, &Track::index);
    return tracks;
}

void describe(const Track& track, Console& console) {
    std::string head = "  track " + std::to_string(track.index + 1) + ": " + kindOf(track) + ", time scale " +
                       std::to_string(track.timescale);
    if (track.mediaType == media::MediaType::video)
        head +=
            ", " + Pack::generalText(std::round(track.nominalFrameRate * 1000) / 1000) + " frames a second";
    console.print(head + (track.endsWithMedia ? ", ends with its media" : ""));
    for (const FormatDescription& format : track.formatDescriptions)
        console.print("    " + text(format));
    constexpr std::size_t mostEdits = 20;
    for (std::size_t i = 0; i < std::min(track.edits.size(), mostEdits); ++i)
        console.print("    edit of " + text(track.edits[i]));
    if (track.edits.size() > mostEdits)
        console.print("    and " + std::to_string(track.edits.size() - mostEdits) + " more edits");
}

/// The start timecode and where it stands, or why there is none.
std::string startText(const media::Asset& asset, const std::string& origin) {
    try {
        const Track& track = Pack::timecodeTrack(asset);
        return Pack::timecode(asset).label() + ", from " +
               (origin.empty() ? "track " + std::to_string(track.index + 1) : origin);
    } catch (const std::exception&) {
        const PackFailure failure = Pack::currentFailure();
        return "none: " + (failure.reason.empty() ? failure.description : failure.reason);
    }
}

void describe(const std::string& path, Console& console) {
    const auto source = media::io::openFile(path);
    const std::shared_ptr<const media::Container> container = media::openContainer(source);
    const media::Asset asset(source, container);
    const auto* facts = dynamic_cast<const media::ContainerFacts*>(container.get());
    console.print("  " + (facts != nullptr ? facts->formatName() + ", " : "") + text(asset.duration()));
    if (const auto date = asset.creationDate())
        console.print("  recorded " + text(*date));
    console.print("  start " + startText(asset, facts != nullptr ? facts->timecodeOrigin() : ""));
    for (const Track& track : allTracks(asset))
        describe(track, console);
    for (const media::MetadataItem& item : asset.metadata())
        console.print("  " + text(item));
    console.print("  read " + std::to_string(asset.bytesRead()) + " bytes");
}

} // namespace

ExitCode inspect(std::span<const std::string> arguments, Console& console) {
    ExitCode code = packed;
    auto path = std::ranges::find(arguments, "--inspect");
    if (arguments.end() - path < 2) {
        console.note("usage: ferrowick --inspect CLIP…");
        return usage;
    }
    for (++path; path != arguments.end(); ++path) {
        console.print(*path);
        try {
            describe(*path, console);
        } catch (const std::exception&) {
            console.print("  can't be opened: " + Pack::currentErrorDescription());
            code = notPacked;
        }
    }
    return console.outputIsWhole() ? code : notPacked;
}

} // namespace CLI
