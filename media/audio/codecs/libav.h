// SPDX-License-Identifier: GPL-3.0-or-later
// Ownership and errors of libavcodec, libavutil and libswresample in this system's terms.
#pragma once

#include <memory>
#include <new>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include "media/audio/format_name.h"
#include "media/base/error.h"

namespace media::audio::libav {

template <auto release>
struct Release {
    template <class T>
    void operator()(T* object) const {
        release(&object);
    }
};
using Context = std::unique_ptr<AVCodecContext, Release<avcodec_free_context>>;
using Frame = std::unique_ptr<AVFrame, Release<av_frame_free>>;
using Packet = std::unique_ptr<AVPacket, Release<av_packet_free>>;
using Buffer = std::unique_ptr<AVBufferRef, Release<av_buffer_unref>>;
using Converter = std::unique_ptr<SwrContext, Release<swr_free>>;

/// What the library allocated; throws std::bad_alloc for none.
template <class Owner, class T>
[[nodiscard]] Owner owned(T* object) {
    if (object == nullptr)
        throw std::bad_alloc();
    return Owner(object);
}

[[nodiscard]] inline Error unreadable(FourCC formatID) {
    return {Error::Category::unsupported,
            "The sound is in a format that can't be read here (" + formatName(formatID) + ")."};
}
[[nodiscard]] inline Error unwritable(FourCC formatID) {
    return {Error::Category::unsupported,
            "The sound can't be written in this format (" + formatName(formatID) + ")."};
}
[[nodiscard]] inline Error damaged(FourCC formatID) {
    return {Error::Category::corrupt, "The sound is damaged (" + formatName(formatID) + ")."};
}

} // namespace media::audio::libav
