// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/libav_lossless.h"

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

} // namespace

struct LibavLosslessDecoder::State {
    State()
        : context(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_ALAC))), packet(av_packet_alloc()),
          frame(av_frame_alloc()) {
        context->thread_count = 1;
    }
    ~State() {
        av_frame_free(&frame);
        av_packet_free(&packet);
        avcodec_free_context(&context);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    AVCodecContext* context;
    AVPacket* packet;
    AVFrame* frame;
    std::size_t sampleBytes = 0;
};

LibavLosslessDecoder::LibavLosslessDecoder(std::span<const std::byte> cookie) : state_(new State) {
    AVCodecContext& context = *state_->context;
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
    const State& codec = *state_;
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

} // namespace test
