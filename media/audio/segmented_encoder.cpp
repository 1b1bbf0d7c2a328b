// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/segmented_encoder.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "media/audio/aac_packet.h"
#include "media/audio/ordered_workers.h"

namespace media::audio {

namespace {

/// Lengths in packets. The warm-up lets a new encoder's memory (psychoacoustics, the transform's last block)
/// settle. Behind it both neighbours encode the same sound until a place for the seam is found, which is
/// nearly always the first one; where there is none in `longestOverlap` packets the earlier encoder goes on.
constexpr std::size_t segmentPackets = 512;
constexpr std::size_t warmUpPackets = 8;
constexpr std::size_t shortestOverlap = 2;
constexpr std::size_t longestOverlap = 24;

struct Packet {
    std::vector<std::byte> bytes;
    std::uint32_t frames = 0;
};

/// One encoder's part of the stream: packets[i] is packet firstPacket + i. One packet's worth of frames is a
/// block.
struct Part {
    std::vector<Packet> packets;
    std::size_t firstPacket = 0;
    std::size_t fed = 0; ///< place in the stream up to which the encoder was fed, bytes
    std::unique_ptr<Encoder> encoder;

    Part() = default;
    Part(std::size_t firstBlock, std::size_t blockBytes, std::unique_ptr<Encoder> made)
        : firstPacket(firstBlock), fed(firstBlock * blockBytes), encoder(std::move(made)) {}

    [[nodiscard]] std::size_t endPacket() const { return firstPacket + packets.size(); }
    [[nodiscard]] std::optional<AACWindow> window(std::size_t number) const {
        return aacWindow(packets[number - firstPacket].bytes);
    }
    void encode(std::span<const std::byte> pcm) {
        encoder->encode(pcm, collect());
        fed += pcm.size();
    }
    void finish() { encoder->finish(collect()); }
    /// Forgets the packets before one, after giving them to `sink` if there is one.
    void dropUntil(std::size_t number, const PacketSink& sink = nullptr) {
        if (number <= firstPacket)
            return;
        const auto end = packets.begin() + static_cast<std::ptrdiff_t>(number - firstPacket);
        if (sink)
            std::for_each(packets.begin(), end,
                          [&](const Packet& packet) { sink(packet.bytes, packet.frames); });
        packets.erase(packets.begin(), end);
        firstPacket = number;
    }

  private:
    [[nodiscard]] PacketSink collect() {
        return [this](std::span<const std::byte> bytes, std::uint32_t frames) {
            packets.push_back({{bytes.begin(), bytes.end()}, frames});
        };
    }
};

/// May the stream go over from one part to the other at this packet?
bool isSeam(const Part& before, const Part& after, std::size_t packet) {
    const auto window = before.window(packet);
    return window && window == after.window(packet);
}

/// All segments on the caller's thread: the next one's encoder runs beside the current one's from its warm-up
/// to the seam.
class SequentialEncoder final : public Encoder {
  public:
    SequentialEncoder(EncoderFactory makeOne, std::size_t bytesPerFrame)
        : makeOne_(std::move(makeOne)), current_(0, 0, makeOne_()), format_(current_.encoder->format()),
          blockBytes_(bytesPerFrame * format_.framesPerPacket) {}

    void encode(std::span<const std::byte> pcm, const PacketSink& sink) override {
        while (!pcm.empty()) {
            const std::size_t fed = current_.fed;
            const std::size_t warmUp = (join_ - warmUpPackets) * blockBytes_;
            const std::size_t stop = next_ ? fed + blockBytes_ - fed % blockBytes_ : warmUp;
            const auto piece = pcm.first(std::min(pcm.size(), stop - fed));
            pcm = pcm.subspan(piece.size());
            current_.encode(piece);
            if (next_)
                next_->encode(piece);
            if (current_.fed < stop)
                break;
            if (next_)
                joinParts(sink);
            else
                next_.emplace(join_ - warmUpPackets, blockBytes_, makeOne_());
        }
        current_.dropUntil(std::min(current_.endPacket(), join_), sink);
    }

    void finish(const PacketSink& sink) override {
        current_.finish();
        current_.dropUntil(current_.endPacket(), sink);
    }

    [[nodiscard]] const EncodedFormat& format() const override { return format_; }

  private:
    /// At the end of a block: goes over to the next part if this block has led to a seam.
    void joinParts(const PacketSink& sink) {
        if (current_.fed < (join_ + shortestOverlap) * blockBytes_)
            return;
        for (; tried_ < longestOverlap; ++tried_) {
            const std::size_t packet = join_ + tried_;
            if (packet >= std::min(current_.endPacket(), next_->endPacket()))
                return;
            if (!isSeam(current_, *next_, packet))
                continue;
            current_.dropUntil(packet, sink);
            next_->dropUntil(packet);
            current_ = std::move(*next_);
            break;
        }
        next_.reset();
        tried_ = 0;
        join_ += segmentPackets;
    }

    EncoderFactory makeOne_;
    Part current_;
    EncodedFormat format_;
    std::size_t blockBytes_;
    std::optional<Part> next_;          ///< from its warm-up to the seam
    std::size_t join_ = segmentPackets; ///< first packet at which the next seam may be
    std::size_t tried_ = 0;             ///< packets from there that are none
};

/// One segment's sound, from its warm-up to the shortest overlap after it, and where it lies.
struct Segment {
    std::vector<std::byte> pcm;
    std::size_t firstBlock = 0; ///< of pcm, counted from the stream's start
};

/// The segments on several threads.
class ParallelEncoder final : public Encoder {
  public:
    ParallelEncoder(EncoderFactory makeOne, std::size_t bytesPerFrame, unsigned threads)
        : makeOne_(std::move(makeOne)), format_(makeOne_()->format()),
          blockBytes_(bytesPerFrame * format_.framesPerPacket), workers_(threads) {
        current_ = std::make_shared<Segment>();
    }

    void encode(std::span<const std::byte> pcm, const PacketSink& sink) override {
        while (!pcm.empty()) {
            const std::size_t room = segmentEnd() - current_->pcm.size();
            const std::size_t count = std::min(room, pcm.size());
            current_->pcm.insert(current_->pcm.end(), pcm.begin(),
                                 pcm.begin() + static_cast<std::ptrdiff_t>(count));
            pcm = pcm.subspan(count);
            if (current_->pcm.size() == segmentEnd())
                startNextSegment(sink);
        }
    }

    void finish(const PacketSink& sink) override {
        if (segmentIndex_ == 0) { // short sound is not worth a thread
            encoded_ = encodeSegment(*current_);
        } else {
            submit(sink);
            while (workers_.pending() > 0)
                takeOne(sink);
        }
        encoded_.finish();
        encoded_.dropUntil(encoded_.endPacket(), sink);
    }

    [[nodiscard]] const EncodedFormat& format() const override { return format_; }

  private:
    /// Bytes of the current segment.
    [[nodiscard]] std::size_t segmentEnd() const {
        return ((segmentIndex_ + 1) * segmentPackets + shortestOverlap - current_->firstBlock) * blockBytes_;
    }

    void startNextSegment(const PacketSink& sink) {
        ++segmentIndex_;
        auto next = std::make_shared<Segment>();
        next->firstBlock = segmentIndex_ * segmentPackets - warmUpPackets;
        const std::size_t shared = (next->firstBlock - current_->firstBlock) * blockBytes_;
        next->pcm.reserve((segmentPackets + warmUpPackets + shortestOverlap) * blockBytes_);
        next->pcm.assign(current_->pcm.begin() + static_cast<std::ptrdiff_t>(shared), current_->pcm.end());
        submit(sink);
        current_ = std::move(next);
    }

    void submit(const PacketSink& sink) {
        while (workers_.pending() >= workers_.threads())
            takeOne(sink);
        segments_.push_back(current_);
        workers_.submit([this, segment = current_] { return encodeSegment(*segment); });
    }

    [[nodiscard]] Part encodeSegment(const Segment& segment) const {
        Part part(segment.firstBlock, blockBytes_, makeOne_());
        part.encode(segment.pcm);
        return part;
    }

    /// Joins the oldest segment being encoded to what came before it, and gives out what lies before the next
    /// join.
    void takeOne(const PacketSink& sink) {
        Part next = workers_.take();
        const auto segment = std::move(segments_.front());
        segments_.pop_front();
        if (!encoded_.encoder) {
            encoded_ = std::move(next);
        } else if (const auto seam = findSeam(next, *segment)) {
            encoded_.dropUntil(*seam, sink);
            next.dropUntil(*seam);
            encoded_ = std::move(next);
        } else { // the channels' windows never agree (timecode beside speech)
            encoded_.encode(soundBehind(encoded_, *segment));
        }
        join_ += segmentPackets;
        encoded_.dropUntil(std::min(encoded_.endPacket(), join_), sink);
    }

    /// The segment's sound that a part was not fed yet.
    [[nodiscard]] std::span<const std::byte> soundBehind(const Part& part, const Segment& segment) const {
        return std::span(segment.pcm).subspan(part.fed - segment.firstBlock * blockBytes_);
    }

    /// The first packet of the overlap that both neighbours give the same window; the earlier one's encoder
    /// is led on as far as that takes.
    [[nodiscard]] std::optional<std::size_t> findSeam(const Part& next, const Segment& segment) {
        for (std::size_t packet = join_; packet < join_ + longestOverlap; ++packet) {
            while (encoded_.endPacket() <= packet) {
                const auto rest = soundBehind(encoded_, segment);
                if (rest.size() < blockBytes_)
                    return std::nullopt;
                encoded_.encode(rest.first(blockBytes_));
            }
            if (next.endPacket() <= packet)
                return std::nullopt;
            if (isSeam(encoded_, next, packet))
                return packet;
        }
        return std::nullopt;
    }

    EncoderFactory makeOne_;
    EncodedFormat format_;
    std::size_t blockBytes_;
    std::size_t segmentIndex_ = 0;                  ///< of current_
    std::shared_ptr<Segment> current_;              ///< being filled
    std::deque<std::shared_ptr<Segment>> segments_; ///< being encoded, oldest first
    Part encoded_;                                  ///< the last one taken, without what was given out
    std::size_t join_ = 0;                          ///< packet from which a seam to the next one may be
    OrderedWorkers<Part> workers_;                  ///< last: its jobs use the rest
};

} // namespace

std::unique_ptr<Encoder> makeSegmentedEncoder(EncoderFactory makeOne, int inputBits, std::uint32_t channels,
                                              unsigned threads) {
    const std::size_t bytesPerFrame = std::size_t{channels} * static_cast<std::size_t>(inputBits) / 8;
    if (threads < 2)
        return std::make_unique<SequentialEncoder>(std::move(makeOne), bytesPerFrame);
    return std::make_unique<ParallelEncoder>(std::move(makeOne), bytesPerFrame, threads);
}

} // namespace media::audio
