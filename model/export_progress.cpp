// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/export_progress.h"

#include <QCoreApplication>
#include <algorithm>
#include <cmath>
#include <utility>

namespace model {

ExportProgress::ExportProgress(PathMap<Clip> exportedClips, Clock::time_point start)
    : clips(std::move(exportedClips)), started(start) {
    for (const auto& [id, clip] : clips) {
        total += clip.length;
        totalAudio += clip.audio;
    }
}

double ExportProgress::done() const noexcept {
    return std::min(finishedSeconds + currentSeconds, total);
}

QString ExportProgress::label() const {
    const auto translated = [](const char* text) {
        return QCoreApplication::translate("ExportProgress", text);
    };
    const QString processed =
        count() == 1
            ? translated(QT_TRANSLATE_NOOP("ExportProgress", "Processed %1 of 1 clip")).arg(finished.size())
            : translated(QT_TRANSLATE_NOOP("ExportProgress", "Processed %1 of %2 clips"))
                  .arg(finished.size())
                  .arg(count());
    if (saving)
        return translated(QT_TRANSLATE_NOOP("ExportProgress", "%1, saving the zip…")).arg(processed);
    const auto clip = current ? clips.find(*current) : clips.end();
    // Both at once: a file name may look like a place to put something in.
    return clip == clips.end() ? processed
                               : translated(QT_TRANSLATE_NOOP("ExportProgress", "%1, now %2"))
                                     .arg(processed, clip->second.name);
}

std::optional<double> ExportProgress::remaining(Clock::time_point now) const {
    const double elapsed = std::chrono::duration<double>(now - started).count();
    if (saving || elapsed < 2 || done() <= 0)
        return std::nullopt;
    const double seconds = elapsed / done() * (total - done());
    return std::isfinite(seconds) ? std::optional(seconds) : std::nullopt;
}

std::optional<std::int64_t> ExportProgress::estimatedSize() const {
    if (finishedBytes < 1 || !(finishedAudio > 0))
        return std::nullopt;
    const double size = static_cast<double>(finishedBytes) / finishedAudio * totalAudio;
    return size < 0x1p63 ? std::optional(static_cast<std::int64_t>(size)) : std::nullopt;
}

void ExportProgress::step(const std::filesystem::path& id, double fraction) {
    if (finished.contains(id))
        return;
    const auto clip = clips.find(id);
    current = id;
    currentSeconds = clip == clips.end() ? 0 : fraction * clip->second.length;
}

void ExportProgress::finish(const std::filesystem::path& id, std::int64_t bytes) {
    if (!finished.insert(id).second)
        return;
    if (const auto clip = clips.find(id); clip != clips.end()) {
        finishedSeconds += clip->second.length;
        finishedAudio += clip->second.audio;
    }
    finishedBytes += bytes;
    if (current && current->native() == id.native()) {
        current.reset();
        currentSeconds = 0;
    }
}

} // namespace model
