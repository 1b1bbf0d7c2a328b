// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/packets.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numeric>
#include <sstream>

#include "media/io/byte_reader.h"
#include "media/io/byte_writer.h"
#include "tests/support/command.h"
#include "tests/support/probe.h"
#include "tests/support/temporary_folder.h"

namespace test {
namespace {

namespace audioFormat = media::audioFormat;
using media::fourCC;
using media::io::ByteReader;
using media::io::ByteWriter;

std::vector<std::byte> readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::byte> bytes(std::filesystem::file_size(path));
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

/// ffprobe's answer with its indents and names left off.
std::string ask(const std::filesystem::path& path, const std::vector<std::string>& question) {
    std::vector<std::string> command = {"ffprobe",         "-v", "error", "-ignore_editlist", "1",
                                        "-select_streams", "a:0"};
    command.insert(command.end(), question.begin(), question.end());
    command.push_back(path.string());
    return runChecked(command);
}

/// What libavformat hands to decoders, out of ffprobe's dump of it: lines such as
/// "00000000: 1190 56e5 00      ..V..".
std::vector<std::byte> extradata(const std::filesystem::path& path) {
    std::istringstream dump(
        ask(path, {"-show_data", "-show_entries", "stream=extradata", "-of", "default=nk=1"}));
    std::vector<std::byte> bytes;
    for (std::string line; std::getline(dump, line);) {
        if (line.size() < 10 || line[8] != ':')
            continue;
        std::string digits;
        for (const char c : line.substr(10, 40))
            if (c != ' ')
                digits += c;
        for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
            bytes.push_back(static_cast<std::byte>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

/// The same in the form that stands in the container.
std::vector<std::byte> configuration(std::span<const std::byte> extradata, media::FourCC formatID) {
    ByteReader reader(extradata);
    ByteWriter writer;
    const auto swapped = [&](std::size_t count) {
        const auto bytes = reader.bytes(count);
        for (std::size_t i = count; i-- > 0;)
            writer.u8(std::to_integer<std::uint8_t>(bytes[i]));
    };
    switch (formatID) {
    case audioFormat::appleLossless:
        reader.skip(12);
        break;
    case audioFormat::opus: // "OpusHead" and its version, then little-endian numbers
        reader.skip(9);
        writer.u8(0);
        writer.u8(reader.u8());
        swapped(2);
        swapped(4);
        swapped(2);
        break;
    case audioFormat::flac:
        writer.u32(0x80000000 | static_cast<std::uint32_t>(extradata.size()));
        break;
    default:
        break;
    }
    writer.raw(reader.rest());
    return writer.take();
}

/// The elementary stream descriptor of AAC (ISO/IEC 14496-1, 7.2.6), with one-byte lengths, as in `esds`.
std::vector<std::byte> streamDescriptor(std::span<const std::byte> audioSpecificConfig) {
    ByteWriter writer;
    const auto size = static_cast<std::uint8_t>(audioSpecificConfig.size());
    writer.u32(0);
    writer.u8(3);
    writer.u8(static_cast<std::uint8_t>(3 + 2 + 13 + 2 + size));
    writer.u16(0);
    writer.u8(0);
    writer.u8(4);
    writer.u8(static_cast<std::uint8_t>(13 + 2 + size));
    writer.u8(0x40);
    writer.u8(0x15);
    writer.zeros(11);
    writer.u8(5);
    writer.u8(size);
    writer.raw(audioSpecificConfig);
    return writer.take();
}

} // namespace

PacketTrack readPackets(const std::filesystem::path& path, media::FourCC formatID) {
    const Probe probe(path);
    const std::size_t stream = probe.streams("audio").at(0);
    PacketTrack track;
    track.format.mediaType = media::MediaType::audio;
    track.format.audio.emplace();
    track.format.audio->formatID = formatID;
    track.format.audio->sampleRate = std::stod(probe.stream(stream, "sample_rate"));
    track.format.audio->channelsPerFrame =
        static_cast<std::uint32_t>(std::stoul(probe.stream(stream, "channels")));
    track.format.decoderConfiguration = configuration(extradata(path), formatID);

    const std::vector<std::byte> file = readFile(path);
    std::istringstream list(ask(path, {"-show_entries", "packet=size,pos", "-of", "csv=p=0"}));
    for (std::string line; std::getline(list, line);) {
        const std::size_t comma = line.find(',');
        if (comma == std::string::npos)
            continue;
        ByteReader reader(file);
        reader.skip(std::stoull(line.substr(comma + 1)));
        const auto bytes = reader.bytes(std::stoull(line));
        track.packets.emplace_back(bytes.begin(), bytes.end());
    }
    return track;
}

EncodedTrack encode(const media::audio::EncoderSettings& settings, const std::vector<std::byte>& pcm) {
    const auto encoder = media::audio::makeEncoder(settings);
    EncodedTrack track;
    const media::audio::PacketSink sink = [&](std::span<const std::byte> packet, std::uint32_t frames) {
        track.packets.emplace_back(packet.begin(), packet.end());
        track.frames.push_back(frames);
    };
    const std::size_t frame =
        std::size_t{settings.channels} * static_cast<std::size_t>(settings.inputBits) / 8;
    std::span<const std::byte> rest(pcm);
    for (std::size_t frames = 1; !rest.empty(); frames = (frames * 7 + 11) % 9'001) {
        const auto piece = rest.first(std::min(rest.size(), frames * frame));
        encoder->encode(piece, sink);
        rest = rest.subspan(piece.size());
    }
    encoder->finish(sink);
    track.format = encoder->format();
    return track;
}

void writeCAF(const std::filesystem::path& path, const EncodedTrack& track) {
    const media::audio::EncodedFormat& format = track.format;
    const bool pcm = format.formatID == audioFormat::linearPCM;
    const bool aac = format.formatID == audioFormat::aac;
    ByteWriter writer;
    const auto chunk = [&](media::FourCC type, const std::vector<std::byte>& content) {
        writer.u32(type);
        writer.u64(content.size());
        writer.raw(content);
    };
    writer.u32(fourCC("caff"));
    writer.u16(1);
    writer.u16(0);

    ByteWriter description;
    description.f64(format.sampleRate);
    description.u32(format.formatID);
    description.u32(pcm || aac ? 2 : format.bitsPerChannel / 8 - 1); // little-endian; AAC LC; source depth
    description.u32(pcm ? format.channels * format.bitsPerChannel / 8 : 0);
    description.u32(format.framesPerPacket);
    description.u32(format.channels);
    description.u32(pcm ? format.bitsPerChannel : 0);
    chunk(fourCC("desc"), description.bytes());
    if (!pcm) {
        chunk(fourCC("kuki"), aac ? streamDescriptor(format.configuration) : format.configuration);
        ByteWriter table;
        table.u64(track.packets.size());
        table.u64(std::accumulate(track.frames.begin(), track.frames.end(), std::uint64_t{0}));
        table.u64(0);
        for (const auto& packet : track.packets) {
            for (int shift = 21; shift > 0; shift -= 7)
                if (packet.size() >> shift != 0)
                    table.u8(static_cast<std::uint8_t>(0x80 | (packet.size() >> shift & 0x7F)));
            table.u8(static_cast<std::uint8_t>(packet.size() & 0x7F));
        }
        chunk(fourCC("pakt"), table.bytes());
    }
    ByteWriter data;
    data.u32(0); // edit count
    for (const auto& packet : track.packets)
        data.raw(packet);
    chunk(fourCC("data"), data.bytes());

    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(writer.bytes().data()),
               static_cast<std::streamsize>(writer.size()));
}

std::vector<std::byte> decodeAll(const std::filesystem::path& path, const std::string& format) {
    const TemporaryFolder folder;
    const std::filesystem::path raw = folder / "decoded";
    std::vector<std::string> command = {"ffmpeg", "-nostdin", "-v", "error"};
    if (path.extension() != ".caf")
        command.insert(command.end(), {"-ignore_editlist", "1"});
    command.insert(command.end(), {"-flags2", "+skip_manual", "-i", path.string(), "-map", "0:a:0", "-f",
                                   format, raw.string()});
    runChecked(command);
    return readFile(raw);
}

} // namespace test
