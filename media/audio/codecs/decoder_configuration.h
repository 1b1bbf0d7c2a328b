// SPDX-License-Identifier: GPL-3.0-or-later
// From the containers' decoder configurations to the form in which libavcodec wants them.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "media/audio/codecs/libav.h"

namespace media::audio::libav {

/// AV_CODEC_ID_NONE for formats that libavcodec is not used for.
[[nodiscard]] AVCodecID codecFor(FourCC formatID);

/// The codec context's extradata. Throws Error when the configuration is missing what the decoder needs.
[[nodiscard]] std::vector<std::byte> extradataFor(FourCC formatID, std::span<const std::byte> configuration);

} // namespace media::audio::libav
