// SPDX-License-Identifier: GPL-3.0-or-later
// The plain values that every room passes around: a clip, its header, the result of packing it, and the
// errors.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "media/timecode/timecode.h"

using media::Timecode;

/// What a clip's copy keeps of its sound.
enum class ScratchAudio { lossless, compressed, none };

/// All modes in the order in which they are listed.
inline constexpr std::array allScratchAudio{ScratchAudio::lossless, ScratchAudio::compressed,
                                            ScratchAudio::none};

/// The stored and typed form: "lossless", "compressed", "none".
[[nodiscard]] std::string_view rawValue(ScratchAudio mode);
/// The form shown to people: "Lossless", "Compressed", "None (Timecode Only)".
[[nodiscard]] std::string_view title(ScratchAudio mode);
/// The mode of exactly this raw value, if there is one.
[[nodiscard]] std::optional<ScratchAudio> scratchAudio(std::string_view rawValue);

/// One clip to pack; made by discovery only.
struct PackClip {
    std::filesystem::path source; ///< the clip file: its identity
    std::string packPath;         ///< place of the copy in the pack: components joined by "/", no extension
    std::int64_t size = 0;        ///< bytes; 0 when the file system could not tell

    [[nodiscard]] const std::filesystem::path& id() const noexcept { return source; }
    /// The file's name without and with its extension, for display: valid UTF-8.
    [[nodiscard]] std::string name() const;
    [[nodiscard]] std::string fileName() const;
    /// `packPath` without its last component; empty at the top of the pack.
    [[nodiscard]] std::string folder() const;
};

/// What a clip's header says.
struct ClipHeader {
    std::optional<Timecode> timecode; ///< absent when it could not be read
    std::string timecodeReason{};     ///< why it is absent where there is a timecode track: a sentence
    double duration = 0;              ///< seconds
    std::optional<double> fps;        ///< of the first video track; absent without one
    std::int64_t audioTracks = 0;
    std::int64_t audioChannels = 0;                            ///< over all tracks
    double audioBytesPerSecond = 0;                            ///< uncompressed, over all tracks
    std::optional<std::chrono::system_clock::time_point> date; ///< recording date
    std::optional<std::string> resolution;                     ///< such as 1920 × 1080

    /// Start and end timecode for display, "01:00:00:00 – 01:00:10:00"; the end is the frame after the last.
    /// Absent without a timecode or frame rate, or when the length in frames does not fit.
    [[nodiscard]] std::optional<std::string> range() const;
};

/// What writing one clip's copy yielded.
struct PackResult {
    Timecode timecode;
    double duration = 0; ///< seconds
    double fps = 0;      ///< the timecode's base where the clip has no video frame rate
    std::int64_t frames = 0;
    std::int64_t audioTracks = 0;      ///< of the clip; 0 in mode none
    std::vector<std::int64_t> audible; ///< numbers, from 1, of the copy's sound tracks with sound on them
    std::string camera;
    std::string umid;
    std::int64_t packSize = 0; ///< bytes of the copy
    std::vector<std::string> notes;
};

/// The error of all pack operations.
class PackError : public std::exception {
  public:
    enum class Case { failed, lengthChanged, cantOpen, noTimecode, cancelled };

    [[nodiscard]] static PackError failed(std::string text);
    /// Lengths in seconds.
    [[nodiscard]] static PackError lengthChanged(double clip, double copy);
    /// `reason`: why, as a sentence, where somebody knows.
    [[nodiscard]] static PackError cantOpen(std::string reason = {});
    [[nodiscard]] static PackError noTimecode(std::string reason = {});
    [[nodiscard]] static PackError cancelled();

    [[nodiscard]] Case kind() const noexcept { return case_; }
    /// One sentence for a person; what is shown in a clip's line.
    [[nodiscard]] const std::string& errorDescription() const noexcept { return description_; }
    /// What the description leaves out, for those who look closer: a sentence, or empty.
    [[nodiscard]] const std::string& reason() const noexcept { return reason_; }
    [[nodiscard]] const char* what() const noexcept override { return description_.c_str(); }

  private:
    PackError(Case kind, std::string description, std::string reason = {})
        : case_(kind), description_(std::move(description)), reason_(std::move(reason)) {}
    Case case_;
    std::string description_;
    std::string reason_;
};

/// Why a clip was not packed: an error's description and reason.
struct PackFailure {
    std::string description;
    std::string reason{}; ///< what the description leaves out ("The file ends too early."), or empty
};
/// How packing one clip ended.
using Outcome = std::variant<PackResult, PackFailure>;

namespace Pack {

/// Whether MXF clips can be opened: always, the reader is built in.
inline constexpr bool canOpenMXF = true;

/// fps x duration rounded to the nearest whole number, halves away from zero; absent when it is not finite or
/// does not fit.
[[nodiscard]] std::optional<std::int64_t> frameCount(double fps, double duration);

/// What the exception being handled says (call it inside a catch block): a PackError's or media::Error's own
/// sentence, the system's reason for a file system error; and a PackError's reason.
[[nodiscard]] PackFailure currentFailure();
/// Its description alone.
[[nodiscard]] std::string currentErrorDescription();

} // namespace Pack
