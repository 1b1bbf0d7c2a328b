// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/libav_lossless_encoder.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
}

namespace {

void check(int status, const char* what) {
    if (status < 0)
        throw std::runtime_error(what);
}

} // namespace

struct LibavLosslessEncoder::State {
    State()
        : context(avcodec_alloc_context3(avcodec_find_encoder(AV_CODEC_ID_ALAC))), packet(av_packet_alloc()) {
        context->thread_count = 1;
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        for (AVFrame* frame : frames)
            av_frame_free(&frame);
        av_packet_free(&packet);
        avcodec_free_context(&context);
    }

    AVCodecContext* context;
    AVPacket* packet;
    std::vector<AVFrame*> frames;
};

LibavLosslessEncoder::LibavLosslessEncoder(std::span<const std::byte> pcm, int channels, int bits)
    : state_(new State) {
    AVCodecContext& context = *state_->context;
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
    const State& codec = *state_;
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
