// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/camera_clips.h"

namespace test {
namespace {

using media::fourCC;
using media::io::ByteWriter;

constexpr std::uint32_t soundRate = 8'000;

void append(Bytes& data, const Bytes& bytes) {
    data.insert(data.end(), bytes.begin(), bytes.end());
}

Bytes entryOf(const char (&code)[5]) {
    ByteWriter w;
    w.box(fourCC(code), [&] {
        w.zeros(6);
        w.u16(1);
    });
    return w.take();
}

} // namespace

Movie movieOf(const CameraClip& clip) {
    Movie movie;
    movie.timescale = clip.timescale;
    const std::uint32_t length = clip.pictures * clip.frameDuration;
    MovieTrack picture;
    picture.handler = "vide";
    picture.timescale = clip.timescale;
    picture.entries = {videoEntry(64, 64)};
    picture.durations = {{clip.pictures, clip.frameDuration}};
    picture.compositionOffsets = {{clip.pictures, clip.frameDuration}};
    picture.edits = {{length, clip.frameDuration}};
    picture.chunks = {{1, clip.pictures, 1}};
    picture.offsets = {0};
    picture.constantSize = 1;
    picture.sampleCount = clip.pictures;
    movie.data.resize(clip.pictures);

    MovieTrack sound;
    sound.id = 2;
    sound.timescale = soundRate;
    sound.entries = {soundEntry("twos", 1, 16, soundRate)};
    sound.sampleCount = static_cast<std::uint32_t>(std::uint64_t{length} * soundRate / clip.timescale);
    sound.durations = {{sound.sampleCount, 1}};
    sound.chunks = {{1, sound.sampleCount, 1}};
    sound.offsets = {movie.data.size()};
    sound.constantSize = 2;
    movie.data.resize(movie.data.size() + std::size_t{2} * sound.sampleCount, std::byte{3});
    movie.tracks = {picture, sound};

    if (!clip.sample.empty()) {
        MovieTrack metadata = picture;
        metadata.id = 3;
        metadata.handler = "meta";
        metadata.entries = {entryOf("rtmd")};
        metadata.compositionOffsets.clear();
        metadata.edits.clear();
        metadata.offsets = {movie.data.size()};
        metadata.constantSize = static_cast<std::uint32_t>(clip.sample.size());
        for (std::uint32_t i = 0; i < clip.pictures; ++i)
            append(movie.data, clip.sample);
        movie.tracks.push_back(metadata);
    }
    movie.moreMovieBoxes = [document = clip.document, panasonic = clip.panasonic](ByteWriter& w) {
        if (!document.empty())
            w.fullBox(fourCC("meta"), 0, 0, [&] {
                w.fullBox(fourCC("hdlr"), 0, 0, [&] {
                    w.u32(0);
                    w.u32(fourCC("nrtm"));
                    w.zeros(13);
                });
                w.fullBox(fourCC("xml "), 0, 0, [&] { w.text(document); });
            });
        if (!panasonic.empty())
            quickTimeMetadata(w, "com.panasonic.Semi-Pro.metadata.xml", panasonic);
    };
    return movie;
}

Bytes build(const CameraClip& clip) {
    return build(movieOf(clip));
}

std::string sonyDocument(const std::string& tcFps, const std::string& halfStep, const std::string& value) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<NonRealTimeMeta xmlns=\"urn:schemas-professionalDisc:nonRealTimeMeta:ver.2.20\">\n"
           "<TargetMaterial umidRef=\"060A2B340101010501010D43130000000123456789abcdef0123456789ABCDEF\"/>\n"
           "<LtcChangeTable tcFps=\"" +
           tcFps + "\" halfStep=\"" + halfStep + "\"><LtcChange frameCount=\"0\" value=\"" + value +
           "\" status=\"increment\"/></LtcChangeTable>\n"
           "<Device manufacturer=\"Sony\" modelName=\"ILME-FX3\" serialNo=\"1\"/></NonRealTimeMeta>\n";
}

std::string panasonicDocument(const std::string& elements) {
    return "<ClipMain xmlns=\"urn:schemas-Professional-Plug-in:Semi-Pro:ClipMetadata:v1.0\"><ClipContent>"
           "<EssenceList><Video>" +
           elements + "</Video></EssenceList></ClipContent></ClipMain>";
}

Bytes rtmdSample(std::uint8_t hours, std::uint8_t minutes, std::uint8_t seconds, std::uint8_t frames,
                 bool dropFrame) {
    ByteWriter w;
    w.u32(0x001C0100);
    w.u32(0x12345678);
    w.u32(0xF0010010);
    w.u8(0);
    for (const std::uint8_t field : {hours, minutes, seconds})
        w.u8(field);
    w.u8(dropFrame ? 1 : 0);
    w.u8(frames);
    w.zeros(1024 - w.size());
    return w.take();
}

void addTimecodePerPicture(Movie& movie, std::uint32_t frame, std::uint32_t pictures) {
    constexpr std::uint32_t samplesPerChunk = 10;
    MovieTrack timecode;
    timecode.id = 9;
    timecode.handler = "tmcd";
    timecode.timescale = 60'000;
    timecode.entries = {timecodeEntry(3, 60'000, 1'001, 60)};
    timecode.durations = {{pictures, 1'001}};
    timecode.constantSize = 4;
    timecode.sampleCount = pictures;
    timecode.chunks = {{1, samplesPerChunk, 1}};
    ByteWriter numbers;
    for (std::uint32_t i = 0; i < pictures; ++i) {
        if (i % samplesPerChunk == 0)
            timecode.offsets.push_back(movie.data.size() + numbers.size());
        numbers.u32(frame + i);
    }
    append(movie.data, numbers.bytes());
    movie.tracks.push_back(timecode);
}

} // namespace test
