// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/track_reader.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "media/io/checked.h"
#include "media/quicktime/table_walker.h"

namespace media::quicktime {

namespace {

constexpr std::uint64_t bytesPerRead = std::uint64_t{256} * 1024;
/// Timecode samples are few or tiny, and a header probe wants no more than the first one.
constexpr std::uint64_t timecodeBytesPerRead = 1024;
constexpr std::size_t samplesPerRead = 16'384;
constexpr std::uint64_t largestSample = std::uint64_t{1} << 30;
/// Formats of one frame a packet (A-law) are handed out in packets of this many.
constexpr std::uint64_t framesPerPacket = 1024;

class Reader final : public TrackReader {
  public:
    Reader(std::shared_ptr<const io::ByteSource> file, const Track& track, const MovieTrack& movieTrack)
        : file_(std::move(file)), track_(track), movieTrack_(movieTrack),
          walker_(movieTrack.tableSource, movieTrack.samples, movieTrack.layouts),
          limit_(track.mediaType == MediaType::timecode ? timecodeBytesPerRead : bytesPerRead) {}

    bool next(StoredSamples& samples) override {
        samples.data.clear();
        samples.samples.clear();
        samples.frameCount = 0;
        if (!pull())
            return false;
        const std::uint64_t begin = run_.offset;
        samples.formatIndex = run_.formatIndex;
        samples.mediaTime = run_.time;
        const AudioStreamDescription* pcm = linearPCM(run_.formatIndex);
        if (pcm != nullptr)
            samples.firstFrame = frameAt(*pcm);
        std::uint64_t end = begin;
        std::int64_t time = run_.time;
        do {
            take(end - begin, pcm != nullptr, samples);
            end = run_.offset;
            time = run_.time;
        } while (end - begin < limit_ && samples.samples.size() < samplesPerRead && pull() &&
                 run_.offset == end && run_.time == time && run_.formatIndex == samples.formatIndex);
        if (end > file_->size())
            throw Error(Error::Category::endOfData, "The file ends too early.");
        samples.data.resize(static_cast<std::size_t>(end - begin));
        file_->readAt(begin, samples.data);
        if (pcm != nullptr) {
            samples.frameCount = static_cast<std::int64_t>((end - begin) / pcm->bytesPerFrame);
            nextFrame_ = samples.firstFrame + samples.frameCount;
        }
        return true;
    }

    void seek(std::int64_t mediaTime) override {
        run_.count = 0;
        nextFrame_.reset();
        walker_.seek(movieTrack_.timeless ? 0 : mediaTime);
    }

  private:
    /// Makes run_ hold something; false at the end of the track.
    bool pull() {
        if (run_.count != 0)
            return true;
        const auto run = walker_.next();
        if (!run)
            return false;
        run_ = *run;
        if (run_.size > largestSample)
            throw Error(Error::Category::corrupt, "A sample of the movie is larger than any real one.");
        return true;
    }

    /// Moves samples from the front of run_ to `samples`, of which `done` bytes are taken already.
    void take(std::uint64_t done, bool pcm, StoredSamples& samples) {
        const std::uint64_t fit = std::max<std::uint64_t>((limit_ - done) / run_.size, done == 0 ? 1 : 0);
        std::uint64_t count = std::min(run_.count, fit);
        if (!pcm) {
            const bool grouped = layout(run_.formatIndex).frames == 1;
            const std::uint64_t group = grouped ? framesPerPacket : 1;
            const std::uint64_t room = (samplesPerRead - samples.samples.size()) * group;
            count = std::min(count, room);
            for (std::uint64_t left = count; left > 0;) {
                const std::uint64_t frames = std::min(left, group);
                left -= frames;
                const std::int64_t duration =
                    movieTrack_.timeless ? movieTrack_.mediaEnd - run_.time : run_.duration;
                samples.samples.push_back({static_cast<std::uint32_t>(run_.size * frames),
                                           ticks(duration * static_cast<std::int64_t>(frames))});
            }
        }
        run_.count -= count;
        run_.offset += count * run_.size;
        run_.time += static_cast<std::int64_t>(count) * run_.duration;
    }

    static std::uint32_t ticks(std::int64_t duration) {
        return static_cast<std::uint32_t>(
            std::clamp<std::int64_t>(duration, 0, std::numeric_limits<std::uint32_t>::max()));
    }

    [[nodiscard]] PacketLayout layout(std::size_t format) const {
        return format < movieTrack_.layouts.size() ? movieTrack_.layouts[format] : PacketLayout{};
    }

    [[nodiscard]] const AudioStreamDescription* linearPCM(std::size_t format) const {
        if (format >= track_.formatDescriptions.size())
            return nullptr;
        const auto& audio = track_.formatDescriptions[format].audio;
        return audio && audio->isLinearPCM() && audio->bytesPerFrame > 0 ? &*audio : nullptr;
    }

    /// The number of run_'s first frame: counted on from what was read before.
    [[nodiscard]] std::int64_t frameAt(const AudioStreamDescription& pcm) const {
        if (nextFrame_)
            return *nextFrame_;
        return io::scaled(run_.time, std::llround(pcm.sampleRate), track_.timescale);
    }

    std::shared_ptr<const io::ByteSource> file_;
    const Track& track_;
    const MovieTrack& movieTrack_;
    TableWalker walker_;
    std::uint64_t limit_;
    SampleRun run_; ///< what is left of the walker's last run
    std::optional<std::int64_t> nextFrame_;
};

} // namespace

std::unique_ptr<TrackReader> makeTrackReader(std::shared_ptr<const io::ByteSource> file, const Track& track,
                                             const MovieTrack& movieTrack) {
    return std::make_unique<Reader>(std::move(file), track, movieTrack);
}

} // namespace media::quicktime
