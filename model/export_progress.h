// SPDX-License-Identifier: GPL-3.0-or-later
// How far a running export is: what is done, how long the rest takes, how big the pack will be.
#pragma once

#include <QString>
#include <chrono>
#include <cstdint>
#include <optional>

#include "model/path_set.h"

namespace model {

struct ExportProgress {
    using Clock = std::chrono::steady_clock;

    /// For each clip of the export, by its id.
    struct Clip {
        double length = 0; ///< seconds, at least 0.001
        double audio = 0;  ///< bytes of scratch sound expected
        QString name;      ///< file name with extension
    };

    explicit ExportProgress(PathMap<Clip> exportedClips, Clock::time_point start = Clock::now());

    PathMap<Clip> clips;
    double total = 0;      ///< seconds of all clips
    double totalAudio = 0; ///< bytes of all clips
    Clock::time_point started;
    PathSet finished; ///< written or failed
    double finishedSeconds = 0;
    std::int64_t finishedBytes = 0; ///< of the copies; a failed clip adds none
    double finishedAudio = 0;       ///< of the finished clips, failed ones too
    std::optional<std::filesystem::path> current;
    double currentSeconds = 0;
    bool saving = false; ///< all clips are done, the zip is being written

    [[nodiscard]] std::size_t count() const noexcept { return clips.size(); }
    /// Seconds, never more than `total`.
    [[nodiscard]] double done() const noexcept;
    /// "Processed 3 of 12 clips, now A001C003.mov"
    [[nodiscard]] QString label() const;
    /// Seconds; none in the first two seconds, while saving, and when nothing is done yet.
    [[nodiscard]] std::optional<double> remaining(Clock::time_point now) const;
    /// Bytes of the whole pack; none until a clip with sound has been written.
    [[nodiscard]] std::optional<std::int64_t> estimatedSize() const;

    /// `fraction` (0 to 1) of a clip's copy is written. A clip that has ended is left alone.
    void step(const std::filesystem::path& id, double fraction);
    /// A clip's copy has ended; the second time counts for nothing.
    void finish(const std::filesystem::path& id, std::int64_t bytes);
};

} // namespace model
