// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/report.h"

#include <array>
#include <cmath>

#include "pack/number_text.h"
#include "platform/text.h"

namespace Pack {

namespace {

constexpr std::string_view header =
    "Folder,Clip,Original File,Start TC,End TC,FPS,Frames,Seconds,Scratch Audio,Scratch Tracks,"
    "Tracks With Sound,Camera,UMID,Original MB,Pack MB,Notes\n";

/// One line's fields, in the order of the header.
struct Line {
    std::string folder, clip, originalFile;
    std::string start, end, fps, frames, seconds;
    std::string scratchAudio, scratchTracks, tracksWithSound;
    std::string camera, umid, originalMB, packMB, notes;
};

std::string megabytes(std::int64_t bytes) {
    return fixedText(static_cast<double>(bytes) / 1'000'000, 1);
}

template <typename Values, typename Text>
std::string joined(const Values& values, std::string_view separator, Text text) {
    std::string result;
    for (const auto& value : values) {
        if (!result.empty())
            result += separator;
        result += text(value);
    }
    return result;
}

void describe(const PackResult& result, ScratchAudio audio, Line& line) {
    line.start = result.timecode.label();
    line.end = result.timecode.adding(result.frames).label();
    line.fps = generalText(std::round(result.fps * 1000) / 1000);
    line.frames = std::to_string(result.frames);
    line.seconds = fixedText(result.duration, 3);
    line.scratchAudio = title(audio);
    line.scratchTracks = std::to_string(result.audioTracks);
    line.tracksWithSound =
        joined(result.audible, " ", [](std::int64_t track) { return std::to_string(track); });
    line.camera = result.camera;
    line.umid = result.umid;
    line.packMB = megabytes(result.packSize);
    line.notes = joined(result.notes, "; ", [](const std::string& note) { return note; });
}

/// The field as it stands in the file: quoted only where it must be (RFC 4180).
void append(std::string& text, const std::string& value) {
    const std::string field = platform::validUTF8(value);
    if (field.find_first_of(",\"\n") == std::string::npos) {
        text += field;
        return;
    }
    text += '"';
    for (const char character : field) {
        if (character == '"')
            text += '"';
        text += character;
    }
    text += '"';
}

/// A name that stays in its record: outside of quotes some readers (Python's csv module) end a line at a
/// carriage return.
std::string nameText(const std::string& name) {
    std::string text;
    for (const char character : name)
        character == '\r' ? text += "\uFFFD" : text += character;
    return text;
}

} // namespace

std::string report(std::span<const std::pair<PackClip, Outcome>> outcomes, ScratchAudio audio) {
    std::string text(header);
    for (const auto& [clip, outcome] : outcomes) {
        Line line;
        line.folder = nameText(clip.folder());
        line.clip = nameText(clip.name());
        line.originalFile = nameText(clip.fileName());
        line.originalMB = megabytes(clip.size);
        if (const auto* result = std::get_if<PackResult>(&outcome))
            describe(*result, audio, line);
        else
            line.notes = "Not packed: " + std::get<PackFailure>(outcome).description;

        const std::array fields{&line.folder,       &line.clip,          &line.originalFile,    &line.start,
                                &line.end,          &line.fps,           &line.frames,          &line.seconds,
                                &line.scratchAudio, &line.scratchTracks, &line.tracksWithSound, &line.camera,
                                &line.umid,         &line.originalMB,    &line.packMB,          &line.notes};
        for (const std::string* field : fields) {
            if (field != fields.front())
                text += ',';
            append(text, *field);
        }
        text += '\n';
    }
    return text;
}

} // namespace Pack
