// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/thread_name.h"

#include <algorithm>
#include <array>

#include <pthread.h>

namespace platform {

void nameThread(std::string_view name) noexcept {
    std::array<char, 16> shown{}; // all that the system keeps, with a zero at the end
    std::ranges::copy(name.substr(0, shown.size() - 1), shown.begin());
    (void)::pthread_setname_np(::pthread_self(), shown.data());
}

} // namespace platform
