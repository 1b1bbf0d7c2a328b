// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/track/sound_stream.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include "media/audio/codec.h"
#include "media/audio/pcm.h"
#include "media/base/sample_rate.h"
#include "media/track/sample_cursor.h"

namespace media {

namespace {

/// The format of one stored run; throws when the file names one that is not there.
const FormatDescription& formatOf(const Track& track, std::size_t index) {
    if (index >= track.formatDescriptions.size() || !track.formatDescriptions[index].audio)
        throw Error(Error::Category::corrupt, "The sound has no description of its format.");
    return track.formatDescriptions[index];
}

std::unique_ptr<audio::Decoder> decoderOf(const FormatDescription& format, int bits) {
    return audio::makeDecoder(*format.audio, format.decoderConfiguration, bits);
}

bool isSameCoding(const FormatDescription& a, const FormatDescription& b) {
    return a.audio->formatID == b.audio->formatID && a.audio->sampleRate == b.audio->sampleRate &&
           a.audio->channelsPerFrame == b.audio->channelsPerFrame &&
           a.decoderConfiguration == b.decoderConfiguration;
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
            // A hole in the media: silence up to what is there.
            const std::int64_t count = std::min(limit, stored_.firstFrame - frame);
            pcm.assign(static_cast<std::size_t>(count) * bytesPerFrame(), std::byte{0});
            return count;
        }
        const AudioStreamDescription& format = *formatOf(track_, stored_.formatIndex).audio;
        if (format.channelsPerFrame != format_.channelsPerFrame || format.sampleRate != format_.sampleRate ||
            (!bits_ &&
             (format.bytesPerFrame != format_.bytesPerFrame || format.formatFlags != format_.formatFlags)))
            throw Error(Error::Category::unsupported, "The sound changes its format in the middle.");
        const std::int64_t skipped = frame - stored_.firstFrame;
        const std::int64_t count = std::min(limit, stored_.frameCount - skipped);
        if (count == stored_.frameCount && (!bits_ || audio::needsNoConversion(format, *bits_))) {
            pcm.swap(stored_.data);
            pcm.resize(static_cast<std::size_t>(count) * format.bytesPerFrame);
            silentFrom_ = frame + count; // what was handed over is no longer here
            return count;
        }
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
        if (frame < silentFrom_ || frame - stored_.firstFrame > maximumSkip(stored_)) {
            reader_->seek(ticksAt(frame, format_.sampleRate, track_.timescale, io::Rounding::down));
            stored_.frameCount = 0;
            stored_.firstFrame = 0;
            silentFrom_ = frame;
        }
        while (frame >= stored_.firstFrame + stored_.frameCount) {
            if (!reader_->next(stored_)) {
                silentFrom_ = std::numeric_limits<std::int64_t>::max(); // what is there takes a seek
                return false;
            }
            // Runs may overlap: what is asked for after the one before goes on in this one.
            silentFrom_ = std::min(frame, stored_.firstFrame);
        }
        return true;
    }
    /// How far ahead of a run it is cheaper to read on than to seek: the run itself and the next one.
    static std::int64_t maximumSkip(const StoredSamples& run) { return 2 * run.frameCount; }

    const Track& track_;
    std::unique_ptr<TrackReader> reader_;
    std::optional<int> bits_;
    AudioStreamDescription format_;
    StoredSamples stored_;
    std::int64_t silentFrom_ = 0; ///< from there to stored_ the media holds nothing; nothing at the end
};

/// Packets of a compressed format. What they decode to is counted on from the first one's stated time, and
/// put right where it would come to lie further than a tolerance from the time that a packet states.
class PacketStream final : public SoundStream {
  public:
    PacketStream(const Track& track, std::unique_ptr<TrackReader> reader, int bits)
        : track_(track), cursor_(std::move(reader)), bits_(bits),
          decoder_(decoderOf(formatOf(track, 0), bits)), rate_(decoder_->sampleRate()),
          channels_(decoder_->channels()) {
        // The header's rate and channels may be placeholders; the first packet tells.
        while (!placed_ && advance()) {
        }
    }

    std::int64_t read(std::int64_t frame, std::int64_t limit, std::vector<std::byte>& pcm) override {
        const auto farAhead = static_cast<std::int64_t>(rate_); // a second: decoding through beats seeking
        if (frame < silentFrom_ || frame > pendingEnd() + farAhead)
            seek(frame);
        while (!placed_ || frame >= certainEnd_) {
            drop(std::min(frame, certainEnd_));
            if (!advance())
                return 0;
        }
        drop(frame);
        if (frame < pendingFirst_) { // nothing is there
            const std::int64_t count = std::min(limit, pendingFirst_ - frame);
            pcm.assign(static_cast<std::size_t>(count) * bytesPerFrame(), std::byte{0});
            return count;
        }
        const std::int64_t count = std::min(limit, certainEnd_ - frame);
        const auto begin = pending_.begin() + static_cast<std::ptrdiff_t>(consumed_);
        pcm.assign(begin, begin + count * static_cast<std::ptrdiff_t>(bytesPerFrame()));
        drop(frame + count);
        return count;
    }

    [[nodiscard]] double sampleRate() const override { return rate_; }
    [[nodiscard]] std::uint32_t channels() const override { return channels_; }
    [[nodiscard]] std::size_t bytesPerFrame() const override {
        return std::size_t{channels_} * static_cast<std::size_t>(bits_) / 8;
    }

  private:
    /// Decoders need earlier packets to be right: AAC one, Opus 80 ms, MP3 its bit reservoir.
    static constexpr double prerollSeconds = 0.3;
    /// Stated times jitter with the clocks that made them and the time scale that holds them. What is decoded
    /// may lie this far from them.
    static constexpr double toleranceSeconds = 0.005;

    [[nodiscard]] std::int64_t pendingEnd() const {
        const std::size_t frame = bytesPerFrame();
        return frame == 0 ? pendingFirst_
                          : pendingFirst_ + static_cast<std::int64_t>((pending_.size() - consumed_) / frame);
    }
    [[nodiscard]] std::int64_t tolerance() const {
        return static_cast<std::int64_t>(toleranceSeconds * rate_);
    }

    /// Forgets pending frames before `frame`.
    void drop(std::int64_t frame) {
        const std::int64_t count = std::min(frame, pendingEnd()) - pendingFirst_;
        if (count <= 0)
            return;
        consumed_ += static_cast<std::size_t>(count) * bytesPerFrame();
        silentFrom_ = pendingFirst_ += count;
        if (consumed_ == pending_.size()) {
            pending_.clear();
            consumed_ = 0;
        }
    }

    void seek(std::int64_t frame) {
        const auto preroll = static_cast<std::int64_t>(prerollSeconds * rate_);
        const std::int64_t target = std::max<std::int64_t>(0, frame - preroll);
        cursor_.seek(ticksAt(target, rate_, track_.timescale, io::Rounding::down));
        decoder_->reset();
        pending_.clear();
        consumed_ = 0;
        lastTime_.reset();
        placed_ = false;
        silentFrom_ = frame;
        ended_ = false;
    }

    /// Makes more pending frames certain: what is left of a packet or of the decoder's delay, or else the
    /// next packet's. False at the end of the media. A packet is certain up to the end that its duration
    /// states; what it holds beyond gives way to a packet that follows there.
    bool advance() {
        if (ended_)
            return false;
        const std::int64_t certain = certainEnd_;
        ended_ = !fetch();
        if (ended_)
            decoder_->finish(pending_);
        if (placed_ && pendingEnd() > certain) {
            const std::int64_t next = ended_ ? pendingEnd() : place().value_or(pendingEnd());
            certainEnd_ = std::clamp(next, certain, pendingEnd());
            pending_.resize(pending_.size() -
                            static_cast<std::size_t>(pendingEnd() - certainEnd_) * bytesPerFrame());
            if (certainEnd_ > certain)
                return true;
        }
        if (ended_)
            return false;
        decodeNext();
        return true;
    }

    /// Decodes the next packet; no frames are pending.
    void decodeNext() {
        decoder_->decode(cursor_.data(), pending_);
        if (!pending_.empty()) {
            takeFormat();
            const std::optional<std::int64_t> stated = place();
            if (stated && (!placed_ || std::abs(*stated - pendingFirst_) > tolerance()))
                pendingFirst_ = *stated;
            placed_ = true;
        }
        lastTime_ = cursor_.mediaTime();
        cursor_.pass();
        certainEnd_ = pendingEnd();
        if (const std::optional<std::int64_t> end = place(); end && certainEnd_ - *end > tolerance())
            certainEnd_ = std::max(*end, pendingFirst_);
    }

    /// The next packet's stated time in frames; none where no packet states how long it lasts.
    [[nodiscard]] std::optional<std::int64_t> place() const {
        if (track_.packetsAreTimeless && cursor_.mediaTime() == lastTime_)
            return std::nullopt;
        return framesAt({cursor_.mediaTime(), track_.timescale}, rate_);
    }

    /// Makes sure that a packet follows, and that its format's decoder is there; false when there is none.
    bool fetch() {
        if (!cursor_.fetch())
            return false;
        if (cursor_.formatIndex() != formatIndex_) {
            const FormatDescription& before = formatOf(track_, formatIndex_);
            const FormatDescription& next = formatOf(track_, cursor_.formatIndex());
            formatIndex_ = cursor_.formatIndex();
            // A new decoder would lack the packet before, which AAC's first one needs.
            if (!isSameCoding(before, next)) {
                decoder_->finish(pending_);
                decoder_ = decoderOf(next, bits_);
            }
        }
        return true;
    }

    /// Rate and channels as decoded: the first packet's hold.
    void takeFormat() {
        if (!formatKnown_) {
            rate_ = decoder_->sampleRate();
            channels_ = decoder_->channels();
            formatKnown_ = true;
        } else if (decoder_->sampleRate() != rate_ || decoder_->channels() != channels_) {
            throw Error(Error::Category::unsupported, "The sound changes its format in the middle.");
        }
    }

    const Track& track_;
    SampleCursor cursor_;
    int bits_;
    std::unique_ptr<audio::Decoder> decoder_;
    double rate_;
    std::uint32_t channels_;
    bool formatKnown_ = false;             ///< by a decoded packet
    std::optional<std::int64_t> lastTime_; ///< of the packet before
    std::size_t formatIndex_ = 0;          ///< the one that decoder_ was made for
    std::vector<std::byte> pending_;
    std::size_t consumed_ = 0;      ///< bytes of pending_ already given out
    std::int64_t pendingFirst_ = 0; ///< frame at pending_[consumed_]
    std::int64_t certainEnd_ = 0;   ///< pending frames before it stay whatever follows
    std::int64_t silentFrom_ = 0;   ///< from there to pendingFirst_ the media holds nothing
    bool placed_ = false;           ///< pendingFirst_ is known, as since a seek a packet was decoded
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

} // namespace media
