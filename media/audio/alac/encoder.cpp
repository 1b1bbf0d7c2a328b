// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/alac/encoder.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "media/audio/alac/packet_coder.h"
#include "media/audio/ordered_workers.h"
#include "media/base/byte_writer.h"
#include "media/base/error.h"

namespace media::audio::alac {
namespace {

/// A coder with a run of PCM for it and what it made of it.
struct Station {
    Station(const EncoderSettings& settings, Path path)
        : coder(settings.channels, settings.inputBits, path) {}

    void work() {
        packets.clear();
        sizes.clear();
        coder.encode(pcm, [this](std::span<const std::byte> packet, std::uint32_t frames) {
            packets.insert(packets.end(), packet.begin(), packet.end());
            sizes.emplace_back(packet.size(), frames);
        });
    }
    void passOn(const PacketSink& sink) const {
        std::span<const std::byte> rest = packets;
        for (const auto& [bytes, frames] : sizes) {
            sink(rest.first(bytes), frames);
            rest = rest.subspan(bytes);
        }
    }

    PacketCoder coder;
    std::vector<std::byte> pcm;
    std::vector<std::byte> packets;                           ///< one after the other
    std::vector<std::pair<std::size_t, std::uint32_t>> sizes; ///< bytes and frames of each
};

class AppleLosslessEncoder final : public Encoder {
  public:
    AppleLosslessEncoder(const EncoderSettings& settings, Path path)
        : frameBytes_(settings.channels * static_cast<std::size_t>(settings.inputBits) / 8),
          partBytes_((settings.threads > 1 ? PacketCoder::maxFrames(settings.channels) : packetFrames) *
                     frameBytes_) {
        format_.formatID = audioFormat::appleLossless;
        format_.sampleRate = settings.sampleRate;
        format_.channels = settings.channels;
        format_.bitsPerChannel = static_cast<std::uint32_t>(settings.inputBits);
        format_.framesPerPacket = packetFrames;
        setCookie();
        const auto threads = static_cast<unsigned>(std::max(settings.threads, 1));
        // One more than there are threads: it is filled or emptied while they all work.
        for (unsigned i = 0; i < (threads == 1 ? 1 : threads + 1); ++i)
            stations_.push_back(std::make_unique<Station>(settings, path));
        if (threads > 1)
            workers_ = std::make_unique<OrderedWorkers<Station*>>(threads);
    }

    void encode(std::span<const std::byte> pcm, const PacketSink& sink) override {
        if (pcm.size() % frameBytes_ != 0)
            throw Error(Error::Category::corrupt, "The sound ends within a sample.");
        while (!pcm.empty()) {
            const std::size_t taken = std::min(pcm.size(), partBytes_ - held_.size());
            const std::span<const std::byte> part = pcm.first(taken);
            pcm = pcm.subspan(taken);
            if (taken == partBytes_) {
                encodePart(part, sink);
                continue;
            }
            held_.insert(held_.end(), part.begin(), part.end());
            if (held_.size() == partBytes_) {
                encodePart(held_, sink);
                held_.clear();
            }
        }
    }

    void finish(const PacketSink& sink) override {
        if (!held_.empty())
            encodePart(held_, sink);
        held_.clear();
        if (!workers_)
            stations_.front()->coder.code(counting(sink));
        while (workers_ && workers_->pending() > 0)
            workers_->take()->passOn(counting(sink));
        setCookie();
    }

    [[nodiscard]] const EncodedFormat& format() const override { return format_; }

  private:
    /// A run where several threads code, else a packet.
    void encodePart(std::span<const std::byte> part, const PacketSink& sink) {
        if (!workers_) {
            PacketCoder& coder = stations_.front()->coder;
            if (!coder.add(part))
                coder.code(counting(sink));
            return;
        }
        if (workers_->pending() == stations_.size())
            workers_->take()->passOn(counting(sink));
        Station* const station = stations_[next_].get();
        next_ = (next_ + 1) % stations_.size();
        station->pcm.assign(part.begin(), part.end());
        workers_->submit([station] {
            station->work();
            return station;
        });
    }

    /// `sink`, with what the cookie says of all packets kept up to date.
    [[nodiscard]] PacketSink counting(const PacketSink& sink) {
        return [this, &sink](std::span<const std::byte> packet, std::uint32_t frames) {
            largestPacket_ = std::max(largestPacket_, packet.size());
            bytes_ += packet.size();
            frames_ += frames;
            sink(packet, frames);
        };
    }

    /// The 24 bytes that decoders read.
    void setCookie() {
        const double seconds = static_cast<double>(frames_) / format_.sampleRate;
        const double bitRate = frames_ == 0 ? 0 : static_cast<double>(bytes_) * 8 / seconds;
        io::ByteWriter cookie;
        cookie.u32(packetFrames);
        cookie.u8(0); // compatible version
        cookie.u8(static_cast<std::uint8_t>(format_.bitsPerChannel));
        cookie.u8(historyMultiplier);
        cookie.u8(initialHistory);
        cookie.u8(riceLimit);
        cookie.u8(static_cast<std::uint8_t>(format_.channels));
        cookie.u16(255); // longest run, not used by decoders
        cookie.u32(static_cast<std::uint32_t>(largestPacket_));
        cookie.u32(static_cast<std::uint32_t>(std::min(bitRate, 4294967295.0)));
        cookie.u32(static_cast<std::uint32_t>(std::lround(format_.sampleRate)));
        format_.configuration = cookie.take();
    }

    std::size_t frameBytes_;
    std::size_t partBytes_;
    std::vector<std::byte> held_; ///< less than a part
    std::vector<std::unique_ptr<Station>> stations_;
    std::size_t next_ = 0; ///< the station whose turn it is
    std::size_t largestPacket_ = 0;
    std::uint64_t bytes_ = 0;
    std::uint64_t frames_ = 0;
    EncodedFormat format_;
    std::unique_ptr<OrderedWorkers<Station*>> workers_; ///< last: its threads work in the stations
};

} // namespace

std::unique_ptr<Encoder> makeEncoder(const EncoderSettings& settings, Path path) {
    const bool known = settings.channels >= 1 && settings.channels <= maxChannels &&
                       (settings.inputBits == 16 || settings.inputBits == 24 || settings.inputBits == 32) &&
                       settings.sampleRate >= 1 && settings.sampleRate <= 4294967295.0;
    if (!known)
        throw Error(Error::Category::unsupported, "Apple Lossless can't hold " +
                                                      std::to_string(settings.channels) + " channels of " +
                                                      std::to_string(settings.inputBits) + " bits.");
    return std::make_unique<AppleLosslessEncoder>(settings, path);
}

} // namespace media::audio::alac
