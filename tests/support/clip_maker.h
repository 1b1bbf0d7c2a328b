// SPDX-License-Identifier: GPL-3.0-or-later
// Makes test clips with ffmpeg from a description. A clip is made once and kept in a folder that all test
// programs share, under a name that is a digest of the commands that make it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace test {

/// MXF: OP1a; D-10 (IMX: 25 or 29.97 pictures a second, one sound track); OP-Atom (picture or one sound
/// track).
enum class Container { mov, mp4, m4v, mxf, mxfD10, mxfOpAtom };

/// What a sound track holds: a steady tone, white noise, pink noise that swells like speech, or zeros.
/// `whisper` and `hush` lie a little above and below -60 dB of full scale.
enum class Signal { tone, noise, speech, whisper, hush, silence };

struct SoundDescription {
    std::string codec = "pcm_s24le"; ///< ffmpeg's name of the encoder: pcm_s16be, aac, alac, libopus, ac3 …
    int channels = 1;                ///< each with a different gain, so that mixed-up channels show
    int rate = 48'000;               ///< samples per second
    int bits = 0;                    ///< for alac and flac: 16 or 24; elsewhere the codec's name says it
    Signal signal = Signal::speech;
    double duration = 0;   ///< seconds; 0: as long as the clip
    double offset = 0;     ///< seconds of empty edit in front
    std::string bitRate{}; ///< such as "128k"; empty: the encoder's own
};

/// With its defaults: two seconds of 25p picture, timecode and one 24-bit track in a .mov.
struct ClipDescription {
    Container container = Container::mov;
    bool fragmented = false; ///< moof boxes after an empty moov
    bool moovFirst = false;
    bool picture = true;                                 ///< 64 x 64
    std::string rate = "25";                             ///< pictures per second, "30000/1001" too
    double duration = 2;                                 ///< seconds of picture
    std::optional<std::string> timecode = "01:00:00:00"; ///< drop frame with ";" before the frames
    std::vector<SoundDescription> sound = {SoundDescription{}};
    std::vector<std::pair<std::string, std::string>> metadata{}; ///< ffmpeg's names: creation_time, title …
    bool metadataKeys = false; ///< write `metadata` as QuickTime metadata (mdta) instead of user data
    std::vector<std::string> muxerOptions{}; ///< further output arguments for ffmpeg
};

/// The clip's path, in the shared folder: to be read, never changed. Throws std::runtime_error with ffmpeg's
/// words when it can't be made.
[[nodiscard]] std::filesystem::path clip(const ClipDescription& description);

/// The folder that keeps the clips: FERROWICK_CLIPS of the environment, else one in the build folder.
[[nodiscard]] std::filesystem::path clipFolder();

} // namespace test
