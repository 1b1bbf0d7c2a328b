// SPDX-License-Identifier: GPL-3.0-or-later
// How much longer this build takes than a plain one: time limits grow by it, and numbers of random cases
// shrink.
#pragma once

namespace test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr int slowdown = 20;
#else
inline constexpr int slowdown = 1;
#endif

} // namespace test
