// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/libav_lossless.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/mem.h>
}

namespace test {
namespace {

void check(int status, const char* what) {
    if (status < 0)
        throw std::runtime_error(what);
}

struct Codec {
    explicit Codec(const AVCodec* codec)
        : context(avcodec_alloc_context3(codec)), packet(av_packet_alloc()), frame(av_frame_alloc()) {
        context->thread_count = 1;
    }
    ~Codec() {
        av_frame_free(&frame);
        av_packet_free(&packet);
        avcodec_free_context(&context);
    }
    Codec(const Codec&) = delete;
    Codec& operator=(const Codec&) = delete;

    AVCodecContext* context;
    AVPacket* packet;
    AVFrame* frame;
};

} // namespace

struct LibavLosslessDecoder::State {
    Codec codec{avcodec_find_decoder(AV_CODEC_ID_ALAC)};
    std::size_t sampleBytes = 0;
};

LibavLosslessDecoder::LibavLosslessDecoder(std::span<const std::byte> cookie) : state_(new State) {
    AVCodecContext& context = *state_->codec.context;
    // Size, type and version words come first, as in the file.
    constexpr std::size_t head = 12;
    const std::size_t size = head + cookie.size();
    context.extradata = static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
    context.extradata_size = static_cast<int>(size);
    context.extradata[3] = static_cast<std::uint8_t>(size);
    std::memcpy(context.extradata + 4, "alac", 4);
    std::memcpy(context.extradata + head, cookie.data(), cookie.size());
    context.sample_rate = 48000;
    av_channel_layout_default(&context.ch_layout, std::to_integer<int>(cookie[9]));
    check(avcodec_open2(&context, nullptr, nullptr), "the decoder does not take the cookie");
    state_->sampleBytes = std::to_integer<std::size_t>(cookie[5]) / 8;
}

LibavLosslessDecoder::~LibavLosslessDecoder() = default;

void LibavLosslessDecoder::decode(std::span<const std::byte> data, Bytes& pcm) {
    const Codec& codec = state_->codec;
    check(av_new_packet(codec.packet, static_cast<int>(data.size())), "no memory");
    std::memcpy(codec.packet->data, data.data(), data.size());
    const int sent = avcodec_send_packet(codec.context, codec.packet);
    av_packet_unref(codec.packet);
    check(sent, "the decoder refuses a packet");
    check(avcodec_receive_frame(codec.context, codec.frame), "the decoder makes nothing of a packet");
    const auto frames = static_cast<std::size_t>(codec.frame->nb_samples);
    const auto channels = static_cast<std::size_t>(codec.frame->ch_layout.nb_channels);
    const std::size_t width = state_->sampleBytes;
    const std::size_t stored = codec.frame->format == AV_SAMPLE_FMT_S16P ? 2 : 4;
    const std::size_t start = pcm.size();
    pcm.resize(start + frames * channels * width);
    for (std::size_t c = 0; c < channels; ++c) {
        // The sample's high bytes are the last ones.
        const std::uint8_t* in = codec.frame->extended_data[c] + stored - width;
        std::byte* out = pcm.data() + start + c * width;
        for (std::size_t i = 0; i < frames; ++i, in += stored, out += channels * width)
            std::memcpy(out, in, width);
    }
}

struct LibavLosslessEncoder::State {
    Codec codec{avcodec_find_encoder(AV_CODEC_ID_ALAC)};
    std::vector<AVFrame*> frames;

    State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        for (AVFrame* frame : frames)
            av_frame_free(&frame);
    }
};

LibavLosslessEncoder::LibavLosslessEncoder(std::span<const std::byte> pcm, int channels, int bits)
    : state_(new State) {
    AVCodecContext& context = *state_->codec.context;
    context.sample_rate = 48000;
    context.sample_fmt = bits == 16 ? AV_SAMPLE_FMT_S16P : AV_SAMPLE_FMT_S32P;
    context.bits_per_raw_sample = bits;
    av_channel_layout_default(&context.ch_layout, channels);
    check(avcodec_open2(&context, nullptr, nullptr), "the encoder does not open");
    const auto width = static_cast<std::size_t>(bits) / 8, stored = width == 2 ? std::size_t{2} : 4;
    const std::size_t frameBytes = static_cast<std::size_t>(channels) * width;
    while (!pcm.empty()) {
        const std::size_t count =
            std::min(static_cast<std::size_t>(context.frame_size), pcm.size() / frameBytes);
        AVFrame& frame = *state_->frames.emplace_back(av_frame_alloc());
        frame.format = context.sample_fmt;
        frame.nb_samples = static_cast<int>(count);
        check(av_channel_layout_copy(&frame.ch_layout, &context.ch_layout), "no memory");
        check(av_frame_get_buffer(&frame, 0), "no memory");
        for (std::size_t c = 0; c < static_cast<std::size_t>(channels); ++c) {
            std::memset(frame.extended_data[c], 0, count * stored);
            for (std::size_t i = 0; i < count; ++i)
                std::memcpy(frame.extended_data[c] + (i + 1) * stored - width,
                            pcm.data() + i * frameBytes + c * width, width);
        }
        pcm = pcm.subspan(count * frameBytes);
    }
}

LibavLosslessEncoder::~LibavLosslessEncoder() = default;

std::size_t LibavLosslessEncoder::encode() {
    const Codec& codec = state_->codec;
    std::size_t bytes = 0;
    for (const AVFrame* frame : state_->frames) {
        check(avcodec_send_frame(codec.context, frame), "the encoder refuses a frame");
        while (avcodec_receive_packet(codec.context, codec.packet) >= 0) {
            bytes += static_cast<std::size_t>(codec.packet->size);
            av_packet_unref(codec.packet);
        }
    }
    return bytes;
}

} // namespace test
