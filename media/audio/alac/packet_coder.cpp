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

/// Writes the headers of a packet's elements, counting those of each tag.
class ElementHeaders {
  public:
    explicit ElementHeaders(std::uint32_t frames) : frames_(frames) {}

    void put(BitWriter& out, ElementTag tag, int shiftBytes, bool escape) {
        const bool partial = frames_ != packetFrames;
        out.put(static_cast<std::uint64_t>(tag), 3);
        out.put(counts_.at(static_cast<std::size_t>(tag))++, 4);
        out.put(0, 12);
        out.put(partial ? 1 : 0, 1);
        out.put(static_cast<std::uint64_t>(shiftBytes), 2);
        out.put(escape ? 1 : 0, 1);
        if (partial)
            out.put(frames_, 32);
    }

  private:
    std::uint32_t frames_;
    std::array<std::uint8_t, 8> counts_{};
};

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
    : channels_(channels), bytes_(static_cast<std::size_t>(bits) / 8), path_(path),
      elements_(elementsOf(channels)) {
    gathered_.resize(packetFrames * 2 * bytes_ + BitWriter::slack);
    packet_.resize(packetFrames * channels * bytes_ + channels * 8 + 2 * BitWriter::slack);
}

/// Makes room for so many packets at once; short streams never need it all.
void PacketCoder::reserve(std::size_t packets) {
    if (packets <= run_.capacity())
        return;
    const std::size_t samples = packets * packetFrames * channels_;
    run_.reserve(packets);
    high_.resize(samples);
    low_.resize(samples * (bytes_ - 2) + BitWriter::slack);
    planes_.resize(channels_ == 1 ? 0 : samples);
    mixings_.resize(packets * elements_.size());
    jobs_.reserve(packets * channels_);
    code_.resize(packets * channels_ * codeCapacity);
}

void PacketCoder::encode(std::span<const std::byte> pcm, const PacketSink& sink) {
    const std::size_t packetBytes = packetFrames * channels_ * bytes_;
    run_.clear();
    jobs_.clear();
    reserve((pcm.size() + packetBytes - 1) / packetBytes);
    while (!pcm.empty()) {
        const std::size_t size = std::min(pcm.size(), packetBytes);
        Packet& packet = run_.emplace_back();
        packet.pcm = pcm.first(size);
        packet.frames = static_cast<std::uint32_t>(size / (channels_ * bytes_));
        packet.silent = packet.frames == packetFrames && isSilent(packet.pcm);
        if (!packet.silent)
            prepare(packet, run_.size() - 1);
        pcm = pcm.subspan(size);
    }
    if (path_ == Path::portable)
        codeChannelsPortable(jobs_);
    else
        codeChannels(jobs_);
    for (std::size_t slot = 0; slot < run_.size(); ++slot) {
        const Packet& packet = run_[slot];
        if (packet.silent && silence_.empty())
            silence_ = silentPacket();
        if (packet.silent)
            sink(silence_, packet.frames);
        else
            sink(assemble(packet, std::span(jobs_).subspan(packet.firstJob, channels_),
                          std::span(mixings_).subspan(slot * elements_.size(), elements_.size()),
                          static_cast<int>(bytes_) - 2),
                 packet.frames);
    }
}

/// Splits the packet's samples, mixes its pairs and makes a job of every channel.
void PacketCoder::prepare(Packet& packet, std::size_t slot) {
    const std::size_t samples = slot * packetFrames * channels_;
    std::int16_t* const high = high_.data() + samples;
    std::uint8_t* const low = low_.data() + samples * (bytes_ - 2);
    const int bits = static_cast<int>(bytes_) * 8;
    if (path_ == Path::portable)
        splitSamplesPortable(packet.pcm, bits, high, low);
    else
        splitSamples(packet.pcm, bits, high, low);
    packet.low = low;
    packet.firstJob = jobs_.size();
    std::int16_t* plane = channels_ == 1 ? high : planes_.data() + samples;
    for (std::size_t e = 0; e < elements_.size(); ++e) {
        const Element& element = elements_[e];
        const std::size_t first = jobs_.size();
        std::array<std::span<std::int16_t>, 2> planes;
        for (std::size_t c = 0; c < element.channelCount(); ++c) {
            planes[c] = {plane, packet.frames};
            plane += packetFrames;
            if (channels_ == 1)
                break;
            const std::int16_t* in = high + element.channels[c];
            for (std::int16_t& sample : planes[c]) {
                sample = *in;
                in += channels_;
            }
        }
        if (element.tag == ElementTag::pair)
            mixings_[slot * elements_.size() + e] = mixPair(planes[0], planes[1]);
        for (std::size_t c = 0; c < element.channelCount(); ++c) {
            ChannelJob& job = jobs_.emplace_back();
            job.samples = planes[c];
            job.residualBits = element.tag == ElementTag::pair ? 17 : 16;
            job.coefficients = startingCoefficients(planes[c]);
            job.code = code_.data() + (first + c) * codeCapacity;
        }
    }
}

std::span<const std::byte> PacketCoder::assemble(const Packet& packet, std::span<const ChannelJob> jobs,
                                                 std::span<const Mixing> mixings, int shiftBytes) {
    BitWriter out(packet_.data());
    ElementHeaders headers(packet.frames);
    for (std::size_t e = 0; e < elements_.size(); ++e) {
        const Element& element = elements_[e];
        const std::span<const ChannelJob> channels = jobs.first(element.channelCount());
        jobs = jobs.subspan(element.channelCount());
        std::size_t size = 16;
        bool usable = true;
        for (const ChannelJob& job : channels) {
            size +=
                channelHeaderBits + job.codedBits + packet.frames * 8 * static_cast<std::size_t>(shiftBytes);
            usable = usable && job.usable;
        }
        if (!usable || size >= packet.frames * channels.size() * bytes_ * 8) {
            // Some decoders take no pair whose difference would have more than 32 bits, and find that out
            // before they see that it is uncompressed: it goes as two channels.
            const std::span<const std::uint8_t> places = std::span(element.channels).first(channels.size());
            const std::size_t together = bytes_ == 4 ? 1 : channels.size();
            const ElementTag tag = together == channels.size() ? element.tag : ElementTag::single;
            for (std::size_t c = 0; c < places.size(); c += together) {
                headers.put(out, tag, 0, true);
                putUncompressed(out, packet, places.subspan(c, together));
            }
            continue;
        }
        headers.put(out, element.tag, shiftBytes, false);
        out.put(mixings[e].shift, 8);
        out.put(mixings[e].weight, 8);
        for (const ChannelJob& job : channels)
            putPredictorHeader(out, job.coefficients);
        putLowBytes(out, packet, element, shiftBytes);
        for (const ChannelJob& job : channels)
            out.append(job.code, job.codedBits);
    }
    out.put(static_cast<std::uint64_t>(ElementTag::end), 3);
    out.align();
    return std::as_bytes(std::span(packet_).first(out.bitCount() / 8));
}

void PacketCoder::putUncompressed(BitWriter& out, const Packet& packet,
                                  std::span<const std::uint8_t> channels) {
    const auto* const in = reinterpret_cast<const std::uint8_t*>(packet.pcm.data());
    std::uint8_t* to = gathered_.data();
    for (std::size_t frame = 0; frame < packet.frames; ++frame)
        for (const std::size_t channel : channels) {
            const std::uint8_t* const sample = in + (frame * channels_ + channel) * bytes_;
            for (std::size_t b = bytes_; b-- > 0;)
                *to++ = sample[b];
        }
    out.append(gathered_.data(), static_cast<std::size_t>(to - gathered_.data()) * 8);
}

void PacketCoder::putLowBytes(BitWriter& out, const Packet& packet, const Element& element, int shiftBytes) {
    const std::size_t width = static_cast<std::size_t>(shiftBytes);
    const std::size_t count = element.channelCount();
    const std::uint8_t* low = packet.low;
    if (count != channels_ && width != 0) {
        std::uint8_t* to = gathered_.data();
        for (std::size_t frame = 0; frame < packet.frames; ++frame)
            for (std::size_t c = 0; c < count; ++c)
                to = std::copy_n(low + (frame * channels_ + element.channels[c]) * width, width, to);
        low = gathered_.data();
    }
    out.append(low, packet.frames * count * width * 8);
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
    const std::vector<Mixing> mixings(elements_.size());
    Packet packet;
    packet.frames = packetFrames;
    packet.low = low.data();
    const std::span<const std::byte> bytes = assemble(packet, jobs, mixings, bytes_ == 4 ? 2 : 0);
    return {bytes.begin(), bytes.end()};
}

} // namespace media::audio::alac
