// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/timecode_source.h"

#include <algorithm>
#include <cmath>

#include "media/base/byte_reader.h"
#include "media/mxf/element_walker.h"
#include "media/timecode/counting.h"
#include "media/timecode/time_address.h"

namespace media::mxf {

namespace {

constexpr std::uint32_t largestBase = 240;
constexpr int deepestChain = 8;

/// The component's base; from the rate where it has none.
std::uint32_t baseOf(const Component& component, Rational frameRate) {
    if (component.base != 0 && component.base <= largestBase)
        return countedBase(component.base, frameRate);
    return static_cast<std::uint32_t>(std::clamp(std::llround(frameRate.value()), 1LL, 240LL));
}

const PackageTrack* timecodeTrackOf(const Package& package) {
    const PackageTrack* first = nullptr;
    for (const PackageTrack& track : package.tracks) {
        const bool hasTimecode = std::ranges::any_of(track.components, [](const Component& component) {
            return component.kind == Component::Kind::timecode && component.startTimecode >= 0;
        });
        if (!hasTimecode || !track.editRate.isRate())
            continue;
        if (track.number == 1) // the main one where there are several
            return &track;
        first = first ? first : &track;
    }
    return first;
}

/// The rate by which a package's timecode is to be understood: the picture's, else its own unless that counts
/// sound samples.
Rational rateFor(const Clip& clip, const PackageTrack& track) {
    for (const ClipTrack& candidate : clip.tracks) {
        if (candidate.kind == DataKind::picture)
            return candidate.editRate;
    }
    if (track.editRate.value() < 1000)
        return track.editRate;
    for (const Component& component : track.components) {
        if (component.kind == Component::Kind::timecode && component.base != 0 &&
            component.base <= largestBase)
            return component.dropFrame ? Rational{std::int64_t{component.base} * 1000, 1001}
                                       : Rational{component.base, 1};
    }
    return {25, 1};
}

/// The runs of a package's timecode track on a timeline that starts `offset` after the package's own zero
/// point.
std::vector<TimecodeRun> runsOf(const PackageTrack& track, Rational frameRate, Time offset) {
    std::vector<TimecodeRun> runs;
    const Time zero = timeOf(track.origin, track.editRate) + offset;
    std::int64_t position = 0;
    for (const Component& component : track.components) {
        if (component.kind == Component::Kind::timecode && component.startTimecode >= 0) {
            TimecodeRun run;
            const std::uint32_t base = baseOf(component, frameRate);
            run.counting = {base, component.dropFrame, countingRate(base, frameRate)};
            run.start = timeOf(position, track.editRate) - zero;
            run.frame = component.startTimecode;
            // The first run counts back over a leading filler; one that began before time zero has counted
            // on.
            if (runs.empty() || run.start <= Time{0, 1}) {
                runs.clear();
                const Rational rate = run.counting.rate;
                run.frame -= numbersOver(run.start, {rate.den, rate.num});
                run.start = {0, 1};
                if (run.frame < 0)
                    run.frame += framesPerDay(base, component.dropFrame);
            }
            if (run.frame >= 0)
                runs.push_back(run);
        }
        if (component.duration < 0)
            break;
        position = io::checkedAdd(position, component.duration);
    }
    return runs;
}

} // namespace

std::vector<TimecodeRun> timecodeRuns(const Metadata& metadata, const Clip& clip) {
    std::vector<TimecodeRun> runs;
    if (clip.material) {
        if (const PackageTrack* track = timecodeTrackOf(*clip.material))
            runs = runsOf(*track, rateFor(clip, *track), {0, 1});
    }
    if (!runs.empty() && runs.front().frame != 0)
        return runs;
    // A timecode of zero may be one that nobody set: the packages below may know better.
    Time offset{0, 1};
    for (const ClipTrack& track : clip.tracks) {
        if (track.isExternal || track.segments.empty() || !track.segments.front().start)
            continue;
        offset = timeOf(*track.segments.front().start, track.editRate);
        break;
    }
    const Package* package = clip.filePackage;
    for (int depth = 0; package && depth < deepestChain; ++depth) {
        if (const PackageTrack* track = timecodeTrackOf(*package)) {
            auto found = runsOf(*track, rateFor(clip, *track), offset);
            if (!found.empty() && (runs.empty() || found.front().frame != 0))
                return found;
        }
        // The package that this one was made from.
        const Package* origin = nullptr;
        for (const PackageTrack& track : package->tracks) {
            for (const Component& component : track.components) {
                if (origin || component.kind != Component::Kind::sourceClip ||
                    isZero(component.sourcePackage))
                    continue;
                origin = metadata.package(component.sourcePackage);
                if (origin && track.editRate.isRate())
                    offset = offset + timeOf(component.startPosition, track.editRate);
            }
        }
        package = origin;
    }
    return runs;
}

std::optional<TimecodeRun> systemItemTimecode(const io::ByteSource& source, const FileLayout& layout,
                                              std::uint32_t bodySID) {
    KlvReader reader(source);
    const auto stretches = stretchesOf(layout, {layout.header()}, bodySID, source.size());
    ElementWalker walker(reader, stretches, bodySID, layout.runIn());
    const auto item = walker.next();
    constexpr std::size_t packBytes = 57;
    if (!item || classify(item->key) != KeyKind::systemItem || item->key[5] != 0x05 ||
        item->length < packBytes)
        return std::nullopt;
    const auto value = reader.bytes(item->valueOffset, packBytes);
    if (value.size() < packBytes)
        return std::nullopt;
    io::ByteReader pack(value);
    const std::uint32_t bitmap = pack.u8();
    const std::uint32_t rateByte = pack.u8();
    const std::uint32_t rate = rateByte >> 1 & 0x1f;
    pack.skip(38);
    const bool isStamped = (bitmap & 0x10) != 0 && pack.u8() == 0x81; // SMPTE ST 12-1 address
    constexpr std::uint32_t bases[] = {0, 24, 25, 30, 48, 50, 60};
    if (!isStamped || rate == 0 || rate >= std::size(bases))
        return std::nullopt;
    TimecodeRun run;
    run.start = {0, 1};
    const std::uint32_t base = bases[rate];
    const auto address = readTimeAddress(pack.bytes(4).first<4>(), base);
    const auto frame = address ? frameNumber(*address, base) : std::nullopt;
    if (!frame)
        return std::nullopt;
    run.counting = {base, address->dropFrame,
                    (rateByte & 1) != 0 ? Rational{std::int64_t{base} * 1000, 1001} : Rational{base, 1}};
    run.frame = *frame;
    return run;
}

} // namespace media::mxf
