// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/terminal.h"

#include <cstdlib>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace platform {

bool isTerminal(std::FILE* stream) {
    const char* kind = std::getenv("TERM");
    return ::isatty(::fileno(stream)) == 1 && kind != nullptr && *kind != '\0' &&
           std::string_view(kind) != "dumb";
}

std::size_t terminalColumns(std::FILE* stream) {
    constexpr std::size_t usual = 80;
    struct winsize size {};
    return ::ioctl(::fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
}

void writeIfReady(std::FILE* stream, std::string_view text) noexcept {
    struct pollfd ready {};
    ready.fd = ::fileno(stream);
    ready.events = POLLOUT;
    if (::poll(&ready, 1, 0) == 1 && (ready.revents & POLLOUT) != 0)
        (void)!::write(ready.fd, text.data(), text.size());
}

} // namespace platform
