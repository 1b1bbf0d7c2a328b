// SPDX-License-Identifier: GPL-3.0-or-later
// Turns a run of PCM into Apple Lossless packets. Packets do not know of each other: what a run is cut into
// for several coders does not show in the bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "media/audio/alac/analysis.h"
#include "media/audio/alac/channel_coder.h"
#include "media/audio/codec.h"

namespace media::audio::alac {

class BitWriter;

enum class Path { fastest, portable };

/// The format holds up to eight, but in an order of its own, which programs undo in different ways.
inline constexpr std::uint32_t maxChannels = 2;

class PacketCoder {
  public:
    /// 1 to maxChannels channels; bits 16, 24 or 32.
    PacketCoder(std::uint32_t channels, int bits, Path path = Path::fastest);

    /// The largest run that `encode` takes, in frames: enough packets to fill the vector unit's lanes.
    [[nodiscard]] static std::size_t maxFrames(std::uint32_t channels) {
        return (channels == 1 ? 16 : 8) * std::size_t{packetFrames};
    }

    /// Takes up to packetFrames whole frames, interleaved little-endian samples, for the run's next packet;
    /// only a stream's last one has fewer. False when the run is full.
    [[nodiscard]] bool add(std::span<const std::byte> pcm);
    /// Gives out the run's packets and begins the next one.
    void code(const PacketSink& sink);
    /// A whole run, at most maxFrames frames.
    void encode(std::span<const std::byte> pcm, const PacketSink& sink);

  private:
    struct Packet {
        std::uint32_t frames = 0;
        bool silent = false;
        std::size_t firstJob = 0;
        Mixing mixing;
        const std::int16_t* high = nullptr; ///< of its samples, channels interleaved
        const std::uint8_t* low = nullptr;
    };

    void makeRoom();
    void prepare(Packet& packet, std::size_t slot, std::span<const std::byte> pcm);
    [[nodiscard]] std::span<const std::byte> assemble(const Packet& packet, std::span<const ChannelJob> jobs,
                                                      int shiftBytes);
    void putUncompressed(BitWriter& out, const Packet& packet, std::size_t firstChannel, std::size_t count);
    [[nodiscard]] std::vector<std::byte> silentPacket();

    std::uint32_t channels_;
    std::size_t bytes_; ///< of a sample
    Path path_;

    std::vector<Packet> run_;
    std::vector<ChannelJob> jobs_;           ///< of the packets that are not silent
    std::unique_ptr<std::int16_t[]> high_;   ///< per packet: channels interleaved
    std::unique_ptr<std::uint8_t[]> low_;    ///< per packet: the bytes below, channels interleaved
    std::unique_ptr<std::int16_t[]> planes_; ///< per packet and channel; unused for mono
    std::unique_ptr<std::uint8_t[]> code_;   ///< per job
    std::vector<std::uint8_t> gathered_;
    std::vector<std::uint8_t> packet_;
    std::vector<std::byte> silence_; ///< a whole silent packet
};

} // namespace media::audio::alac
