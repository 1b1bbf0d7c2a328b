// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/process.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <thread>

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

namespace platform {

void prepareProcess() {
#ifdef __GLIBC__
    // Every clip takes and gives back the same few megabytes. Given back to the system, each page of them
    // would be a fault and be cleared again.
    (void)::mallopt(M_MMAP_THRESHOLD, 1 << 20);
    (void)::mallopt(M_TRIM_THRESHOLD, 2 << 20);
    // Each arena keeps what its threads gave back: no more of them than threads that work at once.
    (void)::mallopt(M_ARENA_MAX, static_cast<int>(processorCount()) + 1);
#endif
    (void)std::signal(SIGPIPE, SIG_IGN);
    (void)std::signal(SIGXFSZ, SIG_IGN);
    // The system gives out the lowest free descriptor, so each open fills the next gap up to standard error.
    // A folder, which is there without a /dev too, refuses to be written to as well.
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO)
        if (descriptor = ::open("/dev/null", O_RDONLY); descriptor < 0)
            descriptor = ::open("/", O_RDONLY | O_DIRECTORY);
    if (descriptor > STDERR_FILENO)
        ::close(descriptor);
}

std::size_t processorCount() noexcept {
    static const std::size_t count = std::max(1U, std::thread::hardware_concurrency()); // reads files
    return count;
}

double processorSeconds() noexcept {
    timespec time{};
    (void)::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

} // namespace platform
