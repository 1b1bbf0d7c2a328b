// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/reader/track_reader.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include "media/base/checked.h"
#include "media/base/sample_rate.h"
#include "media/quicktime/reader/table_walker.h"
#include "media/quicktime/reader/timecode_description.h"

namespace media::quicktime {

namespace {

constexpr std::uint64_t bytesPerRead = std::uint64_t{256} * 1024;
/// What lanes read together is read a little at a time, so that it is still in the cache when the last one
/// copies it.
constexpr std::uint64_t bytesPerSharedRead = std::uint64_t{64} * 1024;
/// Timecode samples are few or tiny, and a header probe wants no more than the first one.
constexpr std::uint64_t timecodeBytesPerRead = 1024;
constexpr std::size_t samplesPerRead = 16'384;
constexpr std::uint64_t largestSample = std::uint64_t{64} << 20;
/// Formats of one frame a packet (A-law) are handed out in packets of this many.
constexpr std::uint64_t framesPerPacket = 1024;
/// Stated times may be this far from what is counted.
constexpr double jitterSeconds = 0.005;

class Reader final : public TrackReader {
  public:
    Reader(std::shared_ptr<const io::ByteSource> file, const Track& track, const MovieTrack& movieTrack,
           std::shared_ptr<SharedChunks> sharedChunks)
        : file_(std::move(file)), track_(track), movieTrack_(movieTrack),
          tables_(movieTrack.tableSource, movieTrack.samples, movieTrack.layouts),
          fragments_(file_, movieTrack.fragments),
          limit_(track.mediaType == MediaType::timecode ? timecodeBytesPerRead : bytesPerRead) {
        if (!track.formatDescriptions.empty() && !track.formatDescriptions.front().unreadable.empty())
            throw Error(Error::Category::unsupported, track.formatDescriptions.front().unreadable);
        if (track.mediaType == MediaType::audio && movieTrack.samples.sampleCount > 0)
            shared_.emplace(std::move(sharedChunks), movieTrack, track.timescale);
    }

    bool next(StoredSamples& samples) override {
        samples.samples.clear();
        samples.frameCount = 0;
        if (!pull()) {
            samples.data.clear();
            shared_.reset();
            return false;
        }
        samples.formatIndex = run_.formatIndex;
        samples.mediaTime = run_.time;
        const AudioStreamDescription* pcm = linearPCM(run_.formatIndex);
        if (pcm != nullptr)
            samples.firstFrame = frameAt(*pcm);
        pieces_.clear();
        std::uint64_t size = 0;
        std::int64_t time = run_.time;
        std::uint64_t begin = run_.offset;
        while (take(size, pcm, samples)) {
            addPiece(begin, run_.offset);
            size += run_.offset - begin;
            time = run_.time;
            const std::uint64_t end = run_.offset;
            if (pcm != nullptr) {
                nextFrame_ = samples.firstFrame + static_cast<std::int64_t>(size / pcm->bytesPerFrame);
            }
            if (clamped_ || !pull() || run_.time != time || run_.formatIndex != samples.formatIndex ||
                (run_.offset != end && track_.mediaType == MediaType::timecode) ||
                (pcm != nullptr && frameAt(*pcm) != *nextFrame_))
                break;
            begin = run_.offset;
        }
        readPieces(samples.mediaTime, time, size, samples.data);
        if (pcm != nullptr)
            samples.frameCount = *nextFrame_ - samples.firstFrame;
        if (track_.mediaType == MediaType::timecode)
            readFrameNumbers(samples);
        return true;
    }

    void seek(std::int64_t mediaTime) override {
        run_.count = 0;
        stored_ = 0;
        nextFrame_.reset();
        if (movieTrack_.timeless || track_.packetsAreTimeless) {
            tables_.rewind();
            fragments_.rewind();
        } else if (const auto bytesPerSample = countedSampleBytes()) {
            const AudioStreamDescription& pcm = *linearPCM(0);
            const auto frame = static_cast<std::uint64_t>(
                std::max<std::int64_t>(framesAt({mediaTime, track_.timescale}, pcm.sampleRate), 0));
            const std::uint64_t sample =
                io::checkedMultiply<std::uint64_t>(frame, pcm.bytesPerFrame) / *bytesPerSample;
            tables_.seekSample(sample);
            nextFrame_ =
                io::checked<std::int64_t>(platform::Wide{sample} * *bytesPerSample / pcm.bytesPerFrame);
        } else {
            tables_.seek(mediaTime);
            fragments_.seek(mediaTime);
        }
    }

  private:
    /// Makes run_ hold something; false at the end of the track.
    bool pull() {
        if (run_.count != 0)
            return true;
        auto run = tables_.next();
        if (!run)
            run = fragments_.next();
        if (!run)
            return false;
        run_ = *run;
        checkFormat();
        // Tables that lead to the same bytes over and over could keep a lane busy for days.
        stored_ += run_.count * run_.size;
        if (stored_ / 2 > file_->size())
            throw Error(Error::Category::corrupt,
                        "The movie's sample tables state more than the file holds.");
        if (run_.size > largestSample)
            throw Error(Error::Category::corrupt, "A sample of the movie is larger than any real one.");
        const AudioStreamDescription* pcm = linearPCM(run_.formatIndex);
        if (pcm != nullptr && run_.size % pcm->bytesPerFrame != 0)
            throw Error(Error::Category::corrupt, "The sound's sample sizes contradict its format.");
        return true;
    }

    /// Throws where run_'s samples can't be read, or are timecode that counts in another way than the
    /// track's.
    void checkFormat() {
        const std::vector<FormatDescription>& all =
            movieTrack_.timecodeFormats.empty() ? track_.formatDescriptions : movieTrack_.timecodeFormats;
        const FormatDescription* const format =
            run_.formatIndex < all.size() ? &all[run_.formatIndex] : nullptr;
        if (format != nullptr && !format->unreadable.empty())
            throw Error(Error::Category::unsupported, format->unreadable);
        if (track_.mediaType != MediaType::timecode)
            return;
        if (format != nullptr && format->timecode != track_.formatDescriptions.front().timecode)
            throw Error(Error::Category::unsupported, "The timecode changes how it counts in the middle.");
        run_.formatIndex = 0;
    }

    /// Moves samples from the front of run_ to `samples`, of which `done` bytes are taken already. False when
    /// none fit any more.
    bool take(std::uint64_t done, const AudioStreamDescription* pcm, StoredSamples& samples) {
        clamped_ = false;
        const std::uint64_t fit = done < limit_ ? (limit_ - done) / run_.size : 0;
        std::uint64_t count = std::min<std::uint64_t>(run_.count, done == 0 && fit == 0 ? 1 : fit);
        if (pcm != nullptr) {
            count = std::min(count, countedTogether(*pcm));
        } else {
            const std::uint64_t group = isSingleFrames() ? framesPerPacket : 1;
            const std::uint64_t room = (samplesPerRead - samples.samples.size()) * group;
            count = std::min(count, room);
            for (std::uint64_t left = count; left > 0;) {
                const std::uint64_t frames = std::min(left, group);
                left -= frames;
                const std::int64_t duration =
                    movieTrack_.timeless ? movieTrack_.mediaEnd - run_.time : run_.duration;
                const std::int64_t stated = duration * static_cast<std::int64_t>(frames);
                samples.samples.push_back({static_cast<std::uint32_t>(run_.size * frames), ticks(stated)});
                clamped_ = clamped_ || ticks(stated) != stated;
            }
        }
        run_.count -= count;
        run_.offset += count * run_.size;
        run_.time += static_cast<std::int64_t>(count) * run_.duration;
        return count > 0;
    }

    void addPiece(std::uint64_t begin, std::uint64_t end) {
        if (end > file_->size())
            io::endsEarly();
        if (begin < movieTrack_.movie.end && end > movieTrack_.movie.headerBegin)
            throw Error(Error::Category::corrupt,
                        "The movie's sample tables lead into its header: the file is damaged.");
        if (!pieces_.empty() && pieces_.back().end == begin)
            pieces_.back().end = end;
        else
            pieces_.push_back({begin, end});
    }

    /// Takes the pieces, which hold the media from `time` to `endTime`, from what all lanes read together, or
    /// with one read each: chunks of sound lie between those of the picture, which is not read.
    void readPieces(std::int64_t time, std::int64_t endTime, std::uint64_t size,
                    std::vector<std::byte>& data) {
        static const SharedChunks::Batches none;
        const SharedChunks::Batches& batches = shared_ ? shared_->batches(time, endTime) : none;
        if (shared_)
            limit_ = batches.empty() ? bytesPerRead : bytesPerSharedRead;
        data.resize(static_cast<std::size_t>(size));
        std::span<std::byte> rest = data;
        unread_.clear();
        for (const Stretch& piece : pieces_) {
            for (std::uint64_t at = piece.begin; at < piece.end;) {
                std::span<const std::byte> found;
                for (auto batch = batches.begin(); batch != batches.end() && found.empty(); ++batch)
                    found = (*batch)->find(at, piece.end);
                const std::size_t count =
                    found.empty() ? static_cast<std::size_t>(piece.end - at) : found.size();
                if (found.empty())
                    unread_.push_back({at, rest.first(count)});
                std::copy(found.begin(), found.end(), rest.begin());
                rest = rest.subspan(count);
                at += count;
            }
        }
        if (unread_.size() > 1)
            for (const Unread& piece : unread_)
                file_->willRead(piece.offset, piece.out.size());
        for (const Unread& piece : unread_)
            file_->readAt(piece.offset, piece.out);
        if (!unread_.empty() && run_.count > 0)
            file_->willRead(run_.offset, std::min(run_.count * run_.size, limit_));
    }

    /// By the first description, in which the copy keeps all samples.
    void readFrameNumbers(StoredSamples& samples) const {
        const bool isWide = !track_.formatDescriptions.empty() &&
                            track_.formatDescriptions.front().timecode &&
                            track_.formatDescriptions.front().timecode->isWide;
        samples.frameNumbers.clear();
        std::span<const std::byte> rest = samples.data;
        for (const StoredSamples::Sample& sample : samples.samples) {
            samples.frameNumbers.push_back(readFrameNumber(rest.first(sample.size), isWide));
            rest = rest.subspan(sample.size);
        }
    }

    static std::uint32_t ticks(std::int64_t duration) {
        return static_cast<std::uint32_t>(
            std::clamp<std::int64_t>(duration, 0, std::numeric_limits<std::uint32_t>::max()));
    }

    /// Are run_'s samples single frames of a format that decodes in packets of any size?
    [[nodiscard]] bool isSingleFrames() const {
        if (run_.formatIndex >= track_.formatDescriptions.size())
            return false;
        const auto& audio = track_.formatDescriptions[run_.formatIndex].audio;
        return audio && (audio->formatID == audioFormat::aLaw || audio->formatID == audioFormat::muLaw) &&
               run_.size == audio->channelsPerFrame;
    }

    [[nodiscard]] const AudioStreamDescription* linearPCM(std::size_t format) const {
        if (format >= track_.formatDescriptions.size())
            return nullptr;
        const auto& audio = track_.formatDescriptions[format].audio;
        return audio && audio->isLinearPCM() && audio->bytesPerFrame > 0 ? &*audio : nullptr;
    }

    /// The number of run_'s first frame. It is counted on from what was read before: the tables of linear PCM
    /// state times that its writers don't mean. In fragments a time that is far from the count holds.
    [[nodiscard]] std::int64_t frameAt(const AudioStreamDescription& pcm) const {
        if (nextFrame_ && (!run_.inFragment || track_.packetsAreTimeless))
            return *nextFrame_;
        const std::int64_t stated = framesAt({run_.time, track_.timescale}, pcm.sampleRate);
        const bool jitters = nextFrame_ && static_cast<double>(std::abs(stated - *nextFrame_)) <=
                                               jitterSeconds * pcm.sampleRate;
        return jitters ? *nextFrame_ : stated;
    }

    /// How many of run_'s samples may follow each other without leaving their stated times.
    [[nodiscard]] std::uint64_t countedTogether(const AudioStreamDescription& pcm) const {
        const std::uint64_t frames = run_.size / pcm.bytesPerFrame;
        const double drift =
            std::abs(static_cast<double>(frames) / pcm.sampleRate -
                     static_cast<double>(run_.duration) / static_cast<double>(track_.timescale));
        const double samples = jitterSeconds / drift;
        return run_.inFragment && !track_.packetsAreTimeless && samples < static_cast<double>(run_.count)
                   ? std::max<std::uint64_t>(1, static_cast<std::uint64_t>(samples))
                   : run_.count;
    }

    /// Linear PCM in tables alone: the bytes of a sample where all are as large, so that a place is found by
    /// counting.
    [[nodiscard]] std::optional<std::uint64_t> countedSampleBytes() const {
        if (track_.formatDescriptions.size() != 1 || linearPCM(0) == nullptr ||
            movieTrack_.samples.sampleCount == 0 || !movieTrack_.fragments.places.empty())
            return std::nullopt;
        const PacketLayout& packets = movieTrack_.layouts.front();
        const std::uint64_t bytes =
            packets.fixed() ? packets.bytes / packets.frames : movieTrack_.samples.constantSize;
        return bytes != 0 ? std::optional(bytes) : std::nullopt;
    }

    std::shared_ptr<const io::ByteSource> file_;
    const Track& track_;
    const MovieTrack& movieTrack_;
    TableWalker tables_;
    FragmentWalker fragments_;
    std::uint64_t limit_;
    bool clamped_ = false;     ///< a sample taken last states a duration that its record can't hold
    SampleRun run_;            ///< what is left of the last run found
    std::uint64_t stored_ = 0; ///< bytes of all runs found since the start or the last seek
    std::optional<SharedChunks::Member> shared_;
    struct Unread {
        std::uint64_t offset = 0;
        std::span<std::byte> out;
    };
    std::vector<Stretch> pieces_; ///< of the file, wanted now
    std::vector<Unread> unread_;  ///< of those, what no other lane has read along
    /// Linear PCM: what follows the samples read last; no frame after a seek.
    std::optional<std::int64_t> nextFrame_;
};

} // namespace

std::unique_ptr<TrackReader> makeTrackReader(std::shared_ptr<const io::ByteSource> file, const Track& track,
                                             const MovieTrack& movieTrack,
                                             std::shared_ptr<SharedChunks> sharedChunks) {
    return std::make_unique<Reader>(std::move(file), track, movieTrack, std::move(sharedChunks));
}

} // namespace media::quicktime
