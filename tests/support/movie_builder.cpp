// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/movie_builder.h"

#include <zlib.h>

namespace test {
namespace {

using media::fourCC;
using media::io::ByteWriter;

media::FourCC codeOf(std::string_view text) {
    media::FourCC code = 0;
    for (const char c : text)
        code = code << 8 | static_cast<unsigned char>(c);
    return code;
}

/// A number that version 1 of a box holds in 64 bits.
void sized(ByteWriter& w, std::uint8_t version, std::uint32_t value) {
    if (version == 1)
        w.u64(value == 0xFFFFFFFF ? ~std::uint64_t{0} : value);
    else
        w.u32(value);
}

void movieHeader(ByteWriter& w, const Movie& movie) {
    w.fullBox(fourCC("mvhd"), movie.version, 0, [&] {
        sized(w, movie.version, movie.creationTime);
        sized(w, movie.version, 0);
        w.u32(movie.timescale);
        sized(w, movie.version, movie.duration);
        w.zeros(80);
    });
}

void editList(ByteWriter& w, const Movie& movie, const MovieTrack& track) {
    w.box(fourCC("edts"), [&] {
        w.fullBox(fourCC("elst"), movie.version, 0, [&] {
            w.u32(static_cast<std::uint32_t>(track.edits.size()));
            for (const MovieEdit& edit : track.edits) {
                sized(w, movie.version, static_cast<std::uint32_t>(edit.duration));
                if (movie.version == 1)
                    w.i64(edit.mediaTime);
                else
                    w.i32(static_cast<std::int32_t>(edit.mediaTime));
                w.i32(static_cast<std::int32_t>(edit.rate * 65'536));
            }
        });
    });
}

template <std::size_t fields>
void table(ByteWriter& w, media::FourCC type, const std::vector<std::array<std::uint32_t, fields>>& entries) {
    w.fullBox(type, 0, 0, [&] {
        w.u32(static_cast<std::uint32_t>(entries.size()));
        for (const auto& entry : entries)
            for (const std::uint32_t field : entry)
                w.u32(field);
    });
}

void sampleSizes(ByteWriter& w, const MovieTrack& track) {
    if (track.sizeBits == 32) {
        w.fullBox(fourCC("stsz"), 0, 0, [&] {
            w.u32(track.constantSize);
            w.u32(track.constantSize != 0 ? track.sampleCount
                                          : static_cast<std::uint32_t>(track.sizes.size()));
            for (const std::uint32_t size : track.sizes)
                w.u32(size);
        });
        return;
    }
    w.fullBox(fourCC("stz2"), 0, 0, [&] {
        w.u32(static_cast<std::uint32_t>(track.sizeBits));
        w.u32(static_cast<std::uint32_t>(track.sizes.size()));
        for (std::size_t i = 0; i < track.sizes.size(); ++i) {
            const std::uint32_t size = track.sizes[i];
            if (track.sizeBits == 16) {
                w.u16(static_cast<std::uint16_t>(size));
            } else if (track.sizeBits == 8) {
                w.u8(static_cast<std::uint8_t>(size));
            } else if (i % 2 == 0) {
                const std::uint32_t next = i + 1 < track.sizes.size() ? track.sizes[i + 1] : 0;
                w.u8(static_cast<std::uint8_t>(size << 4 | next));
            }
        }
    });
}

void sampleTable(ByteWriter& w, const MovieTrack& track, std::uint64_t dataOffset) {
    w.box(fourCC("stbl"), [&] {
        w.fullBox(fourCC("stsd"), track.descriptionsVersion, 0, [&] {
            w.u32(static_cast<std::uint32_t>(track.entries.size()));
            for (const Bytes& entry : track.entries)
                w.raw(entry);
        });
        table(w, fourCC("stts"), track.durations);
        if (!track.compositionOffsets.empty())
            table(w, fourCC("ctts"), track.compositionOffsets);
        table(w, fourCC("stsc"), track.chunks);
        sampleSizes(w, track);
        w.fullBox(track.wideOffsets ? fourCC("co64") : fourCC("stco"), 0, 0, [&] {
            w.u32(static_cast<std::uint32_t>(track.offsets.size()));
            for (const std::uint64_t offset : track.offsets)
                track.wideOffsets ? w.u64(dataOffset + offset)
                                  : w.u32(static_cast<std::uint32_t>(dataOffset + offset));
        });
        if (track.moreSampleTables)
            track.moreSampleTables(w);
    });
}

void handler(ByteWriter& w, const char (&kind)[5], std::string_view subtype) {
    w.fullBox(fourCC("hdlr"), 0, 0, [&] {
        w.u32(fourCC(kind));
        w.u32(codeOf(subtype));
        w.zeros(13); // manufacturer, flags, mask, an empty name
    });
}

void trackBox(ByteWriter& w, const Movie& movie, const MovieTrack& track, std::uint64_t dataOffset) {
    w.box(fourCC("trak"), [&] {
        w.fullBox(fourCC("tkhd"), movie.version, 15, [&] {
            sized(w, movie.version, 0);
            sized(w, movie.version, 0);
            w.u32(track.id);
            w.u32(0);
            sized(w, movie.version, track.duration);
            w.zeros(60);
        });
        if (!track.edits.empty())
            editList(w, movie, track);
        w.box(fourCC("mdia"), [&] {
            w.fullBox(fourCC("mdhd"), movie.version, 0, [&] {
                sized(w, movie.version, 0);
                sized(w, movie.version, 0);
                w.u32(track.timescale);
                sized(w, movie.version, track.mediaDuration);
                w.u32(0);
            });
            if (!track.handler.empty())
                handler(w, "mhlr", track.handler);
            w.box(fourCC("minf"), [&] {
                handler(w, "dhlr", "alis");
                w.box(fourCC("dinf"), [&] {
                    w.fullBox(fourCC("dref"), 0, 0, [&] {
                        const auto reference = [&](bool external) {
                            w.fullBox(fourCC("url "), 0, external ? 0 : 1,
                                      [&] { w.text(external ? "file:///card/A001.mov" : ""); });
                        };
                        w.u32(track.otherFile ? 2 : 1);
                        reference(track.externalData);
                        if (track.otherFile)
                            reference(true);
                    });
                });
                sampleTable(w, track, dataOffset);
            });
        });
    });
}

Bytes compressedMovie(const Bytes& movie) {
    Bytes packed(compressBound(movie.size()));
    uLongf size = packed.size();
    compress(reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<const Bytef*>(movie.data()),
             movie.size());
    packed.resize(size);
    ByteWriter w;
    w.box(fourCC("moov"), [&] {
        w.box(fourCC("cmov"), [&] {
            w.box(fourCC("dcom"), [&] { w.u32(fourCC("zlib")); });
            w.box(fourCC("cmvd"), [&] {
                w.u32(static_cast<std::uint32_t>(movie.size()));
                w.raw(packed);
            });
        });
    });
    return w.take();
}

Bytes movieBox(const Movie& movie, const FileLayout& layout, std::uint64_t dataOffset) {
    ByteWriter w;
    w.box(fourCC("moov"), [&] {
        movieHeader(w, movie);
        for (const MovieTrack& track : movie.tracks)
            trackBox(w, movie, track, dataOffset);
        if (movie.moreMovieBoxes)
            movie.moreMovieBoxes(w);
    });
    return layout.compressed ? compressedMovie(w.bytes()) : w.take();
}

} // namespace

Bytes build(const Movie& movie, const FileLayout& layout) {
    ByteWriter w;
    if (layout.fileType)
        w.box(fourCC("ftyp"), [&] {
            w.text(layout.brand);
            w.u32(0x20050300);
            w.text(layout.brand);
        });
    const std::uint64_t headSize = (layout.wide ? 8 : 0) + (layout.largeSizes ? 16 : 8);
    const std::uint64_t headerSize = layout.headerFirst ? movieBox(movie, layout, 0).size() : 0;
    const Bytes header = movieBox(movie, layout, w.size() + headerSize + headSize);
    if (layout.headerFirst)
        w.raw(header);
    if (layout.wide)
        w.box(fourCC("wide"), [] {});
    const bool dataIsLast = layout.headerFirst;
    if (layout.openEnded && dataIsLast)
        w.u32(0);
    else
        w.u32(layout.largeSizes ? 1 : static_cast<std::uint32_t>(8 + movie.data.size()));
    w.u32(fourCC("mdat"));
    if (layout.largeSizes)
        w.u64(16 + movie.data.size());
    w.raw(movie.data);
    if (!layout.headerFirst) {
        const std::size_t begin = w.size();
        w.raw(header);
        if (layout.openEnded)
            w.patchU32(begin, 0);
    }
    return w.take();
}

Bytes build(const Fragment& fragment) {
    const auto header = [&](std::uint32_t dataOffset) {
        ByteWriter w;
        w.box(fourCC("moof"), [&] {
            w.fullBox(fourCC("mfhd"), 0, 0, [&] { w.u32(1); });
            w.box(fourCC("traf"), [&] {
                const std::uint32_t flags = (fragment.base ? 1 : 0) | (fragment.description != 0 ? 2 : 0) |
                                            (fragment.baseIsFragment ? 0x20000 : 0) |
                                            (fragment.defaults ? 0x18 : 0);
                w.fullBox(fourCC("tfhd"), 0, flags, [&] {
                    w.u32(1);
                    if (fragment.base)
                        w.u64(*fragment.base);
                    if (fragment.description != 0)
                        w.u32(fragment.description);
                    if (fragment.defaults) {
                        w.u32(fragment.defaults->duration);
                        w.u32(fragment.defaults->size);
                    }
                });
                if (fragment.time)
                    w.fullBox(fourCC("tfdt"), 1, 0, [&] { w.u64(*fragment.time); });
                for (std::size_t run = 0; run < fragment.runs.size(); ++run)
                    w.fullBox(fourCC("trun"), 0, (run == 0 ? 1U : 0U) | (fragment.defaults ? 0 : 0x300), [&] {
                        w.u32(static_cast<std::uint32_t>(fragment.runs[run].size()));
                        if (run == 0)
                            w.u32(dataOffset);
                        for (const auto& [duration, size] : fragment.runs[run])
                            if (!fragment.defaults) {
                                w.u32(duration);
                                w.u32(size);
                            }
                    });
            });
        });
        return w.take();
    };
    ByteWriter w;
    w.raw(header(static_cast<std::uint32_t>(header(0).size()) + 8));
    w.box(fourCC("mdat"), [&] { w.raw(fragment.data); });
    return w.take();
}

void movieExtends(ByteWriter& w) {
    w.box(fourCC("mvex"), [&] {
        w.fullBox(fourCC("trex"), 0, 0, [&] {
            w.u32(1);
            w.u32(1);
            w.zeros(12);
        });
    });
}

Bytes soundEntry(const char (&code)[5], std::uint16_t channels, std::uint16_t bits, double rate,
                 const WriteBoxes& boxes, std::vector<std::uint32_t> version1, std::int16_t compressionID) {
    ByteWriter w;
    w.box(fourCC(code), [&] {
        w.zeros(6);
        w.u16(1);
        w.u16(version1.empty() ? 0 : 1);
        w.zeros(6);
        w.u16(channels);
        w.u16(bits);
        w.i16(compressionID);
        w.u16(0);
        w.u32(rate < 65'536 ? static_cast<std::uint32_t>(rate * 65'536) : 0);
        for (const std::uint32_t field : version1)
            w.u32(field);
        if (boxes)
            boxes(w);
    });
    return w.take();
}

WriteBoxes elementaryStream(std::uint8_t objectType, const std::vector<std::uint8_t>& config,
                            int lengthBytes) {
    return [=](ByteWriter& w) {
        const auto descriptor = [&](std::uint8_t tag, std::size_t size) {
            w.u8(tag);
            for (int i = 1; i < lengthBytes; ++i)
                w.u8(0x80);
            w.u8(static_cast<std::uint8_t>(size));
        };
        const std::size_t head = static_cast<std::size_t>(1 + lengthBytes);
        w.fullBox(fourCC("esds"), 0, 0, [&] {
            descriptor(3, 3 + head + 13 + head + config.size());
            w.zeros(3);
            descriptor(4, 13 + head + config.size());
            w.u8(objectType);
            w.zeros(12);
            descriptor(5, config.size());
            for (const std::uint8_t byte : config)
                w.u8(byte);
        });
    };
}

Bytes soundEntry2(const char (&code)[5], std::uint32_t channels, std::uint32_t bits, double rate,
                  std::uint32_t flags, std::uint32_t bytesPerPacket, std::uint32_t framesPerPacket) {
    ByteWriter w;
    w.box(fourCC(code), [&] {
        w.zeros(6);
        w.u16(1);
        w.u16(2);
        w.zeros(6);
        w.u16(3);
        w.u16(16);
        w.i16(-2);
        w.u16(0);
        w.u32(0x10000);
        w.u32(72);
        w.f64(rate);
        w.u32(channels);
        w.u32(0x7F000000);
        w.u32(bits);
        w.u32(flags);
        w.u32(bytesPerPacket);
        w.u32(framesPerPacket);
    });
    return w.take();
}

Bytes timecodeEntry(std::uint32_t flags, std::uint32_t timescale, std::uint32_t frameDuration,
                    std::uint8_t frames, const char (&code)[5], std::string_view reel) {
    ByteWriter w;
    w.box(fourCC(code), [&] {
        w.zeros(6);
        w.u16(1);
        w.u32(0);
        w.u32(flags);
        w.u32(timescale);
        w.u32(frameDuration);
        w.u8(frames);
        w.u8(0);
        if (!reel.empty())
            w.box(fourCC("name"), [&] {
                w.u16(static_cast<std::uint16_t>(reel.size()));
                w.u16(0);
                w.text(reel);
            });
    });
    return w.take();
}

Bytes videoEntry(std::uint16_t width, std::uint16_t height) {
    ByteWriter w;
    w.box(fourCC("avc1"), [&] {
        w.zeros(6);
        w.u16(1);
        w.zeros(16);
        w.u16(width);
        w.u16(height);
        w.zeros(50);
    });
    return w.take();
}

void quickTimeMetadata(ByteWriter& w, std::string_view key, std::string_view value, std::uint32_t type) {
    w.box(fourCC("meta"), [&] {
        w.fullBox(fourCC("hdlr"), 0, 0, [&] { w.zeros(22); });
        w.fullBox(fourCC("keys"), 0, 0, [&] {
            w.u32(2);
            w.box(fourCC("zzzz"), [&] { w.text("foreign"); });
            w.box(fourCC("mdta"), [&] { w.text(key); });
        });
        w.box(fourCC("ilst"), [&] {
            w.box(2, [&] {
                w.box(fourCC("data"), [&] {
                    w.u32(type);
                    w.u32(0);
                    w.text(value);
                });
            });
        });
    });
}

Movie rampMovie(const std::vector<std::uint32_t>& chunks) {
    MovieTrack track;
    track.entries = {soundEntry("twos", 1, 16, 48'000)};
    track.constantSize = 2;
    std::uint32_t frames = 0;
    for (std::size_t i = 0; i < chunks.size(); ++i) {
        track.offsets.push_back(std::uint64_t{frames} * 2);
        track.chunks.push_back({static_cast<std::uint32_t>(i + 1), chunks[i], 1});
        frames += chunks[i];
    }
    track.sampleCount = frames;
    track.durations = {{frames, 1}};
    ByteWriter data;
    for (std::uint32_t i = 0; i < frames; ++i)
        data.u16(static_cast<std::uint16_t>(i));
    Movie movie;
    movie.tracks = {track};
    movie.data = data.take();
    return movie;
}

} // namespace test
