// SPDX-License-Identifier: GPL-3.0-or-later
// The codec module's entry point.
#include "platform/module.h"

#include "media/audio/codecs/codec_module.h"
#include "media/audio/codecs/decoder.h"
#include "media/audio/codecs/encoder.h"
#include "media/audio/codecs/libav.h"

namespace media::audio {

namespace {

class LibavModule final : public CodecModule {
  public:
    /// What goes wrong is told by exceptions; nothing here writes to the person's terminal.
    LibavModule() { av_log_set_level(AV_LOG_QUIET); }
    [[nodiscard]] std::unique_ptr<Decoder> makeDecoder(const AudioStreamDescription& format,
                                                       std::span<const std::byte> configuration,
                                                       int bits) const override {
        return libav::makeDecoder(format, configuration, bits);
    }
    [[nodiscard]] std::unique_ptr<Encoder> makeEncoder(const EncoderSettings& settings) const override {
        return libav::makeEncoder(settings);
    }
};

} // namespace

} // namespace media::audio

FERROWICK_MODULE_ENTRY const media::audio::CodecModule* ferrowickCodecModule() {
    static const media::audio::LibavModule instance;
    return &instance;
}
