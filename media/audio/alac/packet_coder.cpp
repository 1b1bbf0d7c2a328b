// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/alac/packet_coder.h"

#include <algorithm>
#include <cstring>

#include "media/audio/alac/bit_writer.h"
#include "media/audio/alac/pcm_split.h"

namespace media::audio::alac {
namespace {

constexpr std::size_t channelHeaderBits = 16 + 16 * predictorOrder;

bool isSilent(std::span<const std::byte> pcm) {
    return pcm[0] == std::byte{0} && std::memcmp(pcm.data(), pcm.data() + 1, pcm.size() - 1) == 0;
}

enum class ElementTag : std::uint8_t { single = 0, pair = 1, end = 7 };

/// The header of one channel or of a pair; `instance` counts those of the same tag in a packet.
void putElementHeader(BitWriter& out, std::size_t channels, unsigned instance, std::uint32_t frames,
                      int shiftBytes, bool escape) {
    const bool partial = frames != packetFrames;
    out.put(static_cast<std::uint64_t>(channels == 2 ? ElementTag::pair : ElementTag::single), 3);
    out.put(instance, 4);
    out.put(0, 12);
    out.put(partial ? 1 : 0, 1);
    out.put(static_cast<std::uint64_t>(shiftBytes), 2);
    out.put(escape ? 1 : 0, 1);
    if (partial)
        out.put(frames, 32);
}

void putPredictorHeader(BitWriter& out, const Coefficients& coefficients) {
    out.put(0, 4); // one pass of prediction
    out.put(predictorShift, 4);
    out.put(4, 3); // the cookie's history multiplier as it is
    out.put(predictorOrder, 5);
    for (const std::int16_t c : coefficients)
        out.put(static_cast<std::uint16_t>(c), 16);
}

} // namespace

PacketCoder::PacketCoder(std::uint32_t channels, int bits, Path path)
    : channels_(channels), bytes_(static_cast<std::size_t>(bits) / 8), path_(path) {
    gathered_.resize(packetFrames * channels * bytes_ + BitWriter::slack);
    packet_.resize(packetFrames * channels * bytes_ + channels * 8 + 2 * BitWriter::slack);
}

/// Memory is taken for a whole run; what a short stream does not touch costs nothing.
void PacketCoder::makeRoom() {
    const auto make = []<typename Number>(std::unique_ptr<Number[]>& numbers, std::size_t count) {
        numbers = std::make_unique_for_overwrite<Number[]>(count);
    };
    const std::size_t samples = maxFrames(channels_) * channels_;
    const std::size_t packets = maxFrames(channels_) / packetFrames;
    run_.reserve(packets);
    jobs_.reserve(packets * channels_);
    make(high_, samples);
    make(low_, samples * (bytes_ - 2) + BitWriter::slack);
    make(planes_, channels_ == 1 ? 0 : samples);
    make(code_, packets * channels_ * codeCapacity);
}

bool PacketCoder::add(std::span<const std::byte> pcm) {
    if (!high_)
        makeRoom();
    Packet& packet = run_.emplace_back();
    packet.frames = static_cast<std::uint32_t>(pcm.size() / (channels_ * bytes_));
    packet.silent = packet.frames == packetFrames && isSilent(pcm);
    if (!packet.silent)
        prepare(packet, run_.size() - 1, pcm);
    return run_.size() < maxFrames(channels_) / packetFrames;
}

void PacketCoder::encode(std::span<const std::byte> pcm, const PacketSink& sink) {
    const std::size_t packetBytes = packetFrames * channels_ * bytes_;
    for (; !pcm.empty(); pcm = pcm.subspan(std::min(pcm.size(), packetBytes)))
        (void)add(pcm.first(std::min(pcm.size(), packetBytes)));
    code(sink);
}

void PacketCoder::code(const PacketSink& sink) {
    if (path_ == Path::portable)
        codeChannelsPortable(jobs_);
    else
        codeChannels(jobs_);
    for (const Packet& packet : run_) {
        if (packet.silent && silence_.empty())
            silence_ = silentPacket();
        if (packet.silent)
            sink(silence_, packet.frames);
        else
            sink(assemble(packet, std::span(jobs_).subspan(packet.firstJob, channels_),
                          static_cast<int>(bytes_) - 2),
                 packet.frames);
    }
    run_.clear();
    jobs_.clear();
}

/// Splits the packet's samples, mixes a pair and makes a job of every channel.
void PacketCoder::prepare(Packet& packet, std::size_t slot, std::span<const std::byte> pcm) {
    const std::size_t samples = slot * packetFrames * channels_;
    std::int16_t* const high = high_.get() + samples;
    std::uint8_t* const low = low_.get() + samples * (bytes_ - 2);
    const int bits = static_cast<int>(bytes_) * 8;
    if (path_ == Path::portable)
        splitSamplesPortable(pcm, bits, high, low);
    else
        splitSamples(pcm, bits, high, low);
    packet.high = high;
    packet.low = low;
    packet.firstJob = jobs_.size();
    std::array<std::span<std::int16_t>, maxChannels> planes{std::span(high, packet.frames)};
    if (channels_ == 2) {
        std::int16_t* const plane = planes_.get() + samples;
        planes = {std::span(plane, packet.frames), std::span(plane + packetFrames, packet.frames)};
        for (std::size_t frame = 0; frame < packet.frames; ++frame) {
            planes[0][frame] = high[2 * frame];
            planes[1][frame] = high[2 * frame + 1];
        }
        packet.mixing = mixPair(planes[0], planes[1]);
    }
    for (const std::span<std::int16_t> plane : std::span(planes).first(channels_)) {
        const std::size_t number = jobs_.size();
        ChannelJob& job = jobs_.emplace_back();
        job.samples = plane;
        job.residualBits = channels_ == 2 ? 17 : 16;
        job.coefficients = startingCoefficients(plane);
        job.code = code_.get() + number * codeCapacity;
    }
}

std::span<const std::byte> PacketCoder::assemble(const Packet& packet, std::span<const ChannelJob> jobs,
                                                 int shiftBytes) {
    BitWriter out(packet_.data());
    std::size_t size = 16;
    bool usable = true;
    for (const ChannelJob& job : jobs) {
        size += channelHeaderBits + job.codedBits + packet.frames * 8 * static_cast<std::size_t>(shiftBytes);
        usable = usable && job.usable;
    }
    if (usable && size < packet.frames * channels_ * bytes_ * 8) {
        putElementHeader(out, channels_, 0, packet.frames, shiftBytes, false);
        out.put(packet.mixing.shift, 8);
        out.put(packet.mixing.weight, 8);
        for (const ChannelJob& job : jobs)
            putPredictorHeader(out, job.coefficients);
        out.append(packet.low, packet.frames * channels_ * static_cast<std::size_t>(shiftBytes) * 8);
        for (const ChannelJob& job : jobs)
            out.append(job.code, job.codedBits);
    } else {
        // Some decoders take no pair whose difference would have more than 32 bits, and find that out before
        // they see that it is uncompressed: it goes as two channels.
        const std::size_t together = bytes_ == 4 ? 1 : channels_;
        for (std::size_t first = 0; first < channels_; first += together) {
            putElementHeader(out, together, static_cast<unsigned>(first), packet.frames, 0, true);
            putUncompressed(out, packet, first, together);
        }
    }
    out.put(static_cast<std::uint64_t>(ElementTag::end), 3);
    out.align();
    return std::as_bytes(std::span(packet_).first(out.bitCount() / 8));
}

void PacketCoder::putUncompressed(BitWriter& out, const Packet& packet, std::size_t firstChannel,
                                  std::size_t count) {
    std::uint8_t* to = gathered_.data();
    for (std::size_t frame = 0; frame < packet.frames; ++frame)
        for (std::size_t channel = firstChannel; channel < firstChannel + count; ++channel) {
            const std::size_t sample = frame * channels_ + channel;
            const auto high = static_cast<std::uint16_t>(packet.high[sample]);
            *to++ = static_cast<std::uint8_t>(high >> 8);
            *to++ = static_cast<std::uint8_t>(high & 0xFF);
            to = std::copy_n(packet.low + sample * (bytes_ - 2), bytes_ - 2, to);
        }
    out.append(gathered_.data(), static_cast<std::size_t>(to - gathered_.data()) * 8);
}

/// Up to 24 bits silence needs no low bytes: a run of zeros in every channel is a packet of a few bytes. With
/// 32 the difference of a pair would need more bits than decoders take, so the low bytes stay.
std::vector<std::byte> PacketCoder::silentPacket() {
    const std::vector<std::int16_t> zeros(packetFrames);
    const std::vector<std::uint8_t> low(std::size_t{packetFrames} * channels_ * 2 + BitWriter::slack);
    std::vector<std::uint8_t> code(codeCapacity);
    ChannelJob job;
    job.samples = zeros;
    job.code = code.data();
    codeChannelsPortable({&job, 1});
    const std::vector<ChannelJob> jobs(channels_, job);
    Packet packet;
    packet.frames = packetFrames;
    packet.low = low.data();
    const std::span<const std::byte> bytes = assemble(packet, jobs, bytes_ == 4 ? 2 : 0);
    return {bytes.begin(), bytes.end()};
}

} // namespace media::audio::alac
