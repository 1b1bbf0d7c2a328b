// SPDX-License-Identifier: GPL-3.0-or-later
// How many clips a second the header probe reads, one after the other and four at a time as the window does.
//   ferrowick-bench-probe CARD
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <thread>
#include <vector>

#include "pack/discovery.h"
#include "pack/header_probe.h"

namespace {

using Clock = std::chrono::steady_clock;

double seconds(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Seconds for all clips, the best of five.
double probe(const std::vector<PackClip>& clips, unsigned readers) {
    double best = std::numeric_limits<double>::infinity();
    for (int run = 0; run < 5; ++run) {
        const auto start = Clock::now();
        std::atomic<std::size_t> next{0};
        std::vector<std::jthread> threads;
        for (unsigned i = 0; i < readers; ++i) {
            threads.emplace_back([&] {
                for (std::size_t clip = next++; clip < clips.size(); clip = next++)
                    (void)Pack::header(clips[clip].source);
            });
        }
        threads.clear();
        best = std::min(best, seconds(start));
    }
    return best;
}

} // namespace

int main(int argc, char** argv) try {
    const std::vector<std::filesystem::path> paths(argv + 1, argv + argc);
    const auto start = Clock::now();
    const std::vector<PackClip> clips = Pack::clips(paths, {}).clips;
    std::printf("%zu clips found in %.1f ms\n", clips.size(), seconds(start) * 1e3);
    for (const unsigned readers : {1U, 4U})
        std::printf("headers, %u at a time: %.0f clips a second\n", readers,
                    static_cast<double>(clips.size()) / probe(clips, readers));
} catch (...) {
    (void)std::fprintf(stderr, "%s\n", Pack::currentErrorDescription().c_str());
    return 1;
}
