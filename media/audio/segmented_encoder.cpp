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
/// settle; within the overlap both neighbours have encoded the same sound, and a place for the seam is looked
/// for.
constexpr std::size_t segmentPackets = 512;
constexpr std::size_t warmUpPackets = 8;
constexpr std::size_t overlapPackets = 24;

struct Packet {
    std::vector<std::byte> bytes;
    std::uint32_t frames = 0;
};

/// One segment's sound and where it lies; one packet's worth of frames is a block.
struct Segment {
    std::vector<std::byte> pcm;
    std::size_t firstBlock = 0; ///< of pcm, counted from the stream's start
    bool last = false;          ///< the stream ends with it
};

/// A segment's packets, packets[i] being packet firstPacket + i of the stream, and the encoder that made
/// them.
struct EncodedSegment {
    std::vector<Packet> packets;
    std::size_t firstPacket = 0;
    std::unique_ptr<Encoder> encoder;

    [[nodiscard]] std::size_t endPacket() const { return firstPacket + packets.size(); }
    [[nodiscard]] const Packet& packet(std::size_t number) const { return packets[number - firstPacket]; }
    void encode(std::span<const std::byte> pcm, bool last) {
        const PacketSink collect = [&](std::span<const std::byte> bytes, std::uint32_t frames) {
            packets.push_back({{bytes.begin(), bytes.end()}, frames});
        };
        encoder->encode(pcm, collect);
        if (last)
            encoder->finish(collect);
    }
    /// Forgets the packets before one, after giving them to `sink` if there is one.
    void dropUntil(std::size_t number, const PacketSink& sink = nullptr) {
        const auto end = packets.begin() + static_cast<std::ptrdiff_t>(number - firstPacket);
        if (sink)
            std::for_each(packets.begin(), end,
                          [&](const Packet& packet) { sink(packet.bytes, packet.frames); });
        packets.erase(packets.begin(), end);
        firstPacket = number;
    }
};

class SegmentedEncoder final : public Encoder {
  public:
    SegmentedEncoder(EncoderFactory makeOne, std::size_t bytesPerFrame, unsigned threads)
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
        current_->last = true;
        submit(sink);
        while (workers_.pending() > 0)
            takeOne(sink);
        encoded_.dropUntil(encoded_.endPacket(), sink);
    }

    [[nodiscard]] const EncodedFormat& format() const override { return format_; }

  private:
    /// Bytes of the current segment: its share of the stream, the warm-up before it and the overlap after it.
    [[nodiscard]] std::size_t segmentEnd() const {
        return ((segmentIndex_ + 1) * segmentPackets + overlapPackets - current_->firstBlock) * blockBytes_;
    }

    void startNextSegment(const PacketSink& sink) {
        ++segmentIndex_;
        auto next = std::make_shared<Segment>();
        next->firstBlock = segmentIndex_ * segmentPackets - warmUpPackets;
        const std::size_t shared = (next->firstBlock - current_->firstBlock) * blockBytes_;
        next->pcm.reserve((segmentPackets + warmUpPackets + overlapPackets) * blockBytes_);
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

    [[nodiscard]] EncodedSegment encodeSegment(const Segment& segment) const {
        EncodedSegment encoded;
        encoded.firstPacket = segment.firstBlock;
        encoded.encoder = makeOne_();
        encoded.encode(segment.pcm, segment.last);
        return encoded;
    }

    /// Joins the oldest segment being encoded to what came before it.
    void takeOne(const PacketSink& sink) {
        EncodedSegment next = workers_.take();
        const auto segment = std::move(segments_.front());
        segments_.pop_front();
        if (!encoded_.encoder) {
            encoded_ = std::move(next);
        } else if (const auto seam = findSeam(next)) {
            encoded_.dropUntil(*seam, sink);
            next.dropUntil(*seam);
            encoded_ = std::move(next);
        } else {
            // The channels' windows never agree (timecode beside speech): the earlier encoder goes on.
            const std::size_t known =
                std::min((warmUpPackets + overlapPackets) * blockBytes_, segment->pcm.size());
            encoded_.encode(std::span<const std::byte>(segment->pcm).subspan(known), segment->last);
        }
        // What lies before the next overlap is settled.
        const std::size_t settled =
            segment->firstBlock + (segment->firstBlock == 0 ? 0 : warmUpPackets) + segmentPackets;
        if (settled > encoded_.firstPacket && settled < encoded_.endPacket())
            encoded_.dropUntil(settled, sink);
    }

    /// The first packet of the overlap that both neighbours give the same window.
    [[nodiscard]] std::optional<std::size_t> findSeam(const EncodedSegment& next) const {
        const std::size_t end = std::min(encoded_.endPacket(), next.endPacket());
        for (std::size_t packet = next.firstPacket + warmUpPackets; packet < end; ++packet) {
            const auto before = aacWindow(encoded_.packet(packet).bytes);
            if (before && before == aacWindow(next.packet(packet).bytes))
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
    EncodedSegment encoded_;                        ///< the last segment taken, without what was given out
    OrderedWorkers<EncodedSegment> workers_;        ///< last: its jobs use the rest
};

} // namespace

std::unique_ptr<Encoder> makeSegmentedEncoder(EncoderFactory makeOne, int inputBits, std::uint32_t channels,
                                              unsigned threads) {
    return std::make_unique<SegmentedEncoder>(
        std::move(makeOne), std::size_t{channels} * static_cast<std::size_t>(inputBits) / 8, threads);
}

} // namespace media::audio
