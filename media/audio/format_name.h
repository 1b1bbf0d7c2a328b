// SPDX-License-Identifier: GPL-3.0-or-later
// What people call the sound formats, for sentences.
#pragma once

#include <string>

#include "media/audio/stream_description.h"

namespace media::audio {

/// "AAC", "Apple Lossless" …; the four characters of a code that nothing here knows ("QDM2"), or its number
/// when they can't be printed.
[[nodiscard]] inline std::string formatName(FourCC formatID) {
    switch (formatID) {
    case audioFormat::linearPCM:
        return "linear PCM";
    case audioFormat::aac:
        return "AAC";
    case audioFormat::appleLossless:
        return "Apple Lossless";
    case audioFormat::ac3:
        return "AC-3";
    case audioFormat::eac3:
        return "E-AC-3";
    case audioFormat::mp3:
        return "MP3";
    case audioFormat::opus:
        return "Opus";
    case audioFormat::flac:
        return "FLAC";
    case audioFormat::ima4:
        return "IMA 4:1";
    case audioFormat::aLaw:
        return "A-law";
    case audioFormat::muLaw:
        return "mu-law";
    default:
        break;
    }
    std::string name;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto character = static_cast<char>(formatID >> shift & 0xFF);
        if (character < ' ' || character > '~')
            return "code " + std::to_string(formatID);
        name += character;
    }
    return name;
}

} // namespace media::audio
