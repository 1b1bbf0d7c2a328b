// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/sndfile_lossless.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include <sndfile.h>

#include "media/base/byte_writer.h"

namespace test {
namespace {

using media::fourCC;

/// Apple Core Audio Format 1.0: description, cookie, packet table, packets.
media::io::ByteWriter coreAudioFile(std::span<const std::byte> cookie,
                                    std::span<const std::vector<std::byte>> packets, std::size_t frames) {
    constexpr std::size_t framesPerPacket = 4096;
    const auto depth = std::to_integer<std::uint32_t>(cookie[5]);
    media::io::ByteWriter file, table;
    std::size_t bytes = 0;
    for (const auto& packet : packets) {
        for (int shift = 21; shift >= 0; shift -= 7) // seven bits a byte, all but the last marked
            if (shift == 0 || packet.size() >> shift != 0)
                table.u8(static_cast<std::uint8_t>((packet.size() >> shift & 0x7F) | (shift > 0 ? 0x80 : 0)));
        bytes += packet.size();
    }
    const auto chunk = [&](const char(&type)[5], std::size_t size) {
        file.text(type);
        file.u64(size);
    };
    file.text("caff");
    file.u32(0x10000);
    chunk("desc", 32);
    file.f64(48'000);
    file.text("alac");
    file.u32(depth / 8 - (depth == 16 ? 1 : 0)); // 1, 3, 4: made from 16, 24, 32 bits
    file.u32(0);
    file.u32(framesPerPacket);
    file.u32(std::to_integer<std::uint32_t>(cookie[9]));
    file.u32(0);
    chunk("kuki", cookie.size());
    file.raw(cookie);
    chunk("pakt", 24 + table.size());
    file.u64(packets.size());
    file.u64(frames);
    file.u32(0);
    file.u32(static_cast<std::uint32_t>(packets.size() * framesPerPacket - frames));
    file.raw(table.bytes());
    chunk("data", 4 + bytes);
    file.u32(0);
    for (const auto& packet : packets)
        file.raw(packet);
    return file;
}

/// A file in memory, as libsndfile's callbacks see it.
struct Memory {
    std::span<const std::byte> bytes;
    sf_count_t place = 0;
};

} // namespace

std::vector<std::byte> decodeBySndfile(std::span<const std::byte> cookie,
                                       std::span<const std::vector<std::byte>> packets, std::size_t frames) {
    const auto file = coreAudioFile(cookie, packets, frames);
    Memory memory{file.bytes()};
    SF_VIRTUAL_IO io{};
    io.get_filelen = [](void* user) {
        return static_cast<sf_count_t>(static_cast<Memory*>(user)->bytes.size());
    };
    io.seek = [](sf_count_t offset, int whence, void* user) {
        auto& in = *static_cast<Memory*>(user);
        return in.place = offset + (whence == SEEK_CUR   ? in.place
                                    : whence == SEEK_END ? static_cast<sf_count_t>(in.bytes.size())
                                                         : 0);
    };
    io.read = [](void* to, sf_count_t count, void* user) {
        auto& in = *static_cast<Memory*>(user);
        count = std::min(count, static_cast<sf_count_t>(in.bytes.size()) - in.place);
        std::memcpy(to, in.bytes.data() + in.place, static_cast<std::size_t>(count));
        in.place += count;
        return count;
    };
    io.tell = [](void* user) { return static_cast<Memory*>(user)->place; };
    SF_INFO info{};
    SNDFILE* const sound = sf_open_virtual(&io, SFM_READ, &info, &memory);
    if (sound == nullptr)
        throw std::runtime_error(sf_strerror(nullptr));
    std::vector<int> samples((frames + 1) * static_cast<std::size_t>(info.channels));
    const auto read =
        static_cast<std::size_t>(sf_readf_int(sound, samples.data(), static_cast<sf_count_t>(frames + 1)));
    sf_close(sound);
    std::vector<std::byte> pcm;
    const int depth = std::to_integer<int>(cookie[5]);
    samples.resize(read * static_cast<std::size_t>(info.channels));
    for (const int sample : samples) // the sample's high bits are the integer's
        for (int shift = 32 - depth; shift < 32; shift += 8)
            pcm.push_back(static_cast<std::byte>(sample >> shift));
    return pcm;
}

} // namespace test
