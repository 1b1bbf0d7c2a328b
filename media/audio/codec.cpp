// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/codec.h"

#include <algorithm>
#include <cmath>

#include "media/audio/aac_rates.h"
#include "media/audio/alac/encoder.h"
#include "media/audio/codecs/codec_module.h"
#include "media/audio/pcm_encoder.h"
#include "media/audio/segmented_encoder.h"
#include "media/base/error.h"
#include "platform/module.h"

namespace media::audio {

namespace {

/// Loaded when the first compressed sound is met.
const CodecModule& codecModule() {
    static const CodecModule& loaded = []() -> const CodecModule& {
        try {
            return *platform::Module::load("ferrowick-codecs")
                        .function<const CodecModule*()>(codecModuleEntry)();
        } catch (const std::runtime_error& error) {
            throw Error(Error::Category::unsupported, error.what());
        }
    }();
    return loaded;
}

std::unique_ptr<Encoder> makeAACEncoder(const EncoderSettings& settings) {
    const CodecModule& module = codecModule();
    if (settings.channels > 2)
        return module.makeEncoder(settings);
    return makeSegmentedEncoder([&module, settings] { return module.makeEncoder(settings); },
                                settings.inputBits, settings.channels,
                                static_cast<unsigned>(std::max(settings.threads, 1)));
}

void check(const EncoderSettings& settings) {
    const bool widthKnown = settings.inputBits == 16 || settings.inputBits == 24 || settings.inputBits == 32;
    if (!widthKnown || settings.channels == 0 || !(settings.sampleRate >= 1 && settings.sampleRate <= 1e9))
        throw Error(Error::Category::unsupported, "The sound is in a format that can't be written here.");
}

} // namespace

std::unique_ptr<Decoder> makeDecoder(const AudioStreamDescription& format,
                                     std::span<const std::byte> configuration, int bits) {
    return codecModule().makeDecoder(format, configuration, bits);
}

bool isCompressible(double sampleRate, std::uint32_t channels) {
    constexpr std::uint32_t mostChannels = 8;
    return channels <= mostChannels && std::ranges::find(aacRates, sampleRate) != aacRates.end();
}

std::unique_ptr<Encoder> makeEncoder(const EncoderSettings& settings) {
    check(settings);
    if (settings.bitRatePerChannel > 0 && isCompressible(settings.sampleRate, settings.channels))
        return makeAACEncoder(settings);
    if (settings.channels > alac::maxChannels)
        return makePCMEncoder(settings);
    return alac::makeEncoder(settings);
}

} // namespace media::audio
