// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/timed_movie.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <tuple>

#include "media/track/format_description.h"
#include "tests/support/camera_clips.h"
#include "tests/support/packets.h"

namespace test {

namespace {

using media::fourCC;
using media::io::ByteWriter;

struct Stock {
    media::FormatDescription format;
    std::vector<Bytes> packets;
};

std::int64_t drawn(std::mt19937& random, std::int64_t least, std::int64_t most) {
    return std::uniform_int_distribution<std::int64_t>(least, std::max(least, most))(random);
}

template <typename T>
T oneOf(std::mt19937& random, std::initializer_list<T> values) {
    return values.begin()[drawn(random, 0, static_cast<std::int64_t>(values.size()) - 1)];
}

void put16(Bytes& pcm, std::int64_t value) {
    pcm.push_back(static_cast<std::byte>(value & 0xFF));
    pcm.push_back(static_cast<std::byte>(value >> 8 & 0xFF));
}

/// Packets of about 60,000 frames in all. Made once for each format.
const Stock& stock(const std::string& codec, std::uint32_t rate, std::uint16_t channels) {
    static std::map<std::tuple<std::string, std::uint32_t, std::uint16_t>, Stock> stocks;
    Stock& made = stocks[{codec, codec == "mp4a" || codec == "alac" ? rate : 48'000, channels}];
    if (!made.packets.empty())
        return made;
    std::mt19937 random(channels);
    media::AudioStreamDescription audio;
    audio.sampleRate = rate;
    audio.channelsPerFrame = channels;
    audio.formatID = codec == "mp4a"   ? media::audioFormat::aac
                     : codec == "alac" ? media::audioFormat::appleLossless
                     : codec == "alaw" ? media::audioFormat::aLaw
                                       : media::audioFormat::linearPCM;
    made.format.mediaType = media::MediaType::audio;
    made.format.audio = audio;
    media::audio::EncoderSettings settings;
    settings.sampleRate = rate;
    settings.channels = channels;
    settings.inputBits = 16;
    settings.bitRatePerChannel = codec == "mp4a" ? 64'000 : 0;
    for (std::int64_t frame = 1; frame < 60'000;) {
        const std::int64_t most = codec == "mp4a" ? 60'000 : codec == "alac" ? 4096 : 3000;
        const std::int64_t end =
            std::min<std::int64_t>(60'000, frame + (codec == "mp4a" ? most : drawn(random, 1, most)));
        Bytes pcm;
        for (; frame < end; ++frame)
            for (std::int64_t channel = 0; channel < channels; ++channel) {
                if (codec == "alaw")
                    pcm.push_back(static_cast<std::byte>(channel % 2 == 0 ? frame >> 8 : frame & 0xFF));
                else
                    put16(pcm, codec == "mp4a" ? drawn(random, -9000, 9000) : frame);
            }
        if (codec == "mp4a" || codec == "alac") {
            const EncodedTrack track = encode(settings, pcm);
            made.format.decoderConfiguration = track.format.configuration;
            made.packets.insert(made.packets.end(), track.packets.begin(), track.packets.end());
        } else {
            made.packets.push_back(std::move(pcm));
        }
    }
    return made;
}

Bytes soundEntryOf(const TimedMovie& movie) {
    const auto& configuration = stock(movie.codec, movie.rate, movie.channels).format.decoderConfiguration;
    const auto boxes = [&](ByteWriter& w) {
        if (movie.codec == "alac")
            w.fullBox(fourCC("alac"), 0, 0, [&] { w.raw(configuration); });
        std::vector<std::uint8_t> config;
        for (const std::byte byte : configuration)
            config.push_back(std::to_integer<std::uint8_t>(byte));
        if (movie.codec == "mp4a")
            elementaryStream(0x40, config, 1)(w);
    };
    char code[5] = {};
    std::copy_n(movie.codec.begin(), 4, code);
    return soundEntry(code, movie.channels, 16, movie.rate, boxes);
}

/// The packets from `begin` to `end`.
Bytes fragmentOf(const TimedMovie& movie, std::size_t begin, std::size_t end) {
    Fragment fragment{{{}}, {}, static_cast<std::uint64_t>(movie.packets[begin].start), {}, true};
    for (std::size_t i = begin; i < end; ++i) {
        const TimedPacket& packet = movie.packets[i];
        fragment.runs[0].push_back(
            {static_cast<std::uint32_t>(packet.duration), static_cast<std::uint32_t>(packet.bytes.size())});
        fragment.data.insert(fragment.data.end(), packet.bytes.begin(), packet.bytes.end());
    }
    return build(fragment);
}

/// The entries of `stts` and `stsz` of one packet. Linear PCM and A-law have a sample for each frame.
void addSamples(MovieTrack& track, const TimedMovie& movie, const TimedPacket& packet) {
    const auto entry = [&](std::int64_t count, std::int64_t duration) {
        if (count > 0)
            track.durations.push_back(
                {static_cast<std::uint32_t>(count), static_cast<std::uint32_t>(duration)});
    };
    if (movie.codec == "alac" || movie.codec == "mp4a") {
        entry(1, packet.duration);
        track.sizes.push_back(static_cast<std::uint32_t>(packet.bytes.size()));
        return;
    }
    const std::int64_t ticking = std::min(packet.frames - 1, packet.duration);
    entry(ticking, 1);
    entry(packet.frames - 1 - ticking, 0);
    entry(1, packet.duration - ticking);
    track.sampleCount += static_cast<std::uint32_t>(packet.frames);
}

} // namespace

std::int64_t TimedMovie::mediaEnd() const {
    std::int64_t end = 0;
    for (const TimedPacket& packet : packets)
        end = std::max(end, packet.start + packet.duration);
    return end;
}

Bytes TimedMovie::file() const {
    Movie movie;
    movie.timescale = movieTimescale;
    MovieTrack track;
    track.timescale = timescale;
    track.entries = {soundEntryOf(*this)};
    track.edits = edits;
    track.mediaDuration = statedMediaEnd;
    if (!fragmented) {
        track.constantSize = codec == "sowt" ? channels * 2U : codec == "alaw" ? channels : 0U;
        for (const TimedPacket& packet : packets) {
            addSamples(track, *this, packet);
            movie.data.insert(movie.data.end(), packet.bytes.begin(), packet.bytes.end());
        }
        const std::uint32_t samples =
            track.constantSize != 0 ? track.sampleCount : static_cast<std::uint32_t>(packets.size());
        track.chunks = {{1, samples, 1}};
        track.offsets = {0};
        track.moreSampleTables = [](ByteWriter& w) { // priming is stated, by edits or not at all
            w.fullBox(fourCC("sgpd"), 1, 0, [&] {
                w.text("roll");
                w.zeros(10);
            });
        };
    } else {
        movie.moreMovieBoxes = movieExtends;
    }
    movie.tracks = {track};
    if (timecodePictures > 0)
        addTimecodePerPicture(movie, 0, timecodePictures);
    ByteWriter out;
    out.raw(build(movie));
    for (std::size_t begin = 0, end = 0; fragmented && begin < packets.size(); begin = end) {
        for (end = begin + 1; end < packets.size() && !packets[end].opensFragment;)
            ++end;
        out.raw(fragmentOf(*this, begin, end));
    }
    return out.take();
}

TimedMovie regularMovie(const std::string& codec, std::uint32_t rate, std::uint16_t channels,
                        std::uint32_t timescale, std::size_t count, bool fragmented, unsigned seed) {
    TimedMovie movie{codec, rate, channels, timescale, timescale, fragmented, {}};
    const Stock& from = stock(codec, rate, channels);
    count = std::min(count, from.packets.size());
    const std::size_t begin = seed % (from.packets.size() - count + 1);
    Bytes decoded;
    const auto decoder =
        codec != "sowt" ? media::audio::makeDecoder(*from.format.audio, from.format.decoderConfiguration, 16)
                        : nullptr;
    std::int64_t frames = 0;
    for (std::size_t i = begin; i < begin + count; ++i) {
        TimedPacket packet;
        packet.bytes = from.packets[i];
        if (decoder)
            decoder->decode(packet.bytes, decoded);
        else
            decoded.insert(decoded.end(), packet.bytes.begin(), packet.bytes.end());
        packet.first = frames;
        frames = static_cast<std::int64_t>(decoded.size() / 2 / channels);
        packet.frames = frames - packet.first;
        const auto ticks = [&](std::int64_t frame) {
            return (2 * frame * timescale + rate) / (2 * std::int64_t{rate});
        };
        packet.start = ticks(packet.first);
        packet.duration = ticks(frames) - packet.start;
        packet.opensFragment = i == begin || (fragmented && (i - begin) % 4 == 0);
        movie.packets.push_back(std::move(packet));
    }
    for (std::size_t i = 0; i + 1 < decoded.size(); i += 2)
        movie.pcm.push_back(static_cast<std::int16_t>(std::to_integer<unsigned>(decoded[i]) |
                                                      std::to_integer<unsigned>(decoded[i + 1]) << 8));
    return movie;
}

namespace {

/// Gives the packets other times.
void drawTimes(TimedMovie& movie, std::mt19937& random) {
    enum Mode { regular, jitter, drift, firstPacket, gaps, overlaps, everything };
    const auto mode = static_cast<Mode>(drawn(random, 0, everything));
    const auto is = [&](Mode one) { return mode == one || (mode == everything && drawn(random, 0, 2) == 0); };
    // What tables say of linear PCM's times is not believed.
    const bool counted = movie.codec == "sowt" && !movie.fragmented;
    const double ticksPerFrame = static_cast<double>(movie.timescale) / movie.rate;
    const auto natural = [&](std::int64_t frames) {
        return static_cast<std::int64_t>(std::llround(static_cast<double>(frames) * ticksPerFrame));
    };
    const double rateOfDrift = static_cast<double>(drawn(random, -30, 30)) / 1000;
    double place = movie.fragmented && drawn(random, 0, 1) == 0
                       ? static_cast<double>(drawn(random, 0, movie.rate)) * ticksPerFrame
                       : 0;
    std::int64_t fragmentStart = 0;
    for (std::size_t i = 0; i < movie.packets.size(); ++i) {
        TimedPacket& packet = movie.packets[i];
        packet.opensFragment = movie.fragmented && (i == 0 || drawn(random, 0, 3) == 0);
        packet.start = std::llround(place);
        if (i > 0 && is(jitter))
            packet.start += drawn(random, -3, 3) * movie.timescale / 1000;
        const std::int64_t least = i == 0                 ? 0
                                   : packet.opensFragment ? fragmentStart
                                                          : movie.packets[i - 1].start;
        packet.start = std::max(packet.start, least);
        if (counted)
            packet.start = natural(packet.first);
        if (!movie.fragmented && movie.codec == "alaw" && i > 0) // every frame is a packet of its own
            packet.start = std::max(packet.start, movie.packets[i - 1].start + movie.packets[i - 1].frames);
        if (packet.opensFragment)
            fragmentStart = packet.start;
        double passed = static_cast<double>(packet.frames) * ticksPerFrame;
        if (is(drift))
            passed *= 1 + rateOfDrift;
        if ((i == 0 && is(firstPacket)) || (drawn(random, 0, 4) == 0 && is(overlaps)))
            passed -= static_cast<double>(drawn(random, 0, packet.frames)) * ticksPerFrame;
        if ((i == 0 && is(firstPacket)) || (drawn(random, 0, 4) == 0 && is(gaps)))
            passed += static_cast<double>(drawn(random, 0, movie.rate / 2)) * ticksPerFrame;
        place += passed;
    }
    for (std::size_t i = 0; i < movie.packets.size(); ++i) {
        TimedPacket& packet = movie.packets[i];
        packet.duration = natural(packet.frames);
        if (i + 1 == movie.packets.size())
            continue;
        const TimedPacket& next = movie.packets[i + 1];
        if (!next.opensFragment || (drawn(random, 0, 1) == 0 && next.start >= packet.start))
            packet.duration = next.start - packet.start;
    }
}

void drawEdits(TimedMovie& movie, std::mt19937& random) {
    const std::int64_t end = movie.mediaEnd();
    const auto movieTicks = [&](std::int64_t ticks) {
        return ticks * movie.movieTimescale / movie.timescale;
    };
    const std::int64_t count = oneOf<std::int64_t>(random, {0, 0, 1, 1, 2, 3, 4, 5});
    for (std::int64_t i = 0; i < count; ++i) {
        MovieEdit edit{drawn(random, 1, std::max<std::int64_t>(movieTicks(end), 1)), drawn(random, 0, end)};
        switch (drawn(random, 0, 6)) {
        case 0:
            edit.mediaTime = -1;
            edit.duration /= 4;
            break;
        case 1:
            edit.rate = 0;
            edit.duration /= 4;
            break;
        case 2:
            edit.mediaTime = 0;
            break;
        case 3:
            if (!movie.edits.empty())
                edit = movie.edits.back();
            break;
        case 4: // goes on where the one before ends
            if (!movie.edits.empty() && movie.edits.back().mediaTime >= 0)
                edit.mediaTime =
                    std::min(end, movie.edits.back().mediaTime +
                                      movie.edits.back().duration * movie.timescale / movie.movieTimescale);
            break;
        default:
            break;
        }
        if (edit.duration > 0)
            movie.edits.push_back(edit);
    }
}

} // namespace

TimedMovie drawMovie(unsigned seed) {
    std::mt19937 random(seed);
    const std::string codec =
        oneOf<const char*>(random, {"sowt", "sowt", "alaw", "alaw", "alac", "alac", "alac", "mp4a"});
    const auto rate = oneOf<std::uint32_t>(random, {8'000, 22'050, 32'000, 44'100, 48'000});
    const bool fragmented = drawn(random, 0, 2) == 0;
    std::uint32_t timescale =
        oneOf<std::uint32_t>(random, {rate, rate, 600, 1'000, 48'000, 44'100, 90'000, 12'345, 10'000'000});
    if (!fragmented && (codec == "sowt" || codec == "alaw"))
        timescale = rate;
    auto channels = static_cast<std::uint16_t>(drawn(random, 1, 2));
    if (codec == "alaw")
        channels = oneOf<std::uint16_t>(random, {2, 4});
    TimedMovie movie =
        regularMovie(codec, rate, channels, timescale, static_cast<std::size_t>(drawn(random, 2, 40)),
                     fragmented, static_cast<unsigned>(random()));
    movie.movieTimescale = oneOf<std::uint32_t>(random, {600, 1'000, rate, 48'000, 90'000});
    drawTimes(movie, random);
    if (movie.mediaEnd() > 0)
        drawEdits(movie, random);
    return movie;
}

} // namespace test
