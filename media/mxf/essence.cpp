// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/essence.h"

#include <algorithm>
#include <numeric>

#include "media/base/checked.h"

namespace media::mxf {

namespace {

constexpr int mostElementsInspected = 512;
constexpr std::size_t noStream = SIZE_MAX;

} // namespace

/// The elements up to the point where the first content package repeats itself or its partition ends, and the
/// sound elements that only later packages have.
struct EssenceMap::FirstPackage {
    std::vector<Klv> elements;
    std::vector<Klv> sounds;
    bool repeats = false; ///< a sound element came twice in one partition
    bool isWhole = true;  ///< it has all sound elements that were found
};

EssenceMap::EssenceMap(std::shared_ptr<const io::ByteSource> source, const FileLayout& layout,
                       std::uint32_t bodySID, std::uint32_t indexSID, Rational packageRate,
                       std::vector<SoundStream> streams)
    : source_(std::move(source)), bodySID_(bodySID), runIn_(layout.runIn()), packageRate_(packageRate),
      streams_(std::move(streams)) {
    const auto partitions = layout.partitions();
    stretches_ = stretchesOf(layout, partitions, bodySID, source_->size());
    index_.emplace(*source_, partitions, bodySID, indexSID);
    KlvReader reader(*source_);
    const FirstPackage first = inspect(reader);
    if (first.sounds.empty())
        return;
    assignNumbers(first);
    decideWrapping(first);
    if (wrapping_ == Wrapping::frame) {
        if (classify(first.elements.front().key) == KeyKind::systemItem)
            packageKey_ = first.elements.front().key;
        checkIndex(reader, first);
    }
}

EssenceMap::FirstPackage EssenceMap::inspect(KlvReader& reader) const {
    FirstPackage first;
    ElementWalker walker(reader, stretches_, bodySID_, runIn_);
    std::uint64_t partition = 0;
    bool isNext = false; // the first package is over
    for (int i = 0; i < mostElementsInspected; ++i) {
        const auto element = walker.next();
        if (!element)
            break;
        if (classify(element->key) == KeyKind::encryptedTriplet)
            throw Error(Error::Category::unsupported, "The clip's sound is encrypted.");
        if (!first.sounds.empty() && walker.partitionsEntered() != partition)
            break;
        partition = walker.partitionsEntered();
        const std::uint32_t number = elementNumber(element->key);
        isNext = isNext || std::ranges::any_of(first.elements, [&](const Klv& other) {
                     return sameLabel(other.key, element->key);
                 });
        if (classify(element->key) == KeyKind::essenceElement && isSoundElement(number)) {
            const bool isKnown = std::ranges::any_of(
                first.sounds, [&](const Klv& other) { return elementNumber(other.key) == number; });
            first.repeats = first.repeats || isKnown;
            if (isKnown && first.sounds.size() >= streams_.size())
                break;
            first.isWhole = first.isWhole && (isKnown || !isNext);
            if (!isKnown)
                first.sounds.push_back(*element);
        }
        if (!isNext)
            first.elements.push_back(*element);
    }
    return first;
}

/// Gives every track the number of elements that are there: its own, else one of the same kind and place,
/// else the next one that no other track has.
void EssenceMap::assignNumbers(const FirstPackage& first) {
    std::vector<std::size_t> owner(first.sounds.size(), noStream);
    std::vector<bool> settled(streams_.size());
    const auto assign = [&](auto&& fits) {
        for (std::size_t s = 0; s < streams_.size(); ++s) {
            for (std::size_t e = 0; e < owner.size() && !settled[s]; ++e) {
                const std::uint32_t number = elementNumber(first.sounds[e].key);
                if (owner[e] != noStream || !fits(streams_[s].number, number))
                    continue;
                owner[e] = s;
                settled[s] = true;
                streams_[s].number = number;
            }
        }
    };
    assign([](std::uint32_t stated, std::uint32_t found) { return stated == found; });
    assign([](std::uint32_t stated, std::uint32_t found) {
        return (stated & 0xff0000ff) == (found & 0xff0000ff);
    });
    assign([](std::uint32_t, std::uint32_t) { return true; });
    streamsPresent_ = static_cast<std::size_t>(std::ranges::count(settled, true));
}

void EssenceMap::decideWrapping(const FirstPackage& first) {
    wrapping_ = Wrapping::frame;
    for (const SoundStream& stream : streams_) {
        const auto element = std::ranges::find_if(
            first.sounds, [&](const Klv& sound) { return elementNumber(sound.key) == stream.number; });
        if (element == first.sounds.end())
            continue;
        const std::int64_t frames = framesIn(stream.format, stream.number, element->length);
        // A sound track in steps of single samples tells nothing of its content packages.
        if (!packageRate_.isRate() || packageRate_.value() > 1000)
            packageRate_ = first.repeats && frames > 0
                               ? Rational{stream.format.rate.num, stream.format.rate.den * frames}
                               : Rational{25, 1};
        const double expected = stream.format.rate.value() / packageRate_.value();
        if (!first.repeats && (element->length == 0 || static_cast<double>(frames) > 2 * expected))
            wrapping_ = Wrapping::clip;
        return;
    }
}

/// The index is used when it leads to the first content package, and to its sound directly where it can.
void EssenceMap::checkIndex(KlvReader& reader, const FirstPackage& first) {
    const IndexSegment* segment = index_->segment(0);
    if (!segment)
        return;
    KlvReader entries(*source_);
    StreamMap map(stretches_);
    const auto placeOf = [&](std::optional<ElementPlace> place) -> std::uint64_t {
        const auto offset = index_->offset(entries, 0, place);
        const auto position = offset ? map.position(reader, *offset) : std::nullopt;
        return position ? position->offset : 0;
    };
    const std::uint64_t sound = first.sounds.front().offset;
    const std::uint64_t start = placeOf(std::nullopt);
    isIndexUsable_ = start != 0 && start <= first.elements.front().offset;
    if (!isIndexUsable_ || !first.isWhole)
        return;
    if (start == sound)
        soundPlace_ = ElementPlace{};
    for (const ElementPlace& place : segment->places) {
        if (placeOf(place) == sound)
            soundPlace_ = place;
    }
}

std::int64_t EssenceMap::framesBefore(std::size_t stream, std::int64_t unit) const {
    const Rational& rate = streams_[stream].format.rate;
    const std::int64_t num = io::checkedMultiply(rate.num, packageRate_.den);
    const std::int64_t den = io::checkedMultiply(rate.den, packageRate_.num);
    return io::scaled(unit, num, den);
}

std::int64_t EssenceMap::cycle(std::size_t stream) const {
    const Rational& rate = streams_[stream].format.rate;
    const std::int64_t num = io::checkedMultiply(rate.num, packageRate_.den);
    const std::int64_t den = io::checkedMultiply(rate.den, packageRate_.num);
    return den / std::gcd(num, den);
}

std::vector<Extent> EssenceMap::extents(std::size_t stream) const {
    std::vector<Extent> extents;
    KlvReader reader(*source_);
    ElementWalker walker(reader, stretches_, bodySID_, runIn_);
    const std::uint64_t fileSize = source_->size();
    while (const auto element = walker.next()) {
        if (elementNumber(element->key) != streams_[stream].number || element->valueOffset >= fileSize)
            continue;
        std::uint64_t bytes = std::min(element->length, fileSize - element->valueOffset);
        // A recorder that lost its power has not come to write the length.
        if (bytes == 0)
            bytes = fileSize - element->valueOffset;
        extents.push_back({element->valueOffset, bytes});
    }
    return extents;
}

std::optional<Position> StreamMap::position(KlvReader& reader, std::uint64_t streamOffset) {
    // The last stretch that starts at or before it; stretches stand in stream order.
    auto after = std::ranges::upper_bound(
        stretches_, streamOffset, {}, [](const Stretch& stretch) { return stretch.partition.bodyOffset; });
    if (after == stretches_.begin())
        return std::nullopt;
    const auto index = static_cast<std::size_t>(after - stretches_.begin() - 1);
    if (!starts_[index])
        starts_[index] = contentOf(reader, stretches_[index].partition).essenceStart;
    const std::uint64_t start = *starts_[index];
    const std::uint64_t inside = streamOffset - stretches_[index].partition.bodyOffset;
    if (start >= stretches_[index].end || inside >= stretches_[index].end - start)
        return std::nullopt;
    return Position{index, start + inside};
}

} // namespace media::mxf
