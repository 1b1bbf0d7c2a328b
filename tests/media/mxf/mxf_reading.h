// SPDX-License-Identifier: GPL-3.0-or-later
// What the MXF tests read from a clip through the media layer's outputs.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "media/io/byte_source.h"
#include "media/open.h"
#include "media/track/track_output.h"
#include "tests/support/clip_maker.h"
#include "tests/support/mxf_editor.h"

namespace test {

inline std::shared_ptr<const media::io::ByteSource> sourceOf(const Bytes& bytes) {
    const auto raw = std::as_bytes(std::span(bytes));
    return media::io::memorySource({raw.begin(), raw.end()});
}

/// A two-second OP1a clip with one 16-bit track, edited.
inline media::Asset edited(const std::string& rate, const std::function<void(MXFFile&)>& edit) {
    ClipDescription description;
    description.container = Container::mxf;
    description.rate = rate;
    description.sound.assign(1, {.codec = "pcm_s16le"});
    MXFFile file(clip(description));
    edit(file);
    return media::openAsset(sourceOf(file.bytes()));
}

/// All of a sound track as 32-bit samples.
inline std::vector<std::byte> soundOf(const media::Asset& asset, const media::Track& track) {
    media::TrackOutput output(asset, track, 32);
    media::SampleBuffer buffer;
    std::vector<std::byte> pcm;
    while (output.copyNextSampleBuffer(buffer))
        pcm.insert(pcm.end(), buffer.data.begin(), buffer.data.end());
    return pcm;
}

/// The frame numbers of a timecode track's samples.
inline std::vector<std::int64_t> timecodesOf(const media::Asset& asset, const media::Track& track) {
    media::TrackOutput output(asset, track);
    media::SampleBuffer buffer;
    std::vector<std::int64_t> frames;
    while (output.copyNextSampleBuffer(buffer))
        frames.push_back(buffer.frameNumber.value());
    return frames;
}

} // namespace test
