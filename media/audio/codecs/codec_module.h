// SPDX-License-Identifier: GPL-3.0-or-later
// The seam between the program and the module that links FFmpeg's libraries, which is loaded on first use:
// linking them costs tens of milliseconds of process start, which a pack without compressed sound need not
// pay.
#pragma once

#include "media/audio/codec.h"

namespace media::audio {

class CodecModule {
  public:
    virtual ~CodecModule() = default;
    [[nodiscard]] virtual std::unique_ptr<Decoder> makeDecoder(const AudioStreamDescription& format,
                                                               std::span<const std::byte> configuration,
                                                               int bits) const = 0;
    [[nodiscard]] virtual std::unique_ptr<Encoder> makeEncoder(const EncoderSettings& settings) const = 0;
};

/// The module's one exported symbol, a `const CodecModule*()` with this name.
inline constexpr const char* codecModuleEntry = "ferrowickCodecModule";

} // namespace media::audio
