// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/pack_progress.h"

#include <algorithm>
#include <cmath>

#include "platform/text.h"

namespace CLI {

namespace {

constexpr std::chrono::milliseconds untilShown(500);
constexpr std::chrono::milliseconds betweenLines(100);
constexpr std::chrono::seconds untilTimeIsKnown(2);

/// A clip of unknown size counts a little, so that no sum is 0.
double weight(const PackClip& clip) {
    return static_cast<double>(std::max<std::int64_t>(clip.size, 1));
}

std::string timeText(std::chrono::seconds time) {
    const auto seconds = time.count();
    if (seconds < 60)
        return std::to_string(seconds) + " s";
    const auto minutes = (seconds + 30) / 60;
    if (minutes < 60)
        return std::to_string(minutes) + " min";
    return std::to_string(minutes / 60) + " h " + std::to_string(minutes % 60) + " min";
}

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// The end of the name that is at most so many columns wide. What is not ASCII may be two columns wide.
std::string tail(const std::string& name, std::size_t columns) {
    constexpr std::size_t ellipsis = 2;
    std::size_t width = 0;
    std::size_t begin = name.size();
    std::size_t fitting = begin; // with an ellipsis before it
    while (begin > 0) {
        std::size_t before = begin - 1;
        while (before > 0 && continuesCharacter(name[before]))
            --before;
        width += begin - before > 1 ? 2 : 1;
        if (width > columns)
            return fitting < name.size() ? "…" + name.substr(fitting) : std::string();
        begin = before;
        if (width + ellipsis <= columns)
            fitting = begin;
    }
    return name;
}

} // namespace

std::string progressLine(const Progress& progress, std::size_t columns) {
    const std::size_t width = columns > 0 ? columns - 1 : 0; // a full line would begin the next one
    const std::string share =
        std::to_string(static_cast<int>(std::clamp(progress.share, 0.0, 1.0) * 100)) + "%";
    std::string text =
        "Clip " + std::to_string(progress.number) + " of " + std::to_string(progress.count) + ", " + share;
    if (progress.left)
        text += ", " + timeText(*progress.left) + " left";
    if (text.size() > width)
        return share.substr(0, width);
    constexpr std::string_view separator = ": ";
    if (text.size() + separator.size() >= width)
        return text;
    const std::string name = tail(platform::oneLine(progress.name), width - text.size() - separator.size());
    return name.empty() ? text : text + std::string(separator) + name;
}

PackProgress::PackProgress(Console& console, std::span<const PackClip> clips)
    : console_(console), count_(clips.size()), next_(start_ + untilShown) {
    for (const PackClip& clip : clips)
        total_ += weight(clip);
}

void PackProgress::step(const PackClip& clip, double fraction) {
    if (!console_.isTerminal())
        return;
    const std::lock_guard guard(lock_);
    current_ = weight(clip) * std::clamp(fraction, 0.0, 1.0);
    if (name_ != clip.packPath)
        name_ = clip.packPath;
    show();
}

void PackProgress::finish(const PackClip& clip) {
    const std::lock_guard guard(lock_);
    done_ += weight(clip);
    current_ = 0;
    ++ended_;
}

void PackProgress::saving() {
    const std::lock_guard guard(lock_);
    saving_ = true;
    show();
}

void PackProgress::show() {
    const Clock::time_point now = Clock::now();
    const bool isDue = saving_ ? now >= start_ + untilShown : now >= next_;
    if (!isDue)
        return;
    next_ = now + betweenLines;
    Progress progress{ended_ + 1, count_, (done_ + current_) / total_, std::nullopt, name_};
    const std::chrono::duration<double> elapsed = now - start_;
    if (elapsed >= untilTimeIsKnown && progress.share > 0) {
        const double left = elapsed.count() / progress.share * (1 - progress.share);
        constexpr double longest = 1e6;
        progress.left = std::chrono::seconds(std::llround(std::clamp(left, 0.0, longest)));
    }
    console_.show([&](std::size_t columns) {
        return saving_ ? std::string("Saving the zip").substr(0, columns > 0 ? columns - 1 : 0)
                       : progressLine(progress, columns);
    });
}

} // namespace CLI
