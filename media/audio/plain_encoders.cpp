// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/plain_encoders.h"

#include <algorithm>
#include <cmath>

#include "media/audio/alac_format.h"

namespace media::audio {

namespace {

EncodedFormat formatFor(const EncoderSettings& settings, FourCC formatID, std::uint32_t framesPerPacket) {
    EncodedFormat format;
    format.formatID = formatID;
    format.sampleRate = settings.sampleRate;
    format.channels = settings.channels;
    format.bitsPerChannel = static_cast<std::uint32_t>(settings.inputBits);
    format.framesPerPacket = framesPerPacket;
    return format;
}

class PCMEncoder final : public Encoder {
  public:
    explicit PCMEncoder(const EncoderSettings& settings)
        : format_(formatFor(settings, audioFormat::linearPCM, 1)),
          bytesPerFrame_(std::size_t{settings.channels} * static_cast<std::size_t>(settings.inputBits) / 8) {}

    void encode(std::span<const std::byte> pcm, const PacketSink& sink) override {
        if (!pcm.empty())
            sink(pcm, static_cast<std::uint32_t>(pcm.size() / bytesPerFrame_));
    }
    void finish(const PacketSink&) override {}
    [[nodiscard]] const EncodedFormat& format() const override { return format_; }

  private:
    EncodedFormat format_;
    std::size_t bytesPerFrame_;
};

/// Appends numbers of up to 32 bits, the highest bit first.
class BitWriter {
  public:
    explicit BitWriter(std::vector<std::byte>& bytes) : bytes_(bytes) { bytes_.clear(); }
    void put(std::uint32_t value, unsigned bits) {
        pending_ = pending_ << bits | value;
        for (count_ += bits; count_ >= 8; count_ -= 8)
            bytes_.push_back(static_cast<std::byte>(pending_ >> (count_ - 8)));
    }
    void align() {
        if (count_ > 0)
            put(0, 8 - count_);
    }

  private:
    std::vector<std::byte>& bytes_;
    std::uint64_t pending_ = 0;
    unsigned count_ = 0; ///< bits of pending_ not yet written, below 8
};

class UncompressedALACEncoder final : public Encoder {
  public:
    explicit UncompressedALACEncoder(const EncoderSettings& settings)
        : format_(formatFor(settings, audioFormat::appleLossless, alac::framesPerPacket)),
          bytesPerSample_(static_cast<std::size_t>(settings.inputBits) / 8),
          bytesPerFrame_(settings.channels * bytesPerSample_) {
        const auto cookie = alac::magicCookie(static_cast<std::uint32_t>(std::llround(settings.sampleRate)),
                                              settings.channels, format_.bitsPerChannel);
        format_.configuration.assign(cookie.begin(), cookie.end());
        pending_.reserve(alac::framesPerPacket * bytesPerFrame_);
        packet_.reserve(alac::largestPacket(settings.channels, format_.bitsPerChannel));
    }

    void encode(std::span<const std::byte> pcm, const PacketSink& sink) override {
        while (!pcm.empty()) {
            const auto taken =
                pcm.first(std::min(pcm.size(), alac::framesPerPacket * bytesPerFrame_ - pending_.size()));
            pending_.insert(pending_.end(), taken.begin(), taken.end());
            pcm = pcm.subspan(taken.size());
            if (pending_.size() == alac::framesPerPacket * bytesPerFrame_)
                writePacket(sink);
        }
    }

    void finish(const PacketSink& sink) override {
        if (!pending_.empty())
            writePacket(sink);
    }

    [[nodiscard]] const EncodedFormat& format() const override { return format_; }

  private:
    void writePacket(const PacketSink& sink) {
        const auto frames = static_cast<std::uint32_t>(pending_.size() / bytesPerFrame_);
        BitWriter writer(packet_);
        for (const alac::Element& element : alac::elementsFor(format_.channels)) {
            // Pairs go as two elements: libavcodec's decoder refuses pairs of 32-bit samples even where they
            // are uncompressed.
            const bool pair = element.tag == alac::Tag::pair;
            putElement(writer, pair ? alac::Tag::mono : element.tag, element.first, frames);
            if (pair)
                putElement(writer, alac::Tag::mono, element.second, frames);
        }
        writer.put(static_cast<std::uint32_t>(alac::Tag::end), 3);
        writer.align();
        pending_.clear();
        sink(packet_, frames);
    }

    void putElement(BitWriter& writer, alac::Tag tag, std::size_t channel, std::uint32_t frames) {
        const bool partial = frames < alac::framesPerPacket;
        writer.put(static_cast<std::uint32_t>(tag), 3);
        writer.put(static_cast<std::uint32_t>(channel), 4); // instance: any number that no other element has
        writer.put(0, 12);
        writer.put(partial ? 1 : 0, 1);
        writer.put(0, 2); // bytes stored apart
        writer.put(1, 1); // uncompressed
        if (partial)
            writer.put(frames, 32);
        for (std::size_t frame = 0; frame < frames; ++frame)
            putSample(writer, frame, channel);
    }

    void putSample(BitWriter& writer, std::size_t frame, std::size_t channel) {
        const auto sample = std::span<const std::byte>(pending_).subspan(
            frame * bytesPerFrame_ + channel * bytesPerSample_, bytesPerSample_);
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < sample.size(); ++i)
            value |= std::to_integer<std::uint32_t>(sample[i]) << (8 * i);
        writer.put(value, static_cast<unsigned>(8 * bytesPerSample_));
    }

    EncodedFormat format_;
    std::size_t bytesPerSample_;
    std::size_t bytesPerFrame_;
    std::vector<std::byte> pending_; ///< frames of the packet being filled
    std::vector<std::byte> packet_;
};

} // namespace

std::unique_ptr<Encoder> makePCMEncoder(const EncoderSettings& settings) {
    return std::make_unique<PCMEncoder>(settings);
}

std::unique_ptr<Encoder> makeUncompressedALACEncoder(const EncoderSettings& settings) {
    return std::make_unique<UncompressedALACEncoder>(settings);
}

} // namespace media::audio
