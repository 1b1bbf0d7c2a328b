// SPDX-License-Identifier: GPL-3.0-or-later
// Any bytes as a camera's document and as a sample of its real-time metadata.
#include <cstdint>
#include <cstdlib>
#include <span>

#include "media/quicktime/reader/camera/panasonic_document.h"
#include "media/quicktime/reader/camera/rtmd.h"
#include "media/quicktime/reader/camera/sony_document.h"
#include "media/timecode/counting.h"

namespace {

using namespace media::quicktime::camera;

/// What is handed out must be a frame of a day, and the same as itself.
void hold(const std::optional<Reading>& reading) {
    if (!reading)
        return;
    const auto frame = media::frameNumber(reading->address, reading->base);
    if (!frame || *frame < 0 || *frame >= media::framesPerDay(reading->base, reading->address.dropFrame) ||
        !agree(*reading, *reading))
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto bytes = std::as_bytes(std::span(data, size));
    for (const media::Rational rate : {media::Rational{25, 1}, {60'000, 1'001}}) {
        hold(readRtmdSample(bytes, rate));
        hold(readPanasonicDocument(bytes, rate));
        if (const auto document = readSonyDocument(bytes)) {
            if (document->timecode)
                hold(checked(*document->timecode, rate));
            if (!document->umid.empty() && document->umid.size() != 66)
                std::abort();
        }
    }
    return 0;
}
