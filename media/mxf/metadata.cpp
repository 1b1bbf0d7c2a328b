// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/metadata.h"

#include <algorithm>

#include "media/mxf/local_tags.h"

namespace media::mxf {

namespace {

constexpr std::size_t mostPackages = 1024;
constexpr std::size_t mostTracks = 1024;
constexpr std::size_t mostComponents = 200'000;
constexpr std::size_t mostDescriptors = 4096;
constexpr int deepestNesting = 8;
constexpr std::int64_t latestTimecode = std::int64_t{1} << 56;
constexpr std::int64_t longestDuration = std::int64_t{1} << 48;

/// ReferenceImageEditRate (SMPTE ST 377-1): it has no fixed tag.
constexpr Label referenceRateProperty{0x06, 0x0e, 0x2b, 0x34, 0x01, 0x01, 0x01, 0x01,
                                      0x04, 0x02, 0x01, 0x01, 0x06, 0x00, 0x00, 0x00};

std::uint32_t small(const LocalSet& set, std::uint16_t tag) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(set.number(tag).value_or(0), UINT32_MAX));
}

/// A length or position that a clip can have; `fallback` for every other.
std::int64_t plausible(const LocalSet& set, std::uint16_t tag, std::int64_t fallback) {
    const std::int64_t value = set.position(tag).value_or(fallback);
    return value < 0 || value > longestDuration ? fallback : value;
}

/// Builds the plain values from the sets of one copy, within limits that no real file comes near.
class Builder {
  public:
    explicit Builder(const MetadataSets& sets)
        : sets_(sets), referenceRateTag_(sets.dynamicTag(referenceRateProperty)) {}

    Metadata build() {
        Metadata metadata;
        const LocalSet* preface = nullptr;
        for (const LocalSet* set : sets_.inOrder()) {
            switch (set->kind()) {
            case setKind::preface:
                preface = preface ? preface : set;
                break;
            case setKind::materialPackage:
            case setKind::sourcePackage:
                if (metadata.packages.size() < mostPackages)
                    metadata.packages.push_back(package(*set));
                break;
            case setKind::essenceContainerData:
                if (metadata.containers.size() < mostPackages)
                    metadata.containers.push_back({set->umid(localTag::linkedPackageUID).value_or(Umid{}),
                                                   small(*set, localTag::bodySID),
                                                   small(*set, localTag::indexSID)});
                break;
            default:
                break;
            }
        }
        if (preface) {
            metadata.lastModified = preface->timestamp(localTag::lastModifiedDate);
            for (const LocalSet* set : referredAll(*preface, localTag::identifications, "an identification"))
                metadata.identifications.push_back({set->text(localTag::companyName),
                                                    set->text(localTag::productName),
                                                    set->timestamp(localTag::modificationDate)});
        }
        metadata.missing = missing_;
        return metadata;
    }

  private:
    /// The set that a property refers to, which is to be `what`; none where it is missing.
    const LocalSet* referred(const LocalSet& set, localTag::Tag tag, const char* what) {
        const LocalSet* found = sets_.referred(set, tag);
        note(!found && set.label(tag), what);
        return found;
    }

    /// The sets that a property refers to, those that are there.
    std::vector<const LocalSet*> referredAll(const LocalSet& set, localTag::Tag tag, const char* what) {
        auto found = sets_.referredAll(set, tag);
        note(found.size() < set.labels(tag).size(), what);
        return found;
    }

    void note(bool isMissing, const char* what) {
        if (isMissing && missing_.empty())
            missing_ = what;
    }

    Package package(const LocalSet& set) {
        Package package;
        package.isMaterial = set.kind() == setKind::materialPackage;
        package.id = set.umid(localTag::packageUID).value_or(Umid{});
        package.created = set.timestamp(localTag::packageCreationDate);
        for (const LocalSet* track : referredAll(set, localTag::packageTracks, "a track")) {
            if (track->kind() == setKind::track && tracks_++ < mostTracks)
                package.tracks.push_back(packageTrack(*track));
        }
        if (const LocalSet* found = referred(set, localTag::packageDescriptor, "an essence descriptor"))
            package.descriptor = descriptor(*found, 0);
        return package;
    }

    PackageTrack packageTrack(const LocalSet& set) {
        PackageTrack track;
        track.id = small(set, localTag::trackID);
        track.number = small(set, localTag::trackNumber);
        track.editRate = set.rational(localTag::editRate).value_or(Rational{});
        track.origin = plausible(set, localTag::origin, 0);
        const LocalSet* content = referred(set, localTag::trackSequence, "a track's sequence");
        if (!content)
            return track;
        track.kind = dataKind(content->label(localTag::dataDefinition).value_or(Label{}));
        track.duration = plausible(*content, localTag::duration, -1);
        if (content->kind() != setKind::sequence) { // a bare component stands for a sequence of one
            track.components.push_back(component(*content, 0));
            return track;
        }
        for (const LocalSet* found :
             referredAll(*content, localTag::structuralComponents, "a sequence's component")) {
            if (components_++ >= mostComponents)
                break;
            track.components.push_back(component(*found, 0));
            if (track.kind == DataKind::unknown)
                track.kind = dataKind(found->label(localTag::dataDefinition).value_or(Label{}));
        }
        return track;
    }

    Component component(const LocalSet& set, int depth) {
        Component component;
        component.duration = plausible(set, localTag::duration, -1);
        switch (set.kind()) {
        case setKind::sourceClip:
            component.kind = Component::Kind::sourceClip;
            component.sourcePackage = set.umid(localTag::sourcePackageID).value_or(Umid{});
            component.sourceTrack = small(set, localTag::sourceTrackID);
            component.startPosition = plausible(set, localTag::startPosition, 0);
            break;
        case setKind::timecodeComponent:
            component.kind = Component::Kind::timecode;
            component.startTimecode = set.position(localTag::startTimecode).value_or(-1);
            if (component.startTimecode > latestTimecode)
                component.startTimecode = -1;
            component.base = small(set, localTag::roundedTimecodeBase);
            component.dropFrame = small(set, localTag::dropFrame) == 1;
            break;
        case setKind::filler:
            component.kind = Component::Kind::filler;
            break;
        case setKind::essenceGroup: // several renditions of the same: the first one
        case setKind::pulldown: {
            const auto choices = set.kind() == setKind::pulldown
                                     ? std::vector{referred(set, localTag::inputSegment, "a pulldown's clip")}
                                     : referredAll(set, localTag::choices, "an essence group's clip");
            if (!choices.empty() && choices.front() && depth < deepestNesting) {
                const std::int64_t duration = component.duration;
                component = this->component(*choices.front(), depth + 1);
                component.duration = duration;
            }
            break;
        }
        default:
            break;
        }
        return component;
    }

    Descriptor descriptor(const LocalSet& set, int depth) {
        Descriptor descriptor;
        descriptor.kind = set.kind();
        descriptor.linkedTrack = small(set, localTag::linkedTrackID);
        descriptor.sampleRate = set.rational(localTag::sampleRate).value_or(Rational{});
        descriptor.essenceContainer = set.label(localTag::essenceContainer).value_or(Label{});
        descriptor.isSound = set.kind() == setKind::genericSound || set.kind() == setKind::waveSound ||
                             set.kind() == setKind::aes3Sound || set.number(localTag::audioSamplingRate) ||
                             set.number(localTag::channelCount);
        descriptor.isPicture = !descriptor.isSound && set.number(localTag::storedWidth);
        PictureDescription& picture = descriptor.picture;
        picture.storedWidth = small(set, localTag::storedWidth);
        picture.storedHeight = small(set, localTag::storedHeight);
        picture.sampledWidth = small(set, localTag::sampledWidth);
        picture.sampledHeight = small(set, localTag::sampledHeight);
        picture.displayWidth = small(set, localTag::displayWidth);
        picture.displayHeight = small(set, localTag::displayHeight);
        picture.frameLayout = static_cast<std::uint8_t>(small(set, localTag::frameLayout));
        picture.aspectRatio = set.rational(localTag::aspectRatio).value_or(Rational{});
        if (referenceRateTag_)
            picture.referenceRate = set.rational(*referenceRateTag_).value_or(Rational{});
        SoundDescription& sound = descriptor.sound;
        sound.samplingRate = set.rational(localTag::audioSamplingRate).value_or(Rational{});
        sound.bits = small(set, localTag::quantizationBits);
        sound.channels = small(set, localTag::channelCount);
        sound.blockAlign = small(set, localTag::blockAlign);
        sound.compression = set.label(localTag::soundEssenceCompression).value_or(Label{});
        if (set.kind() == setKind::multipleDescriptor && depth < deepestNesting) {
            for (const LocalSet* child :
                 referredAll(set, localTag::subDescriptors, "an essence descriptor")) {
                if (descriptors_++ < mostDescriptors)
                    descriptor.children.push_back(this->descriptor(*child, depth + 1));
            }
        }
        return descriptor;
    }

    const MetadataSets& sets_;
    std::optional<std::uint16_t> referenceRateTag_;
    std::size_t tracks_ = 0;
    std::size_t components_ = 0;
    std::size_t descriptors_ = 0;
    std::string missing_;
};

} // namespace

const Package* Metadata::package(const Umid& id) const {
    const auto found = std::ranges::find(packages, id, &Package::id);
    return found == packages.end() ? nullptr : &*found;
}

Metadata readMetadata(const io::ByteSource& source, const Partition& partition) {
    const MetadataSets sets(source, partition);
    return Builder(sets).build();
}

} // namespace media::mxf
