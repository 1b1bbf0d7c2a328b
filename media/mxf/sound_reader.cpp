// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/mxf/sound_reader.h"

#include <algorithm>

#include "media/base/checked.h"

namespace media::mxf {

namespace {

constexpr std::int64_t clipReadBytes = 256 << 10;
constexpr std::int64_t mostSilence = 16 << 20; // bytes in place of one missing element

/// Fills in what describes frames that already stand in `samples.data`.
void describeRun(StoredSamples& samples, const SoundFormat& format, std::int64_t first, std::int64_t frames) {
    samples.formatIndex = 0;
    samples.mediaTime = io::checkedMultiply(first, format.ticksPerFrame());
    samples.samples.clear();
    if (format.coding == SoundCoding::aLaw) { // one packet; any number of frames makes one
        samples.frameCount = samples.firstFrame = 0;
        samples.samples.push_back(
            {io::checked<std::uint32_t>(static_cast<std::int64_t>(samples.data.size())),
             io::checked<std::uint32_t>(io::checkedMultiply(frames, format.ticksPerFrame()))});
    } else {
        samples.frameCount = frames;
        samples.firstFrame = first;
    }
}

class FrameWrappedReader final : public TrackReader {
  public:
    FrameWrappedReader(std::shared_ptr<BatchCache> cache, std::size_t stream)
        : cache_(std::move(cache)), stream_(stream), format_(cache_->map().streams()[stream].format) {}

    bool next(StoredSamples& samples) override {
        for (;;) {
            if (isAtEnd_)
                return false;
            const Batch& batch = nextBatch();
            const std::int64_t first = position_;
            samples.data.clear();
            std::int64_t frames = 0;
            for (std::size_t i = 0; i < batch.packages.size(); ++i)
                frames += append(batch, i, samples.data);
            isAtEnd_ = batch.isLast;
            position_ += frames;
            const std::int64_t skipped = std::min(skip_, frames);
            skip_ -= skipped;
            if (skipped > 0)
                samples.data.erase(samples.data.begin(),
                                   samples.data.begin() +
                                       static_cast<std::ptrdiff_t>(skipped * format_.frameBytes()));
            if (frames > skipped) {
                describeRun(samples, format_, first + skipped, frames - skipped);
                return true;
            }
        }
    }

    void seek(std::int64_t mediaTime) override {
        const EssenceMap& map = cache_->map();
        const std::int64_t frame = std::max<std::int64_t>(mediaTime, 0) / format_.ticksPerFrame();
        const std::int64_t perBatch =
            std::max<std::int64_t>(map.framesBefore(stream_, cache_->unitsPerBatch()), 1);
        // The guess is exact but for rounding, which may add up.
        const auto start = [&](std::int64_t batch) {
            return map.framesBefore(stream_, batch * cache_->unitsPerBatch());
        };
        batchIndex_ = frame / perBatch;
        if (start(batchIndex_) > frame) {
            std::int64_t before = 0; // starts at `frame` at the latest; batchIndex_ starts behind it
            while (before + 1 < batchIndex_) {
                const std::int64_t middle = before + (batchIndex_ - before) / 2;
                (start(middle) > frame ? batchIndex_ : before) = middle;
            }
            batchIndex_ = before;
        }
        position_ = start(batchIndex_);
        skip_ = frame - position_;
        isAtEnd_ = false;
    }

  private:
    const Batch& nextBatch() {
        batch_ = cache_->batch(batchIndex_, std::move(batch_));
        if (batch_) {
            ownReader_.reset();
        } else { // the other lanes are far ahead
            if (!ownReader_)
                ownReader_ = std::make_unique<PackageReader>(cache_->sharedMap(), stream_);
            batch_ = cache_->read(*ownReader_, batchIndex_);
        }
        ++batchIndex_;
        return *batch_;
    }

    std::int64_t append(const Batch& batch, std::size_t package, std::vector<std::byte>& data) const {
        const SoundPackage::Part& part = batch.packages[package].parts[stream_];
        const std::span<const std::byte> value = std::span(batch.bytes).subspan(part.offset, part.bytes);
        if (!value.empty())
            return appendElement(format_, cache_->map().streams()[stream_].number, value, data);
        // An element is missing: what follows must stay in step with the picture.
        const std::int64_t unit =
            (batchIndex_ - 1) * cache_->unitsPerBatch() + static_cast<std::int64_t>(package);
        const EssenceMap& map = cache_->map();
        const std::int64_t frames = map.framesBefore(stream_, unit + 1) - map.framesBefore(stream_, unit);
        if (frames > mostSilence / format_.frameBytes())
            throw Error(Error::Category::corrupt, "The rates of the clip contradict each other.");
        appendSilence(format_, frames, data);
        return frames;
    }

    std::shared_ptr<BatchCache> cache_;
    std::size_t stream_;
    SoundFormat format_;
    std::shared_ptr<const Batch> batch_; ///< the last one used
    std::unique_ptr<PackageReader> ownReader_;
    std::int64_t batchIndex_ = 0;
    std::int64_t position_ = 0; ///< frames from the start of the media
    std::int64_t skip_ = 0;     ///< frames to leave out after a seek
    bool isAtEnd_ = false;
};

class ClipWrappedReader final : public TrackReader {
  public:
    ClipWrappedReader(std::shared_ptr<const EssenceMap> map, std::size_t stream)
        : map_(std::move(map)), format_(map_->streams()[stream].format), extents_(map_->extents(stream)) {
        std::uint64_t bytes = 0;
        for (const Extent& extent : extents_)
            bytes += extent.bytes;
        total_ = static_cast<std::int64_t>(bytes / format_.frameBytes());
    }

    bool next(StoredSamples& samples) override {
        const std::int64_t perRead = std::max<std::int64_t>(clipReadBytes / format_.frameBytes(), 1);
        const std::int64_t frames = std::min(perRead, total_ - position_);
        if (frames <= 0)
            return false;
        samples.data.resize(static_cast<std::size_t>(frames * format_.frameBytes()));
        read(static_cast<std::uint64_t>(position_) * format_.frameBytes(), samples.data);
        describeRun(samples, format_, position_, frames);
        position_ += frames;
        announce(static_cast<std::uint64_t>(position_) * format_.frameBytes());
        return true;
    }

    void seek(std::int64_t mediaTime) override {
        position_ = std::max<std::int64_t>(mediaTime, 0) / format_.ticksPerFrame();
    }

  private:
    /// Lets the disk begin with what is read next, as far as it lies in one extent.
    void announce(std::uint64_t from) const {
        for (const Extent& extent : extents_) {
            if (from < extent.bytes)
                return map_->source().willRead(extent.offset + from,
                                               std::min<std::uint64_t>(extent.bytes - from, clipReadBytes));
            from -= extent.bytes;
        }
    }

    /// Fills `out` from the extents as if they lay back to back.
    void read(std::uint64_t from, std::span<std::byte> out) const {
        for (const Extent& extent : extents_) {
            if (out.empty())
                return;
            if (from >= extent.bytes) {
                from -= extent.bytes;
                continue;
            }
            const auto count =
                static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), extent.bytes - from));
            map_->source().readAt(extent.offset + from, out.first(count));
            out = out.subspan(count);
            from = 0;
        }
    }

    std::shared_ptr<const EssenceMap> map_;
    SoundFormat format_;
    std::vector<Extent> extents_;
    std::int64_t total_ = 0; ///< frames
    std::int64_t position_ = 0;
};

} // namespace

std::unique_ptr<TrackReader> frameWrappedReader(std::shared_ptr<BatchCache> cache, std::size_t stream) {
    return std::make_unique<FrameWrappedReader>(std::move(cache), stream);
}

std::unique_ptr<TrackReader> clipWrappedReader(std::shared_ptr<const EssenceMap> map, std::size_t stream) {
    return std::make_unique<ClipWrappedReader>(std::move(map), stream);
}

} // namespace media::mxf
