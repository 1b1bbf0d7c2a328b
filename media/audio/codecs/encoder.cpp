// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/codecs/encoder.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "media/audio/codecs/libav.h"

namespace media::audio::libav {

namespace {

/// Puts `frames` interleaved little-endian frames into the planes of a frame as numbers from -1 to 1, from
/// its frame `at` on.
using Fill = void (*)(const std::byte* from, std::size_t frames, std::size_t channels, AVFrame& frame,
                      std::size_t at);

template <std::size_t bytes>
void fill(const std::byte* from, std::size_t frames, std::size_t channels, AVFrame& frame, std::size_t at) {
    for (std::size_t channel = 0; channel < channels; ++channel) {
        float* const to = reinterpret_cast<float*>(frame.extended_data[channel]) + at;
        const std::byte* sample = from + channel * bytes;
        for (std::size_t i = 0; i < frames; ++i, sample += channels * bytes) {
            std::uint32_t high = 0;
            for (std::size_t byte = 0; byte < bytes; ++byte)
                high |= std::to_integer<std::uint32_t>(sample[byte]) << (8 * (byte + 4 - bytes));
            to[i] = static_cast<float>(static_cast<std::int32_t>(high)) * (1.0F / 2147483648.0F);
        }
    }
}

/// Channel layouts whose AAC channels are all whole ones (a low-frequency channel would lose its treble), and
/// which the encoder describes in the stream element by element (ISO/IEC 14496-3, 4.4.1.1): decoders put such
/// channels out as they come. The layouts that have a number of their own begin with the centre, and only
/// some decoders put it back behind left and right.
AVChannelLayout aacLayout(std::uint32_t channels) {
    switch (channels) {
    case 1:
        return AV_CHANNEL_LAYOUT_MONO;
    case 2:
        return AV_CHANNEL_LAYOUT_STEREO;
    case 3:
        return AV_CHANNEL_LAYOUT_2_1;
    case 4:
        return AV_CHANNEL_LAYOUT_QUAD;
    case 5:
        return AV_CHANNEL_LAYOUT_5POINT0;
    case 6:
        return AV_CHANNEL_LAYOUT_HEXAGONAL;
    case 7:
        return AV_CHANNEL_LAYOUT_7POINT0;
    case 8:
        return AV_CHANNEL_LAYOUT_OCTAGONAL;
    default:
        throw unwritable(audioFormat::aac);
    }
}

Context newContext(const EncoderSettings& settings) {
    const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (codec == nullptr)
        throw unwritable(audioFormat::aac);
    auto context = owned<Context>(avcodec_alloc_context3(codec));
    context->sample_rate = static_cast<int>(std::lround(settings.sampleRate));
    context->time_base = {1, context->sample_rate};
    context->sample_fmt = AV_SAMPLE_FMT_FLTP;
    context->thread_count = 1;
    context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_BITEXACT;
    const AVChannelLayout layout = aacLayout(settings.channels);
    if (av_channel_layout_copy(&context->ch_layout, &layout) < 0)
        throw std::bad_alloc();
    return context;
}

EncodedFormat formatOf(const AVCodecContext& context, const EncoderSettings& settings) {
    EncodedFormat format;
    format.formatID = audioFormat::aac;
    format.sampleRate = settings.sampleRate;
    format.channels = settings.channels;
    format.framesPerPacket = static_cast<std::uint32_t>(context.frame_size);
    format.primingFrames = static_cast<std::uint32_t>(context.initial_padding);
    const auto* const extradata = reinterpret_cast<const std::byte*>(context.extradata);
    if (settings.channels > 2)
        format.channelMask = static_cast<std::uint32_t>(context.ch_layout.u.mask);
    format.configuration.assign(extradata, extradata + context.extradata_size);
    return format;
}

/// Collects the input into whole packets. Every packet counts as a whole one, and the encoder adds packets at
/// the end for what it holds back.
class LibavEncoder final : public Encoder {
  public:
    LibavEncoder(Context context, EncodedFormat format, int inputBits, Fill fill)
        : context_(std::move(context)), format_(std::move(format)), fill_(fill),
          bytesPerFrame_(std::size_t{format_.channels} * static_cast<std::size_t>(inputBits) / 8),
          packet_(owned<Packet>(av_packet_alloc())), frame_(owned<Frame>(av_frame_alloc())) {
        frame_->format = context_->sample_fmt;
        frame_->sample_rate = context_->sample_rate;
        frame_->nb_samples = context_->frame_size;
        if (av_channel_layout_copy(&frame_->ch_layout, &context_->ch_layout) < 0 ||
            av_frame_get_buffer(frame_.get(), 0) < 0)
            throw std::bad_alloc();
    }

    void encode(std::span<const std::byte> pcm, const PacketSink& sink) override {
        std::size_t rest = pcm.size() / bytesPerFrame_;
        const std::byte* from = pcm.data();
        while (rest > 0) {
            if (filled_ == 0 && av_frame_make_writable(frame_.get()) < 0)
                throw std::bad_alloc();
            const std::size_t count = std::min<std::size_t>(rest, format_.framesPerPacket - filled_);
            fill_(from, count, format_.channels, *frame_, filled_);
            filled_ += static_cast<std::uint32_t>(count);
            from += count * bytesPerFrame_;
            rest -= count;
            if (filled_ == format_.framesPerPacket)
                send(frame_.get(), sink);
        }
    }

    void finish(const PacketSink& sink) override {
        if (filled_ > 0) {
            frame_->nb_samples = static_cast<int>(filled_);
            send(frame_.get(), sink);
        }
        send(nullptr, sink);
    }

    [[nodiscard]] const EncodedFormat& format() const override { return format_; }

  private:
    void send(AVFrame* frame, const PacketSink& sink) {
        if (frame != nullptr) {
            frame->pts = position_;
            position_ += frame->nb_samples;
        }
        check(avcodec_send_frame(context_.get(), frame));
        filled_ = 0;
        for (;;) {
            const int status = avcodec_receive_packet(context_.get(), packet_.get());
            if (status == AVERROR(EAGAIN) || status == AVERROR_EOF)
                return;
            check(status);
            const auto* const data = reinterpret_cast<const std::byte*>(packet_->data);
            sink({data, static_cast<std::size_t>(packet_->size)}, format_.framesPerPacket);
            av_packet_unref(packet_.get());
        }
    }

    static void check(int status) {
        if (status == AVERROR(ENOMEM))
            throw std::bad_alloc();
        if (status < 0)
            throw Error(Error::Category::unsupported, "The sound can't be encoded.");
    }

    Context context_;
    EncodedFormat format_;
    Fill fill_;
    std::size_t bytesPerFrame_;
    Packet packet_;
    Frame frame_;
    std::uint32_t filled_ = 0; ///< frames in frame_
    std::int64_t position_ = 0;
};

/// The fast coder without what trades the waveform for a likeness of it: noise substitution, intensity
/// stereo. Temporal noise shaping costs a quarter of the time and gains nothing measurable. What the fast
/// coder loses against the library's default, which takes two to four times as long, it gets back by not
/// spending bits on the top of the spectrum.
void setFastAAC(AVCodecContext& context, const EncoderSettings& settings) {
    av_opt_set(context.priv_data, "aac_coder", "fast", 0);
    for (const char* const tool : {"aac_tns", "aac_pns", "aac_is"})
        av_opt_set_int(context.priv_data, tool, 0, 0);
    constexpr int bandwidth = 15'000; // Hz
    constexpr int ampleBitRate = 96'000;
    if (context.sample_rate >= 32'000 && settings.bitRatePerChannel < ampleBitRate)
        context.cutoff = bandwidth;
}

} // namespace

std::unique_ptr<Encoder> makeEncoder(const EncoderSettings& settings) {
    Context context = newContext(settings);
    context->bit_rate = std::int64_t{settings.bitRatePerChannel} * settings.channels;
    setFastAAC(*context, settings);
    if (avcodec_open2(context.get(), nullptr, nullptr) < 0 || context->frame_size <= 0)
        throw unwritable(audioFormat::aac);
    EncodedFormat format = formatOf(*context, settings);
    format.bitRate = static_cast<std::uint32_t>(context->bit_rate);
    constexpr std::array fills = {fill<2>, fill<3>, fill<4>};
    return std::make_unique<LibavEncoder>(std::move(context), std::move(format), settings.inputBits,
                                          fills.at(static_cast<std::size_t>(settings.inputBits / 8 - 2)));
}

} // namespace media::audio::libav
