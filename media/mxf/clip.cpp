// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/clip.h"

#include <algorithm>

#include "media/base/checked.h"

namespace media::mxf {

namespace {

bool isMedia(DataKind kind) {
    return kind == DataKind::picture || kind == DataKind::sound;
}

/// A length or position in another rate's units.
std::int64_t convert(std::int64_t units, const Rational& from, const Rational& to, io::Rounding rounding) {
    return io::scaled(units, io::checkedMultiply(from.den, to.num), io::checkedMultiply(from.num, to.den),
                      rounding);
}

class Resolver {
  public:
    explicit Resolver(const Metadata& metadata) : metadata_(metadata) {}

    Clip resolve() {
        Clip clip;
        clip.material = material_ = materialPackage();
        if (clip.material) {
            for (const PackageTrack& track : clip.material->tracks) {
                if (isMedia(track.kind) && namesSource(track))
                    clip.tracks.push_back(fromMaterial(track));
            }
        } else {
            fromFilePackages(clip);
        }
        // Essence in other files is of interest only where this file has none.
        const auto isHere = [](const ClipTrack& track) { return !track.isExternal; };
        if (std::ranges::any_of(clip.tracks, isHere))
            std::erase_if(clip.tracks, [](const ClipTrack& track) { return track.isExternal; });
        clip.filePackage = filePackage_;
        return clip;
    }

  private:
    [[nodiscard]] const EssenceContainerData* containerOf(const Package& package) const {
        const auto found =
            std::ranges::find(metadata_.containers, package.id, &EssenceContainerData::package);
        return found == metadata_.containers.end() ? nullptr : &*found;
    }

    /// Whether the package's essence lies in this file. Where the file lists no essence containers at all,
    /// that of any file package does.
    [[nodiscard]] bool isHere(const Package& package) const {
        if (package.isMaterial || !package.descriptor)
            return false;
        return containerOf(package) != nullptr || metadata_.containers.empty();
    }

    [[nodiscard]] const Package* materialPackage() const {
        const Package* first = nullptr;
        for (const Package& package : metadata_.packages) {
            if (!package.isMaterial)
                continue;
            first = first ? first : &package;
            for (const PackageTrack& track : package.tracks) {
                for (const Component& component : track.components) {
                    const Package* source = sourceOf(component);
                    if (source && isHere(*source))
                        return &package;
                }
            }
        }
        return first;
    }

    /// Whether anything is said of where a track's essence is.
    static bool namesSource(const PackageTrack& track) {
        return std::ranges::any_of(track.components, [](const Component& component) {
            return component.kind == Component::Kind::sourceClip && !isZero(component.sourcePackage);
        });
    }

    [[nodiscard]] const Package* sourceOf(const Component& component) const {
        if (component.kind != Component::Kind::sourceClip || isZero(component.sourcePackage))
            return nullptr;
        return metadata_.package(component.sourcePackage);
    }

    ClipTrack fromMaterial(const PackageTrack& track) {
        ClipTrack result;
        result.kind = track.kind;
        if (track.editRate.isRate())
            result.editRate = track.editRate;
        const PackageTrack* shown = nullptr;
        for (const Component& component : track.components) {
            const Package* package = sourceOf(component);
            const PackageTrack* source = package ? sourceTrack(*package, track, component) : nullptr;
            if (!shown && source && isHere(*package)) {
                shown = source;
                link(result, *package, *source);
            }
            const bool isShown = shown && source == shown;
            Segment segment;
            // 0 is what a writer leaves that never came to fill it in.
            segment.duration = component.duration > 0 ? component.duration : -1;
            if (isShown)
                segment.start = clipStart(result, component, *source, segment);
            else if (segment.duration < 0)
                continue;
            result.segments.push_back(segment);
        }
        if (!shown)
            result = external(track);
        // What comes after the last stretch of this file's essence is another file's.
        while (!result.segments.empty() && !result.segments.back().start)
            result.segments.pop_back();
        if (result.segments.size() == 1 && result.segments.front().duration < 0 && track.duration > 0)
            result.segments.front().duration = track.duration;
        // A length that is left open can only be that of the last stretch.
        const auto open =
            std::ranges::find_if(result.segments, [](const Segment& s) { return s.duration < 0; });
        if (open != result.segments.end())
            result.segments.erase(open + 1, result.segments.end());
        return result;
    }

    /// Where in the stored essence a source clip starts. Shortens the segment to what the source track has.
    static std::int64_t clipStart(const ClipTrack& track, const Component& component,
                                  const PackageTrack& source, Segment& segment) {
        const std::int64_t origin =
            convert(source.origin, track.sourceRate, track.editRate, io::Rounding::nearest);
        if (source.duration > 0) {
            const std::int64_t available =
                convert(source.duration, track.sourceRate, track.editRate, io::Rounding::up) -
                component.startPosition;
            if (available > 0)
                segment.duration = segment.duration < 0 ? available : std::min(segment.duration, available);
        }
        return io::checkedAdd(origin, component.startPosition);
    }

    /// The track that a source clip names; a track of the same kind counts more than the number.
    [[nodiscard]] const PackageTrack* sourceTrack(const Package& package, const PackageTrack& track,
                                                  const Component& component) const {
        const auto fits = [&](const PackageTrack& candidate) { return candidate.kind == track.kind; };
        const auto named = std::ranges::find_if(package.tracks, [&](const PackageTrack& candidate) {
            return candidate.id == component.sourceTrack && fits(candidate);
        });
        if (named != package.tracks.end())
            return &*named;
        // The only track of its kind may be numbered otherwise. Where there are more, the others lie in files
        // of their own, which may share the package's identifier.
        const auto isOnlyOne = [&](const Package& candidate) {
            return std::ranges::count(candidate.tracks, track.kind, &PackageTrack::kind) == 1;
        };
        if (isOnlyOne(package) && (!material_ || isOnlyOne(*material_)))
            return &*std::ranges::find_if(package.tracks, fits);
        return nullptr;
    }

    void link(ClipTrack& track, const Package& package, const PackageTrack& source) {
        filePackage_ = filePackage_ ? filePackage_ : &package;
        if (const EssenceContainerData* container = containerOf(package)) {
            track.bodySID = container->bodySID;
            track.indexSID = container->indexSID;
        }
        track.number = source.number;
        track.sourceRate = source.editRate.isRate() ? source.editRate : track.editRate;
        track.descriptor = descriptorOf(package, source);
    }

    ClipTrack external(const PackageTrack& track) const {
        ClipTrack result;
        result.kind = track.kind;
        result.isExternal = true;
        if (track.editRate.isRate())
            result.editRate = track.editRate;
        std::int64_t duration = track.duration;
        if (duration <= 0) {
            duration = 0;
            for (const Component& component : track.components)
                duration += std::max<std::int64_t>(component.duration, 0);
        }
        if (duration > 0)
            result.segments.push_back({duration, 0});
        for (const Component& component : track.components) {
            const Package* package = sourceOf(component);
            const PackageTrack* source = package ? sourceTrack(*package, track, component) : nullptr;
            if (source && package->descriptor)
                result.descriptor = descriptorOf(*package, *source);
        }
        return result;
    }

    void fromFilePackages(Clip& clip) {
        for (const Package& package : metadata_.packages) {
            if (!isHere(package))
                continue;
            for (const PackageTrack& source : package.tracks) {
                if (!isMedia(source.kind))
                    continue;
                ClipTrack track;
                track.kind = source.kind;
                if (source.editRate.isRate())
                    track.editRate = source.editRate;
                link(track, package, source);
                track.segments.push_back({source.duration > 0 ? source.duration : -1, source.origin});
                clip.tracks.push_back(std::move(track));
            }
        }
    }

    /// The descriptor of one track: the child that names it, else the one at its place among those of its
    /// kind.
    static std::optional<Descriptor> descriptorOf(const Package& package, const PackageTrack& track) {
        const Descriptor& whole = *package.descriptor;
        if (whole.children.empty())
            return whole;
        const auto fits = [&](const Descriptor& child) {
            return track.kind == DataKind::sound ? child.isSound : child.isPicture;
        };
        for (const Descriptor& child : whole.children) {
            if (child.linkedTrack == track.id && track.id != 0 && fits(child))
                return child;
        }
        std::ptrdiff_t place = 0;
        for (const PackageTrack& other : package.tracks) {
            if (&other == &track)
                break;
            place += other.kind == track.kind ? 1 : 0;
        }
        std::vector<const Descriptor*> candidates;
        for (const Descriptor& child : whole.children) {
            if (fits(child))
                candidates.push_back(&child);
        }
        if (candidates.empty())
            return std::nullopt;
        return *candidates[std::min(static_cast<std::size_t>(place), candidates.size() - 1)];
    }

    const Metadata& metadata_;
    const Package* material_ = nullptr;
    const Package* filePackage_ = nullptr;
};

} // namespace

Clip resolveClip(const Metadata& metadata) {
    return Resolver(metadata).resolve();
}

} // namespace media::mxf
