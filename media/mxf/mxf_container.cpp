// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/mxf_container.h"

#include <algorithm>
#include <mutex>

#include "media/mxf/clip_tracks.h"
#include "media/mxf/sound_reader.h"
#include "media/mxf/timecode_source.h"
#include "media/track/bounds.h"
#include "media/track/container_facts.h"
#include "media/track/timecode_track.h"

namespace media::mxf {

namespace {

/// Which copy of the metadata counts: the more final and complete one, and among equals the later one.
int rank(const Partition& partition) {
    if (partition.closed && partition.complete)
        return partition.kind == KeyKind::footerPartition ? 4 : 3;
    return partition.complete ? 2 : partition.closed ? 1 : 0;
}

/// The partitions behind the header of a recording that was cut off, as far as a few hops lead.
std::vector<Partition> firstPartitions(const io::ByteSource& source, const FileLayout& layout) {
    constexpr int mostHops = 512;
    std::vector<Partition> found;
    KlvReader reader(source);
    std::uint64_t offset = contentOf(reader, layout.header()).essenceStart;
    for (int i = 0; i < mostHops; ++i) {
        const auto klv = reader.at(offset);
        if (!klv || classify(klv->key) == KeyKind::foreign)
            break;
        const auto partition =
            isPartition(classify(klv->key)) ? partitionAt(reader, offset, layout.runIn()) : std::nullopt;
        if (partition && partition->headerBytes > 0)
            found.push_back(*partition);
        offset = klv->end();
    }
    return found;
}

/// The best copy of the metadata that can be read and has a clip in it.
Metadata bestMetadata(const io::ByteSource& source, const FileLayout& layout) {
    std::vector<Partition> candidates{layout.header()};
    if (layout.footer() && layout.footer()->headerBytes > 0)
        candidates.push_back(*layout.footer());
    if (rank(candidates.back()) < 3) {
        // Neither end is sure of itself: what was recorded on the way may know more.
        for (const Partition& partition : layout.partitions()) {
            if (partition.kind == KeyKind::bodyPartition && partition.headerBytes > 0)
                candidates.push_back(partition);
        }
    }
    if (!layout.footer()) {
        for (const Partition& partition : firstPartitions(source, layout))
            candidates.push_back(partition);
    }
    std::ranges::stable_sort(candidates, [](const Partition& a, const Partition& b) {
        return rank(a) != rank(b) ? rank(a) > rank(b) : a.offset > b.offset;
    });
    constexpr std::size_t mostCopies = 8;
    std::string missing;
    for (std::size_t i = 0; i < std::min(candidates.size(), mostCopies); ++i) {
        try {
            Metadata metadata = readMetadata(source, candidates[i]);
            if (!resolveClip(metadata).tracks.empty())
                return metadata;
            missing = missing.empty() ? metadata.missing : missing;
        } catch (const Error& error) {
            if (error.category() == Error::Category::io)
                throw; // the other copies can be no better
        }
    }
    throw Error(Error::Category::corrupt,
                "The clip's header describes neither picture nor sound" +
                    (missing.empty() ? "." : ": it refers to " + missing + " that isn't there."));
}

std::string hexadecimal(const Umid& id) {
    constexpr const char* digits = "0123456789ABCDEF";
    std::string text = "0x";
    for (const std::uint8_t byte : id) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

class MXFContainer final : public Container, public ContainerFacts {
  public:
    explicit MXFContainer(std::shared_ptr<const io::ByteSource> source)
        : source_(std::move(source)), layout_(*source_) {
        const Metadata metadata = bestMetadata(*source_, layout_);
        Clip clip = resolveClip(metadata);
        settleLengths(clip, layout_, source_);
        addTracks(clip);
        if (duration_ <= Time{0, 1})
            throw Error(Error::Category::corrupt, "The clip holds no whole frame.");
        checkLength(duration_); // before timecode is laid out over it
        addTimecode(metadata, clip);
        for (std::size_t i = 0; i < tracks_.size(); ++i)
            tracks_[i].index = i;
        groups_ = soundGroups(clip);
        caches_.resize(groups_.size());
        addItems(metadata, clip);
    }

    [[nodiscard]] Time duration() const override { return duration_; }
    [[nodiscard]] const std::vector<Track>& tracks() const override { return tracks_; }
    [[nodiscard]] const std::vector<MetadataItem>& metadata() const override { return items_; }
    [[nodiscard]] std::optional<Date> creationDate() const override { return date_; }

    [[nodiscard]] std::string formatName() const override { return "MXF"; }
    [[nodiscard]] std::string timecodeOrigin() const override { return timecodeOrigin_; }

    [[nodiscard]] std::unique_ptr<TrackReader> reader(std::size_t trackIndex) const override {
        const Track& track = tracks_.at(trackIndex);
        if (track.mediaType == MediaType::timecode)
            return timecode_->reader();
        const std::string& unreadable = track.formatDescriptions.front().unreadable;
        if (!unreadable.empty())
            throw Error(Error::Category::unsupported, unreadable);
        const SoundPlace& place = places_.at(trackIndex);
        const auto cache = sharedCache(place.group);
        if (cache->map().wrapping() == EssenceMap::Wrapping::clip)
            return clipWrappedReader(cache->sharedMap(), place.stream);
        return frameWrappedReader(cache, place.stream);
    }

  private:
    /// Where a sound track's samples come from.
    struct SoundPlace {
        std::size_t group = 0;
        std::size_t stream = 0;
    };

    void addTracks(const Clip& clip) {
        const auto groups = soundGroups(clip);
        std::vector<std::size_t> streams(groups.size());
        for (const ClipTrack& source : clip.tracks) {
            tracks_.push_back(describe(source));
            duration_ = std::max(duration_, endOf(source));
            SoundPlace place;
            if (source.kind == DataKind::sound && !source.isExternal) {
                const auto group = std::ranges::find(groups, source.bodySID, &SoundGroup::bodySID);
                place.group = static_cast<std::size_t>(group - groups.begin());
                place.stream = streams[place.group]++;
            }
            places_.push_back(place);
        }
    }

    void addTimecode(const Metadata& metadata, const Clip& clip) {
        auto runs = timecodeRuns(metadata, clip);
        const char* origin = runs.empty() ? "the first system item" : "the packages' timecode components";
        if (runs.empty()) {
            if (const auto run = systemItemTimecode(*source_, layout_, clip.tracks.front().bodySID))
                runs.push_back(*run);
        }
        if (runs.empty())
            return;
        timecodeOrigin_ = origin;
        const auto picture = std::ranges::find(clip.tracks, DataKind::picture, &ClipTrack::kind);
        timecode_.emplace(runs, picture != clip.tracks.end() ? endOf(*picture) : duration_);
        tracks_.push_back(timecode_->track());
    }

    void addItems(const Metadata& metadata, const Clip& clip) {
        const auto add = [&](const char* identifier, const std::string& text) {
            if (!text.empty())
                items_.push_back({identifier, text});
        };
        for (const Identification& identification : metadata.identifications) {
            add("org.smpte.mxf.identification.applicationsuppliername", identification.supplier);
            add("org.smpte.mxf.identification.applicationname", identification.application);
            date_ = date_ ? date_ : identification.modified;
        }
        if (metadata.lastModified)
            date_ = metadata.lastModified;
        if (clip.material) {
            add("org.smpte.mxf.package.material.packageid", hexadecimal(clip.material->id));
            if (clip.material->created)
                date_ = clip.material->created;
        }
    }

    std::shared_ptr<BatchCache> sharedCache(std::size_t group) const {
        const std::lock_guard lock(mutex_);
        auto& cache = caches_.at(group);
        if (!cache) {
            const SoundGroup& sound = groups_[group];
            cache = std::make_shared<BatchCache>(std::make_shared<const EssenceMap>(
                source_, layout_, sound.bodySID, sound.indexSID, sound.packageRate, sound.streams));
        }
        return cache;
    }

    std::shared_ptr<const io::ByteSource> source_;
    FileLayout layout_;
    std::vector<Track> tracks_;
    std::vector<SoundPlace> places_; ///< by track, the timecode track excepted
    std::optional<TimecodeTrack> timecode_;
    std::string timecodeOrigin_;
    Time duration_;
    std::vector<MetadataItem> items_;
    std::optional<Date> date_;
    std::vector<SoundGroup> groups_;

    mutable std::mutex mutex_;
    mutable std::vector<std::shared_ptr<BatchCache>> caches_; ///< by group, made when first asked for
};

} // namespace

bool recognises(const io::ByteSource& source) {
    return findHeaderPartition(source).has_value();
}

std::unique_ptr<Container> open(std::shared_ptr<const io::ByteSource> source) {
    return std::make_unique<MXFContainer>(std::move(source));
}

} // namespace media::mxf
