// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/growing_zip.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/folder.h"
#include "platform/thread_name.h"

namespace fs = std::filesystem;

namespace Pack {

namespace {

/// Copies that may wait: enough for the swings of a card of small clips, few enough for the disk.
constexpr std::size_t mostWaiting = 8;

} // namespace

GrowingZip::GrowingZip(fs::path workingFolder, const fs::path& zip, const fs::path& root)
    : workingFolder_(std::move(workingFolder)), archive_(zip, root) {
    try {
        thread_ = std::jthread([this](const std::stop_token& stop) { run(stop); });
    } catch (const std::system_error&) {
        return; // without one, then
    }
}

void GrowingZip::append(Copy copy) {
    if (!thread_.joinable())
        return appendNow(copy, {});
    waitFor(mostWaiting);
    {
        const std::lock_guard guard(lock_);
        waiting_.push_back(std::move(copy));
    }
    changed_.notify_all();
}

void GrowingZip::check() {
    const std::lock_guard guard(lock_);
    if (error_)
        std::rethrow_exception(error_);
}

void GrowingZip::save() {
    waitFor(0);
    archive_.addFolder(workingFolder_, [](const fs::path& file) { return file.extension() == ".mov"; });
    archive_.save();
}

void GrowingZip::waitFor(std::size_t most) {
    std::unique_lock guard(lock_);
    changed_.wait(guard, [&] { return error_ || waiting_.size() <= most; });
    if (error_)
        std::rethrow_exception(error_);
}

void GrowingZip::appendNow(const Copy& copy, const std::stop_token& stop) {
    archive_.addFile(copy.file, copy.name, true, stop);
    if (!platform::removeTree(copy.file))
        throw std::system_error(errno, std::generic_category(), "remove");
}

void GrowingZip::run(const std::stop_token& stop) {
    platform::nameThread("zip");
    std::unique_lock guard(lock_);
    while (changed_.wait(guard, stop, [this] { return !waiting_.empty(); })) {
        const Copy copy = std::move(waiting_.front());
        guard.unlock();
        std::exception_ptr error;
        try {
            appendNow(copy, stop);
        } catch (...) {
            error = std::current_exception();
        }
        guard.lock();
        waiting_.pop_front();
        error_ = error;
        changed_.notify_all();
        if (error_)
            return;
    }
}

} // namespace Pack
