// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/track/bounds.h"

#include <algorithm>

namespace media {

namespace {

constexpr Time longestClip{48 * 3600, 1};
constexpr Time latestSound{24 * 3600, 1}; ///< after the end of everything else
constexpr std::size_t mostSoundTracks = 128;
/// Samples of sound on the timeline that a file is good for: some minutes, and as much for each of its bytes
/// as no encoder makes of silence (8 channels of it as AAC are 340).
constexpr double freeSamples = 0x1p25;
constexpr double samplesPerByte = 512;
/// Every jump costs a decoder a run-up, however short the stretch that it shows.
constexpr double secondsPerJump = 0.3;

bool isReadableSound(const Track& track) {
    return track.mediaType == MediaType::audio && !track.formatDescriptions.empty() &&
           track.formatDescriptions.front().audio && track.formatDescriptions.front().unreadable.empty();
}

/// The samples that all channels of a track show, silence between them included.
double shownSamples(const Track& track) {
    const AudioStreamDescription& format = *track.formatDescriptions.front().audio;
    double rate = format.sampleRate;
    double channels = format.channelsPerFrame;
    // Without a decoder's configuration the packets alone tell. What else decodes to more than is stated, its
    // output holds against the file.
    if (!format.isLinearPCM() && track.formatDescriptions.front().decoderConfiguration.empty()) {
        rate = std::max(rate, 48'000.0);
        channels = std::max(channels, 2.0);
    }
    double samples = 0;
    for (const Edit& edit : track.edits) {
        const double jump = edit.mediaTime == emptyEdit ? 0 : secondsPerJump * std::max(rate, 48'000.0);
        samples += channels * std::max(edit.duration.seconds() * rate, jump);
    }
    return samples;
}

/// The end of all tracks but one.
Time endOfOthers(const std::vector<Track>& tracks, const Track& except) {
    Time end;
    for (const Track& track : tracks)
        if (&track != &except && track.mediaType != MediaType::other)
            end = std::max(end, track.end());
    return end;
}

} // namespace

void checkLength(const Time& duration) {
    if (duration > longestClip)
        throw Error(Error::Category::corrupt,
                    "The clip states a length of more than 48 hours: its header is damaged.");
}

void checkSoundLength(double samples, std::uint64_t fileSize) {
    if (!(samples <= freeSamples + samplesPerByte * static_cast<double>(fileSize)))
        throw Error(Error::Category::corrupt,
                    "The clip states far more sound than it can hold: its header is damaged.");
}

void checkTimeline(const Container& container, std::uint64_t fileSize) {
    checkLength(container.duration());
    std::size_t soundTracks = 0;
    double samples = 0;
    for (const Track& track : container.tracks()) {
        if (track.mediaType != MediaType::audio)
            continue;
        ++soundTracks;
        const auto shown =
            std::ranges::find_if(track.edits, [](const Edit& edit) { return edit.mediaTime >= 0; });
        if (shown != track.edits.end() && shown->start > latestSound &&
            shown->start > endOfOthers(container.tracks(), track) + latestSound)
            throw Error(Error::Category::corrupt,
                        "The clip's sound begins more than a day after everything else "
                        "has ended: its header is damaged.");
        if (isReadableSound(track))
            samples += shownSamples(track);
    }
    if (soundTracks > mostSoundTracks)
        throw Error(Error::Category::corrupt, "The clip has more sound tracks than any real one.");
    checkSoundLength(samples, fileSize);
}

} // namespace media
