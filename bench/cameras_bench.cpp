// SPDX-License-Identifier: GPL-3.0-or-later
// What the headers of 1,000 clips cost whose timecode stands in a document, in a file beside the clip and in
// metadata samples, against 1,000 with a timecode track: reads and bytes as the system counts them, and time.
//   ferrowick-bench-cameras FOLDER
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "pack/discovery.h"
#include "pack/header_probe.h"
#include "tests/support/camera_clips.h"

namespace {

constexpr int clips = 1'000;

void write(const std::filesystem::path& path, std::string_view content) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary).write(content.data(), static_cast<std::streamsize>(content.size()));
}

void make(const std::filesystem::path& folder, const test::Bytes& clip, const std::string& beside) {
    for (int i = 1; i <= clips; ++i) {
        const std::string name = "C" + std::to_string(1'000 + i);
        write(folder / (name + ".MP4"), {reinterpret_cast<const char*>(clip.data()), clip.size()});
        if (!beside.empty())
            write(folder / (name + "M01.XML"), beside);
    }
}

/// Reads of this process so far, as Linux counts them.
struct Reads {
    long long calls = 0;
    long long bytes = 0;
};
Reads reads() {
    Reads found;
    std::ifstream counters("/proc/self/io");
    std::string name;
    for (long long value = 0; counters >> name >> value;) {
        if (name == "rchar:")
            found.bytes = value;
        if (name == "syscr:")
            found.calls = value;
    }
    return found;
}

void probe(const char* what, const std::filesystem::path& folder) {
    const std::vector<std::filesystem::path> paths{folder};
    const auto found = Pack::clips(paths, {}).clips;
    const Reads before = reads();
    const auto start = std::chrono::steady_clock::now();
    std::size_t withTimecode = 0;
    for (const PackClip& clip : found)
        withTimecode += Pack::header(clip.source).timecode ? 1 : 0;
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const Reads after = reads();
    const auto count = static_cast<double>(found.size());
    std::printf("%-28s %zu of %zu with timecode, per clip %.2f reads, %.0f bytes, %.3f ms\n", what,
                withTimecode, found.size(), static_cast<double>(after.calls - before.calls) / count,
                static_cast<double>(after.bytes - before.bytes) / count, seconds * 1e3 / count);
}

} // namespace

int main(int argc, char** argv) try {
    const std::filesystem::path folder = argc > 1 ? argv[1] : "cameras";
    const test::CameraClip bare{.pictures = 250};
    test::Movie track = test::movieOf(bare);
    test::addTimecodePerPicture(track, 90'000, bare.pictures);
    const std::string document = test::sonyDocument("25", "false", "12000001");
    test::CameraClip embedded = bare;
    embedded.document = document;
    test::CameraClip all = embedded;
    all.sample = test::rtmdSample(1, 0, 0, 12, false);
    make(folder / "track", test::build(track), {});
    make(folder / "none", test::build(bare), {});
    make(folder / "document", test::build(embedded), {});
    make(folder / "beside", test::build(bare), document);
    make(folder / "all", test::build(all), document);
    probe("timecode track", folder / "track");
    probe("no timecode anywhere", folder / "none");
    probe("document in the clip", folder / "document");
    probe("document beside the clip", folder / "beside");
    probe("both, and metadata samples", folder / "all");
} catch (...) {
    (void)std::fprintf(stderr, "%s\n", Pack::currentErrorDescription().c_str());
    return 1;
}
