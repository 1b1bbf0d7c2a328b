// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/writer_lanes.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <system_error>
#include <utility>

#include "media/quicktime/sound_entry_writer.h"

namespace media {

namespace {

/// A chunk holds at most a second, and at most this many bytes.
constexpr std::size_t largestChunk = std::size_t{1} << 20;

/// Unwinds a lane whose sequence has stopped.
struct Stopped {};

std::int64_t mediaTimescale(double sampleRate) {
    return std::clamp<std::int64_t>(std::llround(sampleRate), 1, std::numeric_limits<std::uint32_t>::max());
}

/// Timecode: every sample as it comes, in the source's own time scale.
class TimecodeLane final : public WriterLane {
  public:
    TimecodeLane(ChunkSequencer& sequencer, quicktime::SpillFile& spill, const Track& source)
        : WriterLane(sequencer, spill, MediaType::timecode, source.timescale) {
        const FormatDescription& format = source.formatDescriptions.at(0);
        track_.handler = format.mediaSubType == fourCC("tc64") ? fourCC("tc64") : fourCC("tmcd");
        track_.sampleEntry = format.sampleEntry;
        track_.edits = source.edits;
    }

    quicktime::WrittenTrack& complete(const std::optional<Time>& sessionEnd) override {
        shiftEdits();
        if (sessionEnd)
            endAt(*sessionEnd);
        for (const Edit& edit : track_.edits)
            if (edit.mediaTime >= 0)
                track_.lengthen(static_cast<std::uint64_t>(
                    io::checkedAdd(edit.mediaTime, edit.duration.ticks(track_.timescale, io::Rounding::up))));
        coarsen();
        return track_;
    }

  private:
    void take(const SampleBuffer& buffer) override {
        if (buffer.sampleCount < 1)
            return;
        if (!firstMediaTime_)
            firstMediaTime_ = buffer.presentationTime.value;
        const auto duration = static_cast<std::uint64_t>(std::max<std::int64_t>(0, buffer.duration));
        const auto second = static_cast<std::uint64_t>(track_.timescale);
        if (chunk_.samples > 0 && (chunkTicks_ + duration > second || chunk_.data.size() >= largestChunk)) {
            pushChunk();
            chunkTicks_ = 0;
        }
        chunk_.data.insert(chunk_.data.end(), buffer.data.begin(), buffer.data.end());
        ++chunk_.samples;
        chunkTicks_ += duration;
        track_.addSample(static_cast<std::uint32_t>(buffer.data.size()), duration);
    }

    /// Samples before the first one shown were left out: the media begins later than the source's.
    void shiftEdits() {
        for (Edit& edit : track_.edits)
            if (edit.mediaTime >= 0)
                edit.mediaTime = std::max<std::int64_t>(0, edit.mediaTime - firstMediaTime_.value_or(0));
    }

    /// Lengthens or cuts the edits so that the last one ends at `end`.
    void endAt(const Time& end) {
        std::vector<Edit>& edits = track_.edits;
        while (!edits.empty() && (edits.back().start >= end || edits.back().mediaTime == emptyEdit))
            edits.pop_back();
        if (edits.empty())
            edits.push_back({{0, end.timescale}, end, 0});
        edits.back().duration = end - edits.back().start;
    }

    /// A sample of many hours may not fit the 32 bits that a duration has in the table: then coarser ticks
    /// must do.
    void coarsen() {
        constexpr std::uint64_t largest = std::numeric_limits<std::uint32_t>::max();
        std::uint64_t longest = 0;
        for (const auto& run : track_.durations)
            longest = std::max(longest, run.value);
        if (longest <= largest)
            return;
        const auto divisor = static_cast<std::int64_t>(longest / largest + 1);
        const std::int64_t coarse = std::max<std::int64_t>(1, track_.timescale / divisor);
        track_.mediaDuration = 0;
        for (auto& run : track_.durations) {
            run.value = static_cast<std::uint64_t>(
                io::scaled(static_cast<std::int64_t>(run.value), coarse, track_.timescale, io::Rounding::up));
            track_.mediaDuration += run.value * run.count;
        }
        for (Edit& edit : track_.edits)
            if (edit.mediaTime > 0)
                edit.mediaTime = io::scaled(edit.mediaTime, coarse, track_.timescale);
        track_.timescale = coarse;
    }

    std::optional<std::int64_t> firstMediaTime_;
    std::uint64_t chunkTicks_ = 0;
};

/// Linear PCM frames as they come, in chunks of the same number of frames.
class FrameChunks {
  public:
    FrameChunks(std::uint32_t bytesPerFrame, std::int64_t framesPerSecond)
        : bytesPerFrame_(bytesPerFrame),
          framesPerChunk_(
              std::max<std::size_t>(1, std::min<std::size_t>(largestChunk / bytesPerFrame,
                                                             static_cast<std::size_t>(framesPerSecond)))) {}

    [[nodiscard]] std::uint32_t bytesPerFrame() const noexcept { return bytesPerFrame_; }

    /// Fills chunks with whole frames; `full` takes each one that is.
    template <typename Full>
    void add(std::span<const std::byte> frames, Chunk& chunk, quicktime::WrittenTrack& track,
             Full full) const {
        while (!frames.empty()) {
            const std::size_t count =
                std::min<std::size_t>(framesPerChunk_ - chunk.samples, frames.size() / bytesPerFrame_);
            const std::size_t bytes = count * bytesPerFrame_;
            chunk.data.insert(chunk.data.end(), frames.begin(),
                              frames.begin() + static_cast<std::ptrdiff_t>(bytes));
            chunk.samples += count;
            track.addFrames(count, bytesPerFrame_);
            frames = frames.subspan(bytes);
            if (chunk.samples == framesPerChunk_)
                full();
        }
    }

  private:
    std::uint32_t bytesPerFrame_;
    std::size_t framesPerChunk_;
};

class PassThroughLane final : public WriterLane {
  public:
    PassThroughLane(ChunkSequencer& sequencer, quicktime::SpillFile& spill,
                    const AudioStreamDescription& format)
        : WriterLane(sequencer, spill, MediaType::audio, mediaTimescale(format.sampleRate)),
          chunks_(format.bytesPerFrame, track_.timescale) {
        track_.handler = fourCC("soun");
        track_.sampleEntry =
            quicktime::pcmEntry(format, quicktime::channelLayoutTag(format.channelsPerFrame));
    }

    quicktime::WrittenTrack& complete(const std::optional<Time>&) override {
        if (track_.frameCount > 0)
            track_.edits = {
                {{0, track_.timescale}, {static_cast<std::int64_t>(track_.frameCount), track_.timescale}, 0}};
        return track_;
    }

  private:
    void take(const SampleBuffer& buffer) override {
        chunks_.add(buffer.data, chunk_, track_, [this] { pushChunk(); });
    }

    FrameChunks chunks_;
};

/// Sound through an encoder. What goes in is counted, so that the edit shows exactly that.
class EncodedLane final : public WriterLane {
  public:
    EncodedLane(ChunkSequencer& sequencer, quicktime::SpillFile& spill,
                const audio::EncoderSettings& settings)
        : WriterLane(sequencer, spill, MediaType::audio, mediaTimescale(settings.sampleRate)),
          encoder_(audio::makeEncoder(settings)), layoutTag_(settings.channelLayoutTag) {
        track_.handler = fourCC("soun");
        const audio::EncodedFormat& format = encoder_->format();
        if (format.formatID == audioFormat::linearPCM)
            frames_.emplace(format.channels * ((format.bitsPerChannel + 7) / 8), track_.timescale);
        else
            packetsPerChunk_ = std::max<std::uint64_t>(1, static_cast<std::uint64_t>(track_.timescale) /
                                                              format.framesPerPacket);
        sink_ = [this](std::span<const std::byte> packet, std::uint32_t frames) { store(packet, frames); };
    }

    quicktime::WrittenTrack& complete(const std::optional<Time>&) override {
        const audio::EncodedFormat& format = encoder_->format();
        if (frames_) {
            AudioStreamDescription pcm{
                format.sampleRate, audioFormat::linearPCM, pcmFlag::signedInteger | pcmFlag::packed,
                format.channels,   format.bitsPerChannel,  frames_->bytesPerFrame()};
            track_.sampleEntry = quicktime::pcmEntry(pcm, layoutTag_);
        } else {
            track_.sampleEntry = quicktime::soundEntry(format, layoutTag_);
        }
        track_.hidesPriming = format.primingFrames > 0;
        if (framesIn_ > 0)
            track_.edits = {{{0, track_.timescale}, {framesIn_, track_.timescale}, format.primingFrames}};
        return track_;
    }

  private:
    void take(const SampleBuffer& buffer) override {
        framesIn_ += buffer.sampleCount;
        encoder_->encode(buffer.data, sink_);
    }
    void end() override {
        if (framesIn_ > 0)
            encoder_->finish(sink_);
    }

    void store(std::span<const std::byte> packet, std::uint32_t frames) {
        if (frames_) {
            frames_->add(packet, chunk_, track_, [this] { pushChunk(); });
            return;
        }
        if (chunk_.samples == packetsPerChunk_ || chunk_.data.size() + packet.size() > largestChunk)
            if (chunk_.samples > 0)
                pushChunk();
        chunk_.data.insert(chunk_.data.end(), packet.begin(), packet.end());
        ++chunk_.samples;
        track_.addSample(static_cast<std::uint32_t>(packet.size()), frames);
    }

    std::unique_ptr<audio::Encoder> encoder_;
    audio::PacketSink sink_;
    std::uint32_t layoutTag_;
    std::optional<FrameChunks> frames_; ///< when the encoder gives linear PCM
    std::uint64_t packetsPerChunk_ = 1;
    std::int64_t framesIn_ = 0;
};

} // namespace

template <typename Step>
bool WriterLane::guarded(Step step) noexcept {
    if (sequencer_.stopped())
        return false;
    try {
        step();
        return true;
    } catch (const Stopped&) {
    } catch (...) {
        sequencer_.stop(std::current_exception());
    }
    return false;
}

bool WriterLane::append(const SampleBuffer& buffer) noexcept {
    return guarded([&] { take(buffer); });
}

void WriterLane::markAsFinished() noexcept {
    (void)guarded([&] {
        end();
        if (chunk_.samples > 0)
            pushChunk();
    });
    sequencer_.finish(number_);
}

void WriterLane::pushChunk() {
    const auto seconds = [this](std::uint64_t ticks) {
        return static_cast<double>(ticks) / static_cast<double>(track_.timescale);
    };
    chunk_.start = seconds(chunkStart_);
    chunk_.end = seconds(track_.mediaDuration);
    chunkStart_ = track_.mediaDuration;
    if (!sequencer_.push(number_, std::exchange(chunk_, {})))
        throw Stopped{};
}

std::unique_ptr<WriterLane> makeTimecodeLane(ChunkSequencer& sequencer, quicktime::SpillFile& spill,
                                             const Track& source) {
    return std::make_unique<TimecodeLane>(sequencer, spill, source);
}

std::unique_ptr<WriterLane> makeEncodedLane(ChunkSequencer& sequencer, quicktime::SpillFile& spill,
                                            const audio::EncoderSettings& settings) {
    return std::make_unique<EncodedLane>(sequencer, spill, settings);
}

std::unique_ptr<WriterLane> makePassThroughLane(ChunkSequencer& sequencer, quicktime::SpillFile& spill,
                                                const AudioStreamDescription& format) {
    return std::make_unique<PassThroughLane>(sequencer, spill, format);
}

} // namespace media
