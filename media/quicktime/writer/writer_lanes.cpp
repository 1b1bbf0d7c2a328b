// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/writer/writer_lanes.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <system_error>
#include <utility>

#include "media/base/sample_rate.h"
#include "media/quicktime/writer/sound_entry_writer.h"
#include "media/quicktime/writer/timecode_entry_writer.h"

namespace media {

namespace {

/// Unwinds a lane whose sequence has stopped.
struct Stopped {};

/// The clock of sound: a tick is a frame, or where the rate is no whole number a part of one.
SampleRate soundClock(double sampleRate) {
    if (!(sampleRate >= 1 && sampleRate <= 1e9))
        throw Error(Error::Category::unsupported, "The sound has a sample rate that can't be written.");
    return exactRate(sampleRate);
}

/// Timecode: every sample as it comes, in the source's own time scale. What the source keeps in another form
/// gets samples and a description of QuickTime's.
class TimecodeLane final : public WriterLane {
  public:
    TimecodeLane(ChunkSequencer& sequencer, quicktime::SpillFile& spill, const Track& source)
        : WriterLane(sequencer, spill, MediaType::timecode, source.timescale) {
        constexpr std::size_t smallestEntry = 16; // bytes, up to the data reference
        const FormatDescription* format =
            source.formatDescriptions.empty() ? nullptr : &source.formatDescriptions.front();
        isMade_ = format != nullptr && format->sampleEntry.empty();
        if (format == nullptr || (isMade_ ? !format->timecode : format->sampleEntry.size() < smallestEntry) ||
            source.timescale < 1 || source.timescale > std::numeric_limits<std::uint32_t>::max())
            throw Error(Error::Category::unsupported, "The timecode track has no usable description.");
        isWide_ = format->timecode && format->timecode->isWide;
        track_.handler = isWide_ ? fourCC("tc64") : fourCC("tmcd");
        track_.sampleEntry = isMade_ ? quicktime::timecodeEntry(*format->timecode) : format->sampleEntry;
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
        std::vector<std::byte> made;
        if (isMade_ && buffer.frameNumber)
            made = quicktime::timecodeSample(*buffer.frameNumber, isWide_);
        const std::vector<std::byte>& data = isMade_ ? made : buffer.data;
        const auto duration = static_cast<std::uint64_t>(std::max<std::int64_t>(0, buffer.duration));
        const auto second = static_cast<std::uint64_t>(track_.timescale);
        if (chunk_.samples > 0 &&
            (chunkTicks_ + duration > second || chunk_.data.size() + data.size() > largestChunk())) {
            pushChunk();
            chunkTicks_ = 0;
        }
        addToChunk(data, 1);
        chunkTicks_ += duration;
        track_.addSample(static_cast<std::uint32_t>(data.size()), duration);
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
        if (end <= Time{})
            return;
        if (edits.empty())
            edits.push_back({{0, end.timescale}, end, 0});
        edits.back().duration = end - edits.back().start;
    }

    /// A sample of many hours may not fit the 32 bits that a duration has in the table: then coarser ticks
    /// must do.
    void coarsen() {
        constexpr std::uint64_t largest = std::numeric_limits<std::uint32_t>::max();
        std::uint64_t longest = 0;
        track_.durations.forEach([&](const quicktime::Run& run) { longest = std::max(longest, run.value); });
        if (longest <= largest)
            return;
        const auto divisor = static_cast<std::int64_t>(longest / largest + 1);
        const std::int64_t coarse = std::max<std::int64_t>(1, track_.timescale / divisor);
        quicktime::SpilledRuns durations(spill_);
        track_.mediaDuration = 0;
        track_.durations.forEach([&](const quicktime::Run& run) {
            const auto value = static_cast<std::uint64_t>(
                io::scaled(static_cast<std::int64_t>(run.value), coarse, track_.timescale, io::Rounding::up));
            durations.append(value, run.count);
            track_.mediaDuration += value * run.count;
        });
        track_.durations = std::move(durations);
        for (Edit& edit : track_.edits)
            if (edit.mediaTime > 0)
                edit.mediaTime = io::scaled(edit.mediaTime, coarse, track_.timescale);
        track_.timescale = coarse;
    }

    bool isMade_ = false; ///< the source has no QuickTime samples
    bool isWide_ = false; ///< their numbers have 64 bits
    std::optional<std::int64_t> firstMediaTime_;
    std::uint64_t chunkTicks_ = 0;
};

/// Sound in frames of one size or in packets, in chunks of at most a second that all hold the same number of
/// them.
class SoundLane : public WriterLane {
  protected:
    SoundLane(ChunkSequencer& sequencer, quicktime::SpillFile& spill, double sampleRate)
        : SoundLane(sequencer, spill, soundClock(sampleRate)) {}

    /// Whole frames of linear PCM.
    void storeFrames(std::span<const std::byte> frames, std::uint32_t bytesPerFrame) {
        if (samplesPerChunk_ == 0)
            samplesPerChunk_ = samplesPerChunk(1, bytesPerFrame);
        while (frames.size() >= bytesPerFrame) {
            const std::uint64_t count =
                std::min<std::uint64_t>(samplesPerChunk_ - chunk_.samples, frames.size() / bytesPerFrame);
            const std::size_t bytes = static_cast<std::size_t>(count) * bytesPerFrame;
            addToChunk(frames.first(bytes), count);
            track_.addFrames(count, bytesPerFrame, ticksPerFrame_);
            frames = frames.subspan(bytes);
            if (chunk_.samples == samplesPerChunk_)
                pushChunk();
        }
    }

    /// One packet of `frames`; `usualFrames` and `largestSize` (bytes) are those of all packets.
    void storePacket(std::span<const std::byte> packet, std::uint32_t frames, std::uint32_t usualFrames,
                     std::size_t largestSize) {
        if (samplesPerChunk_ == 0)
            samplesPerChunk_ = samplesPerChunk(usualFrames, largestSize);
        addToChunk(packet, 1);
        track_.addSample(io::checked<std::uint32_t>(packet.size()), std::uint64_t{frames} * ticksPerFrame_);
        if (chunk_.samples == samplesPerChunk_)
            pushChunk();
    }

    /// The edit that shows `frames` after the priming.
    void show(std::int64_t frames, std::int64_t primingFrames) {
        if (frames > 0)
            track_.edits = {{{0, track_.timescale},
                             {io::checkedMultiply(frames, std::int64_t{ticksPerFrame_}), track_.timescale},
                             primingFrames * ticksPerFrame_}};
    }

  private:
    SoundLane(ChunkSequencer& sequencer, quicktime::SpillFile& spill, const SampleRate& clock)
        : WriterLane(sequencer, spill, MediaType::audio, clock.frames),
          ticksPerFrame_(static_cast<std::uint32_t>(clock.seconds)) {
        track_.handler = fourCC("soun");
    }

    [[nodiscard]] std::uint64_t samplesPerChunk(std::uint32_t frames, std::size_t bytes) {
        const auto inSecond = static_cast<std::uint64_t>(track_.timescale) /
                              (std::uint64_t{std::max(frames, 1U)} * ticksPerFrame_);
        const std::uint64_t inBytes = largestChunk() / std::max<std::size_t>(bytes, 1);
        return std::max<std::uint64_t>(1, std::min(inSecond, inBytes));
    }

    std::uint32_t ticksPerFrame_;
    std::uint64_t samplesPerChunk_ = 0; ///< 0: not settled yet
};

class PassThroughLane final : public SoundLane {
  public:
    PassThroughLane(ChunkSequencer& sequencer, quicktime::SpillFile& spill,
                    const AudioStreamDescription& format, std::vector<std::byte> sampleEntry)
        : SoundLane(sequencer, spill, format.sampleRate), bytesPerFrame_(format.bytesPerFrame) {
        track_.sampleEntry = quicktime::pcmEntry(format); // also refuses what can't be written
        if (!sampleEntry.empty())
            track_.sampleEntry = std::move(sampleEntry);
    }

    quicktime::WrittenTrack& complete(const std::optional<Time>&) override {
        show(static_cast<std::int64_t>(track_.sampleCount), 0);
        return track_;
    }

  private:
    void take(const SampleBuffer& buffer) override { storeFrames(buffer.data, bytesPerFrame_); }

    std::uint32_t bytesPerFrame_;
};

/// Sound through an encoder. What goes in is counted, so that the edit shows exactly that.
class EncodedLane final : public SoundLane {
  public:
    EncodedLane(ChunkSequencer& sequencer, quicktime::SpillFile& spill,
                std::unique_ptr<audio::Encoder> encoder)
        : SoundLane(sequencer, spill, encoder->format().sampleRate), encoder_(std::move(encoder)) {
        sink_ = [this](std::span<const std::byte> packet, std::uint32_t frames) {
            const audio::EncodedFormat& format = encoder_->format();
            if (format.formatID == audioFormat::linearPCM)
                storeFrames(packet, bytesPerFrame(format));
            else
                storePacket(packet, frames, format.framesPerPacket, largestPacket(format));
        };
    }

    quicktime::WrittenTrack& complete(const std::optional<Time>&) override {
        const audio::EncodedFormat& format = encoder_->format();
        if (format.formatID == audioFormat::linearPCM)
            track_.sampleEntry = quicktime::pcmEntry(
                {format.sampleRate, audioFormat::linearPCM, pcmFlag::signedInteger | pcmFlag::packed,
                 format.channels, format.bitsPerChannel, bytesPerFrame(format)});
        else
            track_.sampleEntry = quicktime::soundEntry(format);
        track_.hidesPriming = format.primingFrames > 0;
        show(framesIn_, format.primingFrames);
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

    static std::uint32_t bytesPerFrame(const audio::EncodedFormat& format) {
        return format.channels * ((format.bitsPerChannel + 7) / 8);
    }
    /// What a packet takes at most, but for a few bytes: uncompressed sound, or the limit of AAC (ISO/IEC
    /// 14496-3, 4.5.3.1).
    static std::size_t largestPacket(const audio::EncodedFormat& format) {
        constexpr std::size_t aacBytesPerChannel = 768;
        if (format.formatID == audioFormat::aac)
            return format.channels * aacBytesPerChannel;
        return std::size_t{format.framesPerPacket} * bytesPerFrame(format);
    }

    std::unique_ptr<audio::Encoder> encoder_;
    audio::PacketSink sink_;
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
    if (!sequencer_.push(number_, chunk_))
        throw Stopped{};
}

void WriterLane::addToChunk(std::span<const std::byte> bytes, std::uint64_t samples) {
    const std::size_t size = chunk_.data.size() + bytes.size();
    if (size > chunk_.data.capacity()) // doubled, but not beyond what a chunk needs
        chunk_.data.reserve(std::max(size, std::min(2 * size, largestChunk())));
    chunk_.data.insert(chunk_.data.end(), bytes.begin(), bytes.end());
    chunk_.samples += samples;
}

std::size_t WriterLane::largestChunk() {
    if (largestChunk_ == 0)
        largestChunk_ = sequencer_.largestChunk();
    return largestChunk_;
}

std::unique_ptr<WriterLane> makeTimecodeLane(ChunkSequencer& sequencer, quicktime::SpillFile& spill,
                                             const Track& source) {
    return std::make_unique<TimecodeLane>(sequencer, spill, source);
}

std::unique_ptr<WriterLane> makeEncodedLane(ChunkSequencer& sequencer, quicktime::SpillFile& spill,
                                            std::unique_ptr<audio::Encoder> encoder) {
    return std::make_unique<EncodedLane>(sequencer, spill, std::move(encoder));
}

std::unique_ptr<WriterLane> makePassThroughLane(ChunkSequencer& sequencer, quicktime::SpillFile& spill,
                                                const AudioStreamDescription& format,
                                                std::vector<std::byte> sampleEntry) {
    return std::make_unique<PassThroughLane>(sequencer, spill, format, std::move(sampleEntry));
}

} // namespace media
