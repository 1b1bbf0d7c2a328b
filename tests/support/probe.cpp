// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/probe.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "tests/support/command.h"
#include "tests/support/temporary_folder.h"

namespace test {

Probe::Probe(const std::filesystem::path& path) {
    // ffprobe's default format: "[STREAM]" … "[/STREAM]", between them name=value, TAG:name=value.
    std::istringstream lines(
        runChecked({"ffprobe", "-v", "error", "-show_format", "-show_streams", path.string()}));
    std::string section;
    std::size_t streamCount = 0;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t equals = line.find('=');
        if (line == "[STREAM]") {
            section = "streams.stream." + std::to_string(streamCount++) + ".";
        } else if (line == "[FORMAT]") {
            section = "format.";
        } else if (equals != std::string::npos) {
            const bool tag = line.starts_with("TAG:");
            const std::string name = tag ? "tags." + line.substr(4, equals - 4) : line.substr(0, equals);
            fields_[section + name] = line.substr(equals + 1);
        }
    }
}

std::string Probe::field(const std::string& name) const {
    const auto found = fields_.find(name);
    return found == fields_.end() ? std::string() : found->second;
}

std::string Probe::stream(std::size_t index, const std::string& name) const {
    return field("streams.stream." + std::to_string(index) + "." + name);
}

std::vector<std::size_t> Probe::streams(std::string_view type) const {
    std::vector<std::size_t> found;
    for (std::size_t i = 0; !stream(i, "index").empty(); ++i)
        if (stream(i, "codec_type") == type)
            found.push_back(i);
    return found;
}

std::string Probe::timecode() const {
    for (const std::size_t index : streams("data"))
        if (const std::string text = stream(index, "tags.timecode"); !text.empty())
            return text;
    return {};
}

double Probe::duration() const {
    return std::stod(field("format.duration"));
}

std::string mediainfo(const std::filesystem::path& path, std::string_view kind, std::string_view field) {
    std::string text = runChecked(
        {"mediainfo", "--Inform=" + std::string(kind) + ";%" + std::string(field) + "%", path.string()});
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text;
}

namespace {

struct DecodedTrack {
    std::vector<std::byte> pcm;
    std::size_t channels;
};

/// All tracks in one run of ffmpeg.
std::vector<DecodedTrack> decode(const std::filesystem::path& path, const std::string& format) {
    const Probe probe(path);
    const std::vector<std::size_t> sound = probe.streams("audio");
    if (sound.empty())
        return {};
    const TemporaryFolder folder;
    std::vector<std::string> command{"ffmpeg", "-nostdin", "-v", "error", "-i", path.string()};
    for (std::size_t track = 0; track < sound.size(); ++track)
        for (const std::string& word :
             {std::string("-map"), "0:a:" + std::to_string(track), std::string("-c:a"), "pcm_" + format,
              std::string("-f"), format, (folder / std::to_string(track)).string()})
            command.push_back(word);
    runChecked(command);
    std::vector<DecodedTrack> tracks;
    for (std::size_t track = 0; track < sound.size(); ++track) {
        const std::size_t channels = std::stoul(probe.stream(sound[track], "channels"));
        const double start = std::stod(probe.stream(sound[track], "start_time"));
        const double frames = std::max(0.0, start * std::stod(probe.stream(sound[track], "sample_rate")));
        std::vector<std::byte> pcm = bytesOf(folder / std::to_string(track));
        pcm.insert(pcm.begin(),
                   static_cast<std::size_t>(std::llround(frames)) * channels * std::stoul(format.substr(1)) /
                       8,
                   std::byte{0});
        tracks.push_back({std::move(pcm), channels});
    }
    return tracks;
}

} // namespace

std::vector<std::vector<std::byte>> decodeTracks(const std::filesystem::path& path,
                                                 const std::string& format) {
    std::vector<std::vector<std::byte>> all;
    for (DecodedTrack& track : decode(path, format))
        all.push_back(std::move(track.pcm));
    return all;
}

std::vector<std::byte> decodeTrack(const std::filesystem::path& path, std::size_t track,
                                   const std::string& format) {
    return decodeTracks(path, format).at(track);
}

std::vector<std::vector<float>> decodeChannels(const std::filesystem::path& path) {
    std::vector<std::vector<float>> all;
    for (const auto& [pcm, channels] : decode(path, "f32le")) {
        std::vector<float>& samples = all.emplace_back(pcm.size() / (4 * channels));
        for (std::size_t i = 0; i < samples.size(); ++i)
            std::memcpy(&samples[i], pcm.data() + i * 4 * channels, 4);
    }
    return all;
}

std::ptrdiff_t lag(std::span<const float> a, std::span<const float> b, std::ptrdiff_t reach) {
    // A window of a is slid over b; it lies far enough from a's ends that every lag in reach meets samples.
    const auto size = static_cast<std::ptrdiff_t>(std::min(a.size(), b.size()));
    const std::ptrdiff_t length = std::min<std::ptrdiff_t>(8'192, size - 2 * reach);
    if (length < 64)
        throw std::runtime_error("too little sound to compare");
    const std::ptrdiff_t start = (size - length) / 2;
    double best = -std::numeric_limits<double>::infinity();
    std::ptrdiff_t found = 0;
    for (std::ptrdiff_t shift = -reach; shift <= reach; ++shift) {
        double sum = 0;
        for (std::ptrdiff_t i = start; i < start + length; ++i) {
            sum += static_cast<double>(a[static_cast<std::size_t>(i)]) *
                   static_cast<double>(b[static_cast<std::size_t>(i + shift)]);
        }
        if (sum > best) {
            best = sum;
            found = shift;
        }
    }
    return found;
}

} // namespace test
