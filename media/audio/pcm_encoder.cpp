// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/pcm_encoder.h"

namespace media::audio {

namespace {

class PCMEncoder final : public Encoder {
  public:
    explicit PCMEncoder(const EncoderSettings& settings)
        : bytesPerFrame_(std::size_t{settings.channels} * static_cast<std::size_t>(settings.inputBits) / 8) {
        format_.formatID = audioFormat::linearPCM;
        format_.sampleRate = settings.sampleRate;
        format_.channels = settings.channels;
        format_.bitsPerChannel = static_cast<std::uint32_t>(settings.inputBits);
        format_.framesPerPacket = 1;
    }

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

} // namespace

std::unique_ptr<Encoder> makePCMEncoder(const EncoderSettings& settings) {
    return std::make_unique<PCMEncoder>(settings);
}

} // namespace media::audio
