// SPDX-License-Identifier: GPL-3.0-or-later
// How far a pack is, as the line that moves on a terminal.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "app/console.h"
#include "pack/clip_records.h"

namespace CLI {

/// Follows a pack by the callbacks of Pack::make, from any thread, and shows it: a few times a second, and
/// nothing of a pack that is over at once. What is done counts by the clips' bytes.
class PackProgress {
  public:
    PackProgress(Console& console, std::span<const PackClip> clips);

    /// `fraction` (0 to 1) of the clip is written.
    void step(const PackClip& clip, double fraction);
    void finish(const PackClip& clip);
    /// All clips are done.
    void saving();

  private:
    using Clock = std::chrono::steady_clock;

    void show();

    Console& console_;
    const std::size_t count_;
    const Clock::time_point start_ = Clock::now();
    std::mutex lock_; // guards what follows
    Clock::time_point next_;
    double total_ = 0;
    double done_ = 0; ///< of the clips that have ended
    std::size_t ended_ = 0;
    double current_ = 0; ///< of the clip that is being written
    std::string name_;
    bool saving_ = false;
};

/// What the line says.
struct Progress {
    std::size_t number = 0; ///< of the clip, from 1
    std::size_t count = 0;
    double share = 0; ///< 0 to 1
    std::optional<std::chrono::seconds> left;
    std::string name; ///< of the clip
};

/// "Clip 12 of 340, 35%, 4 min left: A001/CLIP/C0012", one column narrower than the terminal: what is too
/// long loses the beginning of its name, or all but the share.
[[nodiscard]] std::string progressLine(const Progress& progress, std::size_t columns);

} // namespace CLI
