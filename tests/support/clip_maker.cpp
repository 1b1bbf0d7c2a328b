// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/clip_maker.h"

#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <sstream>

#include <unistd.h>

#include "tests/support/command.h"

namespace test {
namespace {

using Arguments = std::vector<std::string>;

void append(Arguments& arguments, const Arguments& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
}

bool isMXF(Container container) {
    return container == Container::mxf || container == Container::mxfD10 || container == Container::mxfOpAtom;
}

std::string extension(Container container) {
    switch (container) {
    case Container::mov:
        return "mov";
    case Container::mp4:
        return "mp4";
    case Container::m4v:
        return "m4v";
    case Container::mxf:
    case Container::mxfD10:
    case Container::mxfOpAtom:
        return "mxf";
    }
    return {};
}

/// A lavfi source of the track's signal, different for every track of a clip.
std::string source(const SoundDescription& sound, std::size_t index) {
    const std::string rate = std::to_string(sound.rate);
    const std::string seed = std::to_string(index + 1);
    switch (sound.signal) {
    case Signal::tone:
        return "aevalsrc=0.4*sin(2*PI*" + std::to_string(220 + 110 * index) + "*t):s=" + rate;
    case Signal::noise:
        return "anoisesrc=c=white:a=0.5:seed=" + seed + ":r=" + rate;
    case Signal::speech:
        return "anoisesrc=c=pink:a=0.7:seed=" + seed + ":r=" + rate + ",tremolo=f=4:d=0.9";
    case Signal::whisper:
    case Signal::hush:
        return std::string("aevalsrc=") + (sound.signal == Signal::hush ? "0.00097" : "0.00105") +
               "*sin(2*PI*220*t):s=" + rate;
    case Signal::silence:
        return "anullsrc=cl=mono:r=" + rate;
    }
    return {};
}

/// One mono source spread over the channels: channel i at 1 / (i + 1), every other one inverted.
std::string spread(int channels) {
    std::string filter = "pan=" + std::to_string(channels) + "c";
    for (int i = 0; i < channels; ++i) {
        filter += "|c" + std::to_string(i) + "=" + (i % 2 == 0 ? "" : "-") +
                  std::to_string(1.0 / static_cast<double>(i + 1)) + "*c0";
    }
    return filter;
}

std::string sampleFormat(const SoundDescription& sound) {
    if (sound.codec == "alac")
        return sound.bits == 24 ? "s32p" : "s16p";
    return sound.bits == 24 ? "s32" : "s16";
}

Arguments soundOutput(const SoundDescription& sound, std::size_t index) {
    const std::string track = std::to_string(index);
    Arguments arguments{"-c:a:" + track, sound.codec, "-filter:a:" + track, spread(sound.channels)};
    if (sound.bits != 0)
        append(arguments, {"-sample_fmt:a:" + track, sampleFormat(sound)});
    if (!sound.bitRate.empty())
        append(arguments, {"-b:a:" + track, sound.bitRate});
    return arguments;
}

Arguments muxing(const ClipDescription& description) {
    std::string flags = "+bitexact";
    Arguments arguments;
    if (isMXF(description.container)) {
        const bool isD10 = description.container == Container::mxfD10;
        append(arguments, {"-f", isD10                                     ? "mxf_d10"
                                 : description.container == Container::mxf ? "mxf"
                                                                           : "mxf_opatom"});
        append(arguments, {"-fflags", "+bitexact", "-strict", "-2"});
        append(arguments, description.muxerOptions);
        return arguments;
    }
    if (description.container != Container::mov)
        append(arguments, {"-f", "mp4", "-write_tmcd", description.timecode ? "1" : "0"});
    std::string movflags = description.metadataKeys ? "+use_metadata_tags" : "";
    movflags += description.fragmented ? "+frag_keyframe+empty_moov" : "";
    movflags += description.moovFirst ? "+faststart" : "";
    if (!movflags.empty())
        append(arguments, {"-movflags", movflags});
    append(arguments, {"-fflags", "+bitexact", "-strict", "-2"});
    for (const auto& [name, value] : description.metadata)
        append(arguments, {"-metadata", name + "=" + value});
    append(arguments, description.muxerOptions);
    return arguments;
}

/// The picture's size and coding: MXF takes few codecs, and the D-10 and DNxHD ones only at their rates.
std::string pictureSize(const ClipDescription& description) {
    switch (description.container) {
    case Container::mxfD10:
        return description.rate == "25" ? "720x608" : "720x512";
    case Container::mxfOpAtom:
        return "1920x1080";
    default:
        return "64x64";
    }
}

Arguments words(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

Arguments pictureCoding(const ClipDescription& description) {
    switch (description.container) {
    case Container::mxf:
        return words("-c:v mpeg2video -flags:v +bitexact -g 12");
    case Container::mxfD10:
        return words("-c:v mpeg2video -g 1 -b:v 30M -minrate 30M -maxrate 30M -bufsize 1.2M "
                     "-rc_init_occupancy 1.2M -intra_vlc 1 -non_linear_quant 1 -dc 10 -qmin 1 -qmax 12 -ps 1 "
                     "-flags:v +ildct+ilme+low_delay+bitexact -pix_fmt yuv422p");
    case Container::mxfOpAtom:
        return words("-c:v dnxhd -b:v 120M -pix_fmt yuv422p -flags:v +bitexact");
    default:
        return words("-c:v mpeg4 -flags:v +bitexact -g 12");
    }
}

/// The command up to its output's name. ffmpeg makes timecode tracks for picture tracks only, so a picture is
/// made whenever timecode is wanted.
Arguments recording(const ClipDescription& description) {
    Arguments arguments{"ffmpeg", "-nostdin", "-v", "error", "-y"};
    const bool picture = description.picture || (description.timecode && !isMXF(description.container));
    if (picture) {
        append(arguments, {"-f", "lavfi", "-t", std::to_string(description.duration), "-i",
                           "color=c=gray:s=" + pictureSize(description) + ":r=" + description.rate});
    }
    std::size_t index = 0;
    for (const SoundDescription& sound : description.sound) {
        if (sound.offset != 0)
            append(arguments, {"-itsoffset", std::to_string(sound.offset)});
        const double length = sound.duration != 0 ? sound.duration : description.duration;
        append(arguments, {"-f", "lavfi", "-t", std::to_string(length), "-i", source(sound, index++)});
    }
    for (std::size_t input = 0; input < index + (picture ? 1 : 0); ++input)
        append(arguments, {"-map", std::to_string(input)});
    if (picture)
        append(arguments, pictureCoding(description));
    index = 0;
    for (const SoundDescription& sound : description.sound)
        append(arguments, soundOutput(sound, index++));
    if (description.timecode)
        append(arguments, {"-timecode", *description.timecode});
    append(arguments, muxing(description));
    return arguments;
}

/// Everything but the picture of a finished clip.
Arguments withoutPicture(const ClipDescription& description, const std::string& from) {
    Arguments arguments{"ffmpeg", "-nostdin", "-v",   "error", "-y", "-i",  from,
                        "-map",   "0:a?",     "-map", "0:d",   "-c", "copy"};
    append(arguments, muxing(description));
    return arguments;
}

/// FNV-1a over all arguments.
std::uint64_t digest(const Arguments& arguments, std::uint64_t state = 0xcbf29ce484222325U) {
    for (const std::string& argument : arguments) {
        for (const char c : argument)
            state = (state ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
        state = (state ^ 0xffU) * 0x100000001b3U;
    }
    return state;
}

} // namespace

std::filesystem::path clipFolder() {
    const char* folder = std::getenv("FERROWICK_CLIPS");
    return folder != nullptr ? folder : FERROWICK_CLIPS_FOLDER;
}

std::filesystem::path clip(const ClipDescription& description) {
    const std::string ending = "." + extension(description.container);
    Arguments record = recording(description);
    const bool stripped = !description.picture && description.timecode && !isMXF(description.container);
    std::uint64_t key = digest(record);
    if (stripped)
        key = digest(withoutPicture(description, {}), key);
    const std::filesystem::path folder = clipFolder();
    const std::filesystem::path finished = folder / (std::to_string(key) + ending);
    if (std::filesystem::exists(finished))
        return finished;
    std::filesystem::create_directories(folder);
    // Several programs may make the same clip at once: each under a name of its own, the last rename wins.
    const std::string own = "making-" + std::to_string(getpid()) + "-" + std::to_string(key);
    const std::filesystem::path made = folder / (own + ending);
    record.push_back(made.string());
    runChecked(record);
    std::filesystem::path result = made;
    if (stripped) {
        result = folder / (own + "-sound" + ending);
        Arguments strip = withoutPicture(description, made.string());
        strip.push_back(result.string());
        runChecked(strip);
        std::filesystem::remove(made);
    }
    std::filesystem::rename(result, finished);
    return finished;
}

} // namespace test
