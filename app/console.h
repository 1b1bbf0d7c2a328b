// SPDX-License-Identifier: GPL-3.0-or-later
// What the program says: lines on standard output and standard error, and one that moves on a terminal.
#pragma once

#include <atomic>
#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/clean_up.h"

namespace CLI {

/// Both streams. Lines of several threads come whole, one after the other; the moving line makes way for
/// them.
class Console {
  public:
    Console();
    ~Console() { clear(); }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    /// A line of standard output, in one go, so that whoever reads along sees each clip as it ends. A reader
    /// that has gone away ends nothing; that lines are lost is said on standard error, once.
    void print(std::string_view line);
    /// A line of standard error.
    void note(std::string_view line);

    /// Whether standard error is a terminal, which shows a moving line.
    [[nodiscard]] bool isTerminal() const noexcept { return isTerminal_; }
    /// Puts what `line` gives for the terminal's width (in columns) in the moving line's place. Nothing
    /// happens on what is no terminal.
    void show(const std::function<std::string(std::size_t columns)>& line);
    /// Takes the moving line away.
    void clear();

    /// A program that a signal ends says no more: what its threads make of files that go under them is not
    /// so. The last words go to a terminal only. Waits for no other thread: one of them may hang in a read,
    /// or in this terminal.
    void end(platform::Ending ending) noexcept;

    /// False once standard output has refused a line.
    [[nodiscard]] bool outputIsWhole() const noexcept { return outputIsWhole_; }

  private:
    void erase();
    void write(std::FILE* stream, std::string_view line);

    const bool isTerminal_;
    std::atomic<bool> stopped_ = false;
    std::timed_mutex lock_; // guards what follows
    bool shown_ = false;
    bool outputIsWhole_ = true;
};

} // namespace CLI
