// SPDX-License-Identifier: GPL-3.0-or-later
// How much longer this build takes than a plain one: time limits grow by it, and numbers of random cases
// shrink.
#pragma once

namespace test {

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define FERROWICK_SANITIZED
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define FERROWICK_SANITIZED
#endif
#ifdef FERROWICK_SANITIZED
inline constexpr int slowdown = 20;
#elif !defined(__OPTIMIZE__) // where what the tests reach is counted
inline constexpr int slowdown = 5;
#else
inline constexpr int slowdown = 1;
#endif

} // namespace test
