// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/clip_tracks.h"

#include <algorithm>
#include <cmath>

namespace media::mxf {

namespace {

constexpr std::uint8_t separateFields = 1, segmentedFrame = 4; // FrameLayout
constexpr std::uint32_t largestPicture = 65536;
constexpr double fastestInterlaced = 31; // whole frames a second

std::int64_t unitsOf(Time time, const Rational& rate) {
    return io::scaled(time.value, rate.num, io::checkedMultiply(time.timescale, rate.den),
                      io::Rounding::down);
}

bool isDefinite(const ClipTrack& track, std::uint64_t fileSize) {
    // An edit unit takes a byte at least.
    return !track.segments.empty() && std::ranges::all_of(track.segments, [&](const Segment& segment) {
        return segment.duration > 0 && static_cast<std::uint64_t>(segment.duration) <= fileSize;
    });
}

/// Cuts a track's segments to the stored units, and lets the last one reach their end when it is open.
void cutTo(ClipTrack& track, std::int64_t stored, bool mayGrow) {
    for (Segment& segment : track.segments) {
        if (!segment.start)
            continue;
        const std::int64_t left = std::max<std::int64_t>(stored - *segment.start, 0);
        const bool isOpen = segment.duration < 0 || (mayGrow && track.segments.size() == 1);
        segment.duration = isOpen ? left : std::min(segment.duration, left);
    }
    std::erase_if(track.segments, [](const Segment& segment) { return segment.duration <= 0; });
    while (!track.segments.empty() && !track.segments.back().start)
        track.segments.pop_back();
}

/// Does a track state more than is stored? Lengths that are counted in the units of another track, or in
/// bytes of sound, may be a little off.
bool isIncomplete(const ClipTrack& track, Time stored) {
    Time stated;
    for (const Segment& segment : track.segments) {
        if (segment.start && segment.duration > 0)
            stated =
                std::max(stated, timeOf(io::checkedAdd(*segment.start, segment.duration), track.editRate));
    }
    constexpr double longestSlack = 0.001; // seconds
    return (stated - stored).seconds() > std::max(longestSlack, 0.5 / track.editRate.value());
}

/// Frames a second: a picture stored field by field counts two units a frame.
double frameRate(const ClipTrack& track) {
    double rate = track.editRate.value();
    if (track.descriptor) {
        const PictureDescription& picture = track.descriptor->picture;
        const bool isByField = picture.frameLayout == separateFields;
        const bool isReferenced = picture.referenceRate.isRate() &&
                                  std::abs(2 * picture.referenceRate.value() - rate) < 0.001 * rate;
        if (isReferenced || (isByField && rate > fastestInterlaced) ||
            (isByField && isFieldWrapped(track.descriptor->essenceContainer)))
            rate /= 2;
    }
    // The exact value of a rate that a file rounds, such as 2997/100.
    for (const double nominal : {std::round(rate), std::round(rate * 1.001) / 1.001}) {
        if (nominal > 0 && std::abs(rate - nominal) <= 0.0002 * nominal)
            return nominal;
    }
    return rate;
}

VideoDimensions dimensions(const PictureDescription& picture) {
    const auto firstOf = [](std::initializer_list<std::uint32_t> candidates) {
        const auto* found = std::ranges::find_if(candidates, [](std::uint32_t value) { return value != 0; });
        return found == candidates.end() ? 0 : std::min(*found, largestPicture);
    };
    const std::uint32_t width = firstOf({picture.displayWidth, picture.sampledWidth, picture.storedWidth});
    std::uint32_t height = firstOf({picture.displayHeight, picture.sampledHeight, picture.storedHeight});
    // Heights of separate fields, and by some of segmented frames, are those of a field; others give the
    // frame's all the same. The aspect ratio tells.
    const bool isKnown = picture.aspectRatio.isRate() && width != 0;
    const double implied = isKnown ? width / picture.aspectRatio.value() : 0;
    if ((picture.frameLayout == separateFields &&
         (!isKnown || height < 400 || 2.0 * height <= 1.5 * implied)) ||
        (picture.frameLayout == segmentedFrame && isKnown && 1.5 * height <= implied))
        height *= 2;
    return {static_cast<std::int32_t>(width), static_cast<std::int32_t>(height)};
}

void describePicture(const ClipTrack& source, Track& track) {
    track.mediaType = MediaType::video;
    track.timescale = source.editRate.num;
    track.nominalFrameRate = frameRate(source);
    FormatDescription description;
    description.mediaType = MediaType::video;
    description.mediaSubType = fourCC("mxf ");
    if (source.descriptor)
        description.video = dimensions(source.descriptor->picture);
    description.unreadable = "Pictures are not read.";
    track.formatDescriptions.push_back(std::move(description));
}

} // namespace

void settleLengths(Clip& clip, const FileLayout& layout,
                   const std::shared_ptr<const io::ByteSource>& source) {
    const bool isCutOff = !layout.footer();
    Measurer measurer(source, layout, clip);
    std::vector<std::optional<Time>> stored(clip.tracks.size());
    for (std::size_t i = 0; i < clip.tracks.size(); ++i) {
        const ClipTrack& track = clip.tracks[i];
        if (!track.isExternal && (isCutOff || !isDefinite(track, source->size())))
            stored[i] = measurer.storedLength(track);
    }
    for (std::size_t i = 0; i < clip.tracks.size(); ++i) {
        ClipTrack& track = clip.tracks[i];
        if (stored[i] && isCutOff && layout.header().closed && isIncomplete(track, *stored[i]))
            throw Error(Error::Category::endOfData, "The file ends too early.");
        if (stored[i])
            cutTo(track, unitsOf(*stored[i], track.editRate), isCutOff && !layout.header().closed);
        else if (!track.isExternal && !isDefinite(track, source->size()))
            track.segments.clear();
    }
}

Time endOf(const ClipTrack& track) {
    std::int64_t units = 0;
    for (const Segment& segment : track.segments)
        units = io::checkedAdd(units, segment.duration);
    return timeOf(units, track.editRate);
}

Track describe(const ClipTrack& source) {
    Track track;
    SoundFormat format;
    if (source.kind == DataKind::sound) {
        format = soundFormat(source);
        track.mediaType = MediaType::audio;
        track.timescale = format.rate.num;
        track.endsWithMedia = true;
        track.formatDescriptions.push_back(describe(format));
    } else {
        describePicture(source, track);
    }
    const Rational ticks{track.timescale, 1};
    std::int64_t position = 0;
    for (const Segment& segment : source.segments) {
        Edit edit;
        edit.start = timeOf(position, source.editRate);
        edit.duration = timeOf(segment.duration, source.editRate);
        edit.mediaTime = segment.start ? unitsOf(timeOf(*segment.start, source.editRate), ticks) : emptyEdit;
        position += segment.duration;
        // Sound that is not in step with the edit rate ends with the last frame that is begun.
        if (source.kind == DataKind::sound && &segment == &source.segments.back()) {
            const std::int64_t start = edit.start.ticks(track.timescale);
            const std::int64_t end =
                timeOf(position, source.editRate).ticks(track.timescale, io::Rounding::up);
            const std::int64_t rest = (end - start) % format.ticksPerFrame();
            if (edit.start == Time{start, track.timescale})
                edit.duration = {end - start + (rest == 0 ? 0 : format.ticksPerFrame() - rest),
                                 track.timescale};
        }
        track.edits.push_back(edit);
    }
    return track;
}

} // namespace media::mxf
