// SPDX-License-Identifier: GPL-3.0-or-later
// Compressed sound without our own containers: packets that ffmpeg wrote, and packets for ffmpeg to read.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "media/audio/codec.h"

namespace test {

struct PacketTrack {
    media::FormatDescription format;
    std::vector<std::vector<std::byte>> packets;
};

/// The packets of a clip's first sound track, found by ffprobe, with the format that a reader would state.
/// Knows what `ffmpeg` writes into QuickTime and MPEG-4 files.
[[nodiscard]] PacketTrack readPackets(const std::filesystem::path& path, media::FourCC formatID);

/// What an encoder made.
struct EncodedTrack {
    media::audio::EncodedFormat format;
    std::vector<std::vector<std::byte>> packets;
    std::vector<std::uint32_t> frames; ///< by packet
};

/// Encodes interleaved PCM, handed over in pieces of changing lengths.
[[nodiscard]] EncodedTrack encode(const media::audio::EncoderSettings& settings,
                                  const std::vector<std::byte>& pcm);

/// Writes an encoder's packets as a Core Audio Format file (Apple, "Core Audio Format Specification 1.0").
void writeCAF(const std::filesystem::path& path, const EncodedTrack& track);

/// Everything in a file's first sound track that ffmpeg's decoder delivers, priming included, interleaved in
/// one of ffmpeg's raw formats.
[[nodiscard]] std::vector<std::byte> decodeAll(const std::filesystem::path& path, const std::string& format);

} // namespace test
