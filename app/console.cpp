// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/console.h"

#include <cerrno>
#include <chrono>
#include <system_error>

#include "platform/file.h"
#include "platform/terminal.h"
#include "platform/text.h"

namespace CLI {

Console::Console() : isTerminal_(platform::isTerminal(stderr)) {}

void Console::print(std::string_view line) {
    const std::lock_guard guard(lock_);
    if (stopped_)
        return;
    erase();
    errno = 0;
    write(stdout, line);
    if (std::ferror(stdout) == 0 || !outputIsWhole_)
        return;
    outputIsWhole_ = false;
    const std::error_code reason(errno, std::generic_category());
    // Streams that the starter has closed are there, but refuse to be written to.
    write(stderr, "Standard output can't be written: " +
                      (reason == std::errc::bad_file_descriptor ? "it is closed" : platform::reason(reason)) +
                      ". Lines are missing there.");
}

void Console::note(std::string_view line) {
    const std::lock_guard guard(lock_);
    if (stopped_)
        return;
    erase();
    write(stderr, line);
}

void Console::show(const std::function<std::string(std::size_t columns)>& line) {
    if (!isTerminal_)
        return;
    const std::lock_guard guard(lock_);
    if (stopped_)
        return;
    const std::string text = std::string(platform::eraseLine) + line(platform::terminalColumns(stderr));
    (void)std::fwrite(text.data(), 1, text.size(), stderr);
    (void)std::fflush(stderr);
    shown_ = true;
}

void Console::clear() {
    const std::lock_guard guard(lock_);
    erase();
}

void Console::end(platform::Ending ending) noexcept {
    stopped_ = true;
    if (!isTerminal_ || ending == platform::Ending::begun)
        return;
    // Enough for whoever is painting the line to be done.
    const bool held = lock_.try_lock_for(std::chrono::milliseconds(100));
    platform::writeIfReady(stderr, platform::eraseLine);
    platform::writeIfReady(stderr, ending == platform::Ending::heldUp
                                       ? "Stopping. The disk doesn't answer: Ctrl-C again leaves what is "
                                         "there to the next pack.\n"
                                       : "Stopped.\n");
    if (held)
        lock_.unlock();
}

void Console::erase() {
    if (!shown_ || stopped_)
        return;
    (void)std::fwrite(platform::eraseLine.data(), 1, platform::eraseLine.size(), stderr);
    (void)std::fflush(stderr);
    shown_ = false;
}

void Console::write(std::FILE* stream, std::string_view line) {
    const std::string text = platform::oneLine(line) + "\n";
    (void)std::fwrite(text.data(), 1, text.size(), stream);
    (void)std::fflush(stream);
}

} // namespace CLI
