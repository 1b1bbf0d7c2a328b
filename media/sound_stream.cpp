// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/sound_stream.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "media/audio/codec.h"
#include "media/audio/pcm.h"

namespace media {

namespace {

/// The format of one stored run; throws when the file names one that is not there.
const FormatDescription& formatOf(const Track& track, std::size_t index) {
    if (index >= track.formatDescriptions.size() || !track.formatDescriptions[index].audio)
        throw Error(Error::Category::corrupt, "The sound has no description of its format.");
    return track.formatDescriptions[index];
}

/// Linear PCM: every frame is found by arithmetic, conversion happens on the way out.
class PCMStream final : public SoundStream {
  public:
    PCMStream(const Track& track, std::unique_ptr<TrackReader> reader, std::optional<int> decodeBits)
        : track_(track), reader_(std::move(reader)), bits_(decodeBits), format_(*formatOf(track, 0).audio) {
        if (!bits_ && (format_.bytesPerFrame == 0 || format_.channelsPerFrame == 0))
            throw Error(Error::Category::corrupt, "The sound's format contradicts itself.");
    }

    std::int64_t read(std::int64_t frame, std::int64_t limit, std::vector<std::byte>& pcm) override {
        if (!position(frame))
            return 0;
        if (frame < stored_.firstFrame) {
            // A hole in the media, or its very end: silence up to what is there.
            const std::int64_t count = std::min(limit, stored_.firstFrame - frame);
            pcm.assign(static_cast<std::size_t>(count) * bytesPerFrame(), std::byte{0});
            return count;
        }
        const AudioStreamDescription& format = *formatOf(track_, stored_.formatIndex).audio;
        if (format.channelsPerFrame != format_.channelsPerFrame || format.sampleRate != format_.sampleRate ||
            (!bits_ && format.bytesPerFrame != format_.bytesPerFrame))
            throw Error(Error::Category::unsupported, "The sound changes its format in the middle.");
        const std::int64_t skipped = frame - stored_.firstFrame;
        const std::int64_t count = std::min(limit, stored_.frameCount - skipped);
        const auto bytes = std::span<const std::byte>(stored_.data)
                               .subspan(static_cast<std::size_t>(skipped) * format.bytesPerFrame,
                                        static_cast<std::size_t>(count) * format.bytesPerFrame);
        if (bits_)
            audio::convertPCM(bytes, format, *bits_, pcm);
        else
            pcm.assign(bytes.begin(), bytes.end());
        return count;
    }

    [[nodiscard]] double sampleRate() const override { return format_.sampleRate; }
    [[nodiscard]] std::uint32_t channels() const override { return format_.channelsPerFrame; }
    [[nodiscard]] std::size_t bytesPerFrame() const override {
        return bits_ ? std::size_t{format_.channelsPerFrame} * static_cast<std::size_t>(*bits_) / 8
                     : format_.bytesPerFrame;
    }

  private:
    /// Makes stored_ the run that holds `frame` or begins after it; false at the end of the media.
    bool position(std::int64_t frame) {
        if (frame < stored_.firstFrame || frame - stored_.firstFrame > maximumSkip(stored_)) {
            reader_->seek(
                io::scaled(frame, track_.timescale, std::llround(format_.sampleRate), io::Rounding::down));
            stored_.frameCount = 0;
            stored_.firstFrame = 0;
        }
        while (frame >= stored_.firstFrame + stored_.frameCount)
            if (!reader_->next(stored_))
                return false;
        return true;
    }
    /// How far ahead of a run it is cheaper to read on than to seek: the run itself and the next one.
    static std::int64_t maximumSkip(const StoredSamples& run) { return 2 * run.frameCount; }

    const Track& track_;
    std::unique_ptr<TrackReader> reader_;
    std::optional<int> bits_;
    AudioStreamDescription format_;
    StoredSamples stored_;
};

/// Packets of a compressed format. The place of what comes out is counted in decoded frames; the packets'
/// times are looked at only to find where a seek ended and where packets are missing.
class PacketStream final : public SoundStream {
  public:
    PacketStream(const Track& track, std::unique_ptr<TrackReader> reader, int bits)
        : track_(track), reader_(std::move(reader)), bits_(bits),
          decoder_(audio::makeDecoder(formatOf(track, 0), bits)) {
        // The header's rate and channels may be placeholders; the first packet tells.
        while (pending_.empty() && decodeMore()) {
        }
    }

    std::int64_t read(std::int64_t frame, std::int64_t limit, std::vector<std::byte>& pcm) override {
        const auto farAhead =
            static_cast<std::int64_t>(sampleRate()); // a second: decoding through beats seeking
        if (frame < pendingFirst_ || frame > pendingEnd() + farAhead)
            seek(frame);
        while (frame >= pendingEnd()) {
            drop(pendingEnd());
            if (!decodeMore())
                return 0;
        }
        drop(frame);
        if (frame < pendingFirst_) { // a seek landed behind its target: the media starts later than it says
            const std::int64_t count = std::min(limit, pendingFirst_ - frame);
            pcm.assign(static_cast<std::size_t>(count) * bytesPerFrame(), std::byte{0});
            return count;
        }
        const std::int64_t count = std::min(limit, pendingEnd() - frame);
        const auto begin = pending_.begin() + static_cast<std::ptrdiff_t>(consumed_);
        pcm.assign(begin, begin + count * static_cast<std::ptrdiff_t>(bytesPerFrame()));
        drop(frame + count);
        return count;
    }

    [[nodiscard]] double sampleRate() const override { return decoder_->sampleRate(); }
    [[nodiscard]] std::uint32_t channels() const override { return decoder_->channels(); }
    [[nodiscard]] std::size_t bytesPerFrame() const override {
        return std::size_t{channels()} * static_cast<std::size_t>(bits_) / 8;
    }

  private:
    /// Decoders need earlier packets to be right: AAC one, Opus 80 ms, MP3 its bit reservoir.
    static constexpr double prerollSeconds = 0.3;
    /// Packets further apart than this are a hole that is filled with silence, so that what follows stays in
    /// sync.
    static constexpr double holeSeconds = 0.1;

    [[nodiscard]] std::int64_t pendingEnd() const {
        const std::size_t frame = bytesPerFrame();
        return frame == 0 ? pendingFirst_
                          : pendingFirst_ + static_cast<std::int64_t>((pending_.size() - consumed_) / frame);
    }

    /// Forgets pending frames before `frame`.
    void drop(std::int64_t frame) {
        const std::int64_t count = std::min(frame, pendingEnd()) - pendingFirst_;
        if (count <= 0)
            return;
        consumed_ += static_cast<std::size_t>(count) * bytesPerFrame();
        pendingFirst_ += count;
        if (consumed_ == pending_.size()) {
            pending_.clear();
            consumed_ = 0;
        }
    }

    void seek(std::int64_t frame) {
        const auto preroll = static_cast<std::int64_t>(prerollSeconds * sampleRate());
        const std::int64_t target = std::max<std::int64_t>(0, frame - preroll);
        reader_->seek(io::scaled(target, track_.timescale, std::llround(sampleRate())));
        decoder_->reset();
        pending_.clear();
        consumed_ = 0;
        stored_.samples.clear();
        index_ = 0;
        afterSeek_ = true;
        ended_ = false;
    }

    /// Decodes the next packet, or the decoder's rest; false at the end of the media.
    bool decodeMore() {
        if (ended_)
            return false;
        if (index_ == stored_.samples.size()) {
            if (!reader_->next(stored_)) {
                ended_ = true;
                const std::size_t before = pending_.size();
                decoder_->finish(pending_);
                return pending_.size() > before;
            }
            index_ = 0;
            offset_ = 0;
            mediaTime_ = stored_.mediaTime;
            if (stored_.formatIndex != formatIndex_)
                changeFormat();
        }
        const StoredSamples::Sample sample = stored_.samples[index_++];
        const std::int64_t place = framesAt({mediaTime_, track_.timescale}, sampleRate());
        if (afterSeek_) {
            pendingFirst_ = place;
            afterSeek_ = false;
        } else if (static_cast<double>(place - pendingEnd()) > holeSeconds * sampleRate()) {
            pending_.resize(pending_.size() +
                            static_cast<std::size_t>(place - pendingEnd()) * bytesPerFrame());
        }
        decoder_->decode(std::span<const std::byte>(stored_.data).subspan(offset_, sample.size), pending_);
        offset_ += sample.size;
        mediaTime_ += sample.duration;
        return true;
    }

    void changeFormat() {
        auto next = audio::makeDecoder(formatOf(track_, stored_.formatIndex), bits_);
        if (next->channels() != decoder_->channels() || next->sampleRate() != decoder_->sampleRate())
            throw Error(Error::Category::unsupported, "The sound changes its format in the middle.");
        decoder_->finish(pending_);
        decoder_ = std::move(next);
        formatIndex_ = stored_.formatIndex;
    }

    const Track& track_;
    std::unique_ptr<TrackReader> reader_;
    int bits_;
    std::unique_ptr<audio::Decoder> decoder_;
    StoredSamples stored_;
    std::size_t index_ = 0;       ///< next packet of stored_
    std::size_t offset_ = 0;      ///< its bytes
    std::int64_t mediaTime_ = 0;  ///< its time
    std::size_t formatIndex_ = 0; ///< the one that decoder_ was made for
    std::vector<std::byte> pending_;
    std::size_t consumed_ = 0;      ///< bytes of pending_ already given out
    std::int64_t pendingFirst_ = 0; ///< frame at pending_[consumed_]
    bool afterSeek_ = false;
    bool ended_ = false;
};

} // namespace

std::unique_ptr<SoundStream> makeSoundStream(const Track& track, std::unique_ptr<TrackReader> reader,
                                             std::optional<int> decodeBits) {
    const FormatDescription& format = formatOf(track, 0);
    if (format.audio->isLinearPCM())
        return std::make_unique<PCMStream>(track, std::move(reader), decodeBits);
    if (!decodeBits)
        throw Error(Error::Category::unsupported, "Compressed sound can't be passed through.");
    return std::make_unique<PacketStream>(track, std::move(reader), *decodeBits);
}

std::int64_t framesAt(const Time& time, double sampleRate) {
    const double whole = std::floor(sampleRate);
    if (whole == sampleRate)
        return time.ticks(static_cast<std::int64_t>(whole));
    return std::llround(static_cast<double>(time.value) * sampleRate / static_cast<double>(time.timescale));
}

} // namespace media
