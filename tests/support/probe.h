// SPDX-License-Identifier: GPL-3.0-or-later
// What other programs read in a movie: ffprobe's and mediainfo's fields, sound decoded by ffmpeg.
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace test {

/// ffprobe's view of a movie.
class Probe {
  public:
    /// Throws std::runtime_error when ffprobe can't read the file.
    explicit Probe(const std::filesystem::path& path);

    /// A field by its place, as in "format.duration" or "format.tags.title"; empty when absent.
    [[nodiscard]] std::string field(const std::string& name) const;
    /// A field of one stream, as in stream(0, "codec_name") or stream(1, "tags.timecode").
    [[nodiscard]] std::string stream(std::size_t index, const std::string& name) const;
    /// The indices of the streams of one type: "video", "audio", "data" (timecode).
    [[nodiscard]] std::vector<std::size_t> streams(std::string_view type) const;
    /// The start timecode, with ";" before the frames for drop frame; empty without one.
    [[nodiscard]] std::string timecode() const;
    /// Seconds.
    [[nodiscard]] double duration() const;

  private:
    std::map<std::string, std::string> fields_;
};

/// One field of mediainfo's, as in mediainfo(path, "Other", "TimeCode_FirstFrame") or ("General",
/// "Duration").
[[nodiscard]] std::string mediainfo(const std::filesystem::path& path, std::string_view kind,
                                    std::string_view field);

/// The sound tracks as ffmpeg decodes them, interleaved, in one of ffmpeg's raw formats: s16le, s24le, s32le,
/// f32le … With zeros in front when they start after time zero.
[[nodiscard]] std::vector<std::vector<std::byte>> decodeTracks(const std::filesystem::path& path,
                                                               const std::string& format = "s32le");
/// One of them, numbered from 0.
[[nodiscard]] std::vector<std::byte> decodeTrack(const std::filesystem::path& path, std::size_t track,
                                                 const std::string& format = "s32le");

/// The sound tracks' first channels as numbers from -1 to 1.
[[nodiscard]] std::vector<std::vector<float>> decodeChannels(const std::filesystem::path& path);

/// By how many samples `b` is late against `a`: the peak of their cross-correlation within `reach` samples.
[[nodiscard]] std::ptrdiff_t lag(std::span<const float> a, std::span<const float> b,
                                 std::ptrdiff_t reach = 3'000);

} // namespace test
