// SPDX-License-Identifier: GPL-3.0-or-later
// Any bytes as a clip, the whole way: opened, decoded, encoded and written as a copy, which is opened again.
// The last byte chooses the scratch sound. Nothing but a sentence may come out, and nothing may stay beside
// the copy.
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>

#include "media/open.h"
#include "pack/clip_records.h"
#include "pack/copy_writer.h"

namespace {

constexpr std::size_t largestInput = 64 << 10;
constexpr int mostBuffers = 32; ///< of all lanes; then the copy is cancelled

/// A folder in memory where the system has one.
const std::filesystem::path& folder() {
    static const std::filesystem::path made = [] {
        const std::filesystem::path memory = "/dev/shm";
        std::string name =
            ((std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path()) /
             "ferrowick-fuzz-XXXXXX")
                .string();
        if (mkdtemp(name.data()) == nullptr)
            std::abort();
        std::atexit([] { std::filesystem::remove_all(folder()); });
        return std::filesystem::path(name);
    }();
    return made;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0 || size > largestInput)
        return 0;
    const auto audio = static_cast<ScratchAudio>(data[size - 1] % 3);
    const auto bytes = std::as_bytes(std::span(data, size));
    const std::filesystem::path copy = folder() / "copy.mov";
    std::atomic<int> buffers = 0;
    try {
        const media::Asset asset = media::openAsset(media::io::memorySource({bytes.begin(), bytes.end()}));
        (void)Pack::write(asset, {{"clip.mov", "clip", static_cast<std::int64_t>(size)}, copy, audio},
                          {.isCancelled = [&] { return ++buffers > mostBuffers; }});
    } catch (const media::Error&) { // a sentence is as good an end as any other
    } catch (const PackError&) {
    }
    std::error_code ignored;
    std::filesystem::remove(copy, ignored);
    if (!std::filesystem::is_empty(folder()))
        std::abort();
    return 0;
}
