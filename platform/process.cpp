// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/process.h"

#include <csignal>
#include <ctime>

#include <fcntl.h>
#include <unistd.h>

namespace platform {

void prepareProcess() {
    (void)std::signal(SIGPIPE, SIG_IGN);
    (void)std::signal(SIGXFSZ, SIG_IGN);
    // The system gives out the lowest free descriptor, so each open fills the next gap up to standard error.
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        descriptor = ::open("/dev/null", O_RDONLY);
    if (descriptor > STDERR_FILENO)
        ::close(descriptor);
}

double processorSeconds() noexcept {
    timespec time{};
    (void)::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

} // namespace platform
