// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/shared_chunks.h"

#include <algorithm>
#include <utility>

#include "media/base/checked.h"

namespace media::quicktime {

namespace {

constexpr std::int64_t batchMilliseconds = 250;
/// A lane that starts further ahead than this was sent there by an edit; what lies between is not read. One
/// that is as far behind has other edits than the rest: what is read ahead for it is of no use.
constexpr std::int64_t mostAheadMilliseconds = 8'000;
/// A chunk of this size is worth a read of its own.
constexpr std::uint64_t largestShared = std::uint64_t{32} * 1024;
constexpr std::size_t mostChunksPerBatch = 65'536;
constexpr std::uint64_t mostBytesPerBatch = std::uint64_t{16} << 20;
constexpr std::size_t mostBytesHeld = std::size_t{32} << 20;
constexpr int mostFruitless = 16;
/// Bytes between two chunks (alignment) are read along when there are at most a sixteenth of the chunks' own.
constexpr std::uint64_t chunkBytesPerGapByte = 16;

} // namespace

void ChunkBatch::read(const io::ByteSource& file, std::vector<Stretch> stretches) {
    stretches_ = std::move(stretches);
    places_.clear();
    size_ = 0;
    for (const Stretch& stretch : stretches_) {
        file.willRead(stretch.begin, stretch.size());
        places_.push_back(size_);
        size_ += static_cast<std::size_t>(stretch.size());
    }
    if (size_ > capacity_) {
        bytes_ = std::make_unique_for_overwrite<std::byte[]>(size_);
        capacity_ = size_;
    }
    const std::span<std::byte> bytes(bytes_.get(), size_);
    for (std::size_t i = 0; i < stretches_.size(); ++i)
        file.readAt(stretches_[i].begin, bytes.subspan(places_[i], stretches_[i].size()));
}

std::span<const std::byte> ChunkBatch::find(std::uint64_t begin, std::uint64_t end) const {
    auto after =
        std::upper_bound(stretches_.begin(), stretches_.end(), begin,
                         [](std::uint64_t offset, const Stretch& stretch) { return offset < stretch.begin; });
    if (after == stretches_.begin() || std::prev(after)->end <= begin)
        return {};
    const Stretch& stretch = *std::prev(after);
    const auto index = static_cast<std::size_t>(std::prev(after) - stretches_.begin());
    return std::span(bytes_.get(), size_)
        .subspan(places_[index] + static_cast<std::size_t>(begin - stretch.begin),
                 static_cast<std::size_t>(std::min(end, stretch.end) - begin));
}

SharedChunks::SharedChunks(std::shared_ptr<const io::ByteSource> file)
    : file_(std::move(file)), store_(mostBytesHeld) {}

SharedChunks::Member::Member(std::shared_ptr<SharedChunks> chunks, const MovieTrack& track,
                             std::int64_t timescale)
    : chunks_(std::move(chunks)), timescale_(timescale),
      walker_(track.tableSource, track.samples, track.layouts) {
    const std::scoped_lock lock(chunks_->reading_, chunks_->wanting_);
    if (chunks_->next_ > 0)
        walker_.seek(io::scaled(chunks_->next_, timescale_, 1000));
    chunks_->members_.push_back(this);
}

SharedChunks::Member::~Member() {
    const std::scoped_lock lock(chunks_->reading_, chunks_->wanting_);
    std::erase(chunks_->members_, this);
    chunks_->store_.drop(chunks_->wantedByAll(), inUse_);
}

std::int64_t SharedChunks::Member::milliseconds(std::int64_t ticks) const {
    return io::scaled(ticks, 1000, timescale_, io::Rounding::down);
}

const SharedChunks::Batches& SharedChunks::Member::batches(std::int64_t begin, std::int64_t end) {
    SharedChunks& chunks = *chunks_;
    const std::int64_t last = milliseconds(end);
    {
        const std::lock_guard lock(chunks.wanting_);
        wanted_ = milliseconds(begin);
        chunks.store_.drop(chunks.wantedByAll(), inUse_);
    }
    if (last + mostAheadMilliseconds < chunks.next_) {
        chunks.gaveUp_ = true;
    } else if (chunks.next_ <= last) {
        const std::lock_guard lock(chunks.reading_);
        if (wanted_ > chunks.next_ + mostAheadMilliseconds)
            chunks.seek(wanted_);
        chunks.readUntil(last);
    } else if (chunks.next_ <= last + batchMilliseconds) {
        // The other lanes have what they need for now, so nobody waits for this.
        if (const std::unique_lock lock(chunks.reading_, std::try_to_lock); lock)
            chunks.readUntil(last + batchMilliseconds);
    }
    chunks.store_.find(wanted_, inUse_);
    return inUse_;
}

void SharedChunks::readUntil(std::int64_t milliseconds) {
    while (!gaveUp_ && members_.size() > 1 && next_ <= milliseconds)
        readBatch();
}

void SharedChunks::seek(std::int64_t milliseconds) {
    next_ = milliseconds;
    for (Member* member : members_) {
        member->walker_.seek(io::scaled(milliseconds, member->timescale_, 1000));
        member->next_.reset();
    }
}

void SharedChunks::readBatch() {
    try {
        const std::int64_t end = next_ + batchMilliseconds;
        auto stretches = plan(end);
        fruitless_ = stretches.empty() ? fruitless_ + 1 : 0;
        if (fruitless_ >= mostFruitless)
            gaveUp_ = true;
        if (!stretches.empty()) {
            auto batch = store_.spare();
            batch->read(*file_, std::move(stretches));
            store_.add(end, std::move(batch));
        }
        next_ = end;
    } catch (const Error&) { // the lane whose bytes they are will find out, and say so
        gaveUp_ = true;
    }
}

/// The neighbours among the chunks that start before `end` (milliseconds).
std::vector<Stretch> SharedChunks::plan(std::int64_t end) {
    struct Chunk {
        Stretch place;
        const Member* member;
    };
    std::vector<Chunk> chunks;
    std::uint64_t bytes = 0;
    for (Member* member : members_) {
        while (member->next_ || (member->next_ = member->walker_.next())) {
            const SampleRun& run = *member->next_;
            if (member->milliseconds(run.time) >= end)
                break;
            const std::uint64_t size = io::checkedMultiply<std::uint64_t>(run.count, run.size);
            if (run.offset < file_->size() && size <= std::min(largestShared, file_->size() - run.offset)) {
                chunks.push_back({{run.offset, run.offset + size}, member});
                bytes += size;
            }
            if (chunks.size() > mostChunksPerBatch || bytes > mostBytesPerBatch) {
                gaveUp_ = true;
                return {};
            }
            member->next_.reset();
        }
    }
    std::sort(chunks.begin(), chunks.end(),
              [](const Chunk& a, const Chunk& b) { return a.place.begin < b.place.begin; });
    std::vector<Stretch> stretches;
    for (auto first = chunks.begin(); first != chunks.end();) {
        Stretch stretch = first->place;
        bool shared = false;
        auto next = std::next(first);
        for (; next != chunks.end(); ++next) {
            const std::uint64_t gap = next->place.begin > stretch.end ? next->place.begin - stretch.end : 0;
            if (gap * chunkBytesPerGapByte > stretch.size() + next->place.size())
                break;
            stretch.end = std::max(stretch.end, next->place.end);
            shared = shared || next->member != first->member;
        }
        if (shared)
            stretches.push_back(stretch);
        first = next;
    }
    return stretches;
}

/// The time before which no lane will ask for anything again. `wanting_` is locked.
std::int64_t SharedChunks::wantedByAll() {
    std::int64_t wanted = next_;
    for (const Member* member : members_)
        wanted = std::min(wanted, member->wanted_);
    return wanted;
}

} // namespace media::quicktime
