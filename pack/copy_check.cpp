// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/copy_check.h"

#include <algorithm>
#include <cmath>

#include "pack/clip_records.h"

namespace Pack {

namespace {

constexpr double tolerance = 0.0005; // seconds

void compare(double clipSeconds, double copySeconds, double allowed) {
    if (std::abs(copySeconds - clipSeconds) > allowed)
        throw PackError::lengthChanged(clipSeconds, copySeconds);
}

/// Sound ends on a whole frame, and some containers' sound with its media, less than a picture before the
/// edit's end.
double allowedFor(const media::Track& source) {
    constexpr double longestPicture = 0.05; // seconds
    double allowed = tolerance;
    if (source.endsWithMedia)
        allowed = longestPicture + tolerance;
    const auto& audio = source.formatDescriptions.front().audio;
    return audio && audio->sampleRate > 0 ? std::max(allowed, 1 / audio->sampleRate) : allowed;
}

} // namespace

void checkLengths(const media::Asset& copy, const media::Asset& clip,
                  const std::vector<std::reference_wrapper<const media::Track>>& sources) {
    compare(clip.duration().seconds(), copy.duration().seconds(), tolerance);
    const auto written = copy.tracks(media::MediaType::audio);
    for (std::size_t i = 0; i < sources.size(); ++i) {
        const media::Track& source = sources[i];
        compare(source.end().seconds(), i < written.size() ? written[i].get().end().seconds() : 0,
                allowedFor(source));
    }
}

} // namespace Pack
