// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/thread_name.h"

#include <pthread.h>

namespace platform {

void nameThread(const std::string& name) noexcept {
    constexpr std::size_t longestShown = 15;
    (void)::pthread_setname_np(::pthread_self(), name.substr(0, longestShown).c_str());
}

} // namespace platform
