// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/export_run.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "model/text.h"

namespace model {

namespace {

/// A read that has not noticed the wish to stop by then hangs.
constexpr std::chrono::milliseconds stopPatience(800);

double fractionOf(double value) {
    return value > 0 ? std::min(value, 1.0) : 0; // 0 for what is not a number
}

/// On the export's thread.
ExportRun::End make(const PackOperations& operations, const std::vector<PackClip>& clips,
                    const std::filesystem::path& zip, ScratchAudio audio,
                    const Pack::MakeCallbacks& callbacks) {
    try {
        operations.make(clips, zip, audio, callbacks);
        return {.size = operations.fileSize(zip)};
    } catch (const PackError& error) {
        if (error.kind() == PackError::Case::cancelled)
            return {};
        return {.failure = text(error.errorDescription())};
    } catch (const std::exception&) {
        return {.failure = text(Pack::currentErrorDescription())};
    }
}

} // namespace

ExportRun::ExportRun(ClipList& list, std::filesystem::path zip, ScratchAudio audio, Hooks hooks)
    : list_(list), zip_(std::move(zip)), audio_(audio),
      hooks_(std::make_shared<const Hooks>(std::move(hooks))) {
    PathMap<ExportProgress::Clip> clips;
    for (const auto& row : list.rows()) {
        if (!row->isPackable())
            continue;
        const ClipHeader& header = *row->header();
        const double length = std::isfinite(header.duration) ? std::max(header.duration, 0.001) : 0.001;
        const double sound = header.duration * header.audioBytesPerSecond;
        clips_.push_back(row->clip());
        clips.emplace(row->id(), ExportProgress::Clip{length, std::isfinite(sound) ? sound : 0,
                                                      text(row->clip().fileName())});
    }
    list.clearResults();
    progress_.emplace(std::move(clips));
    stopping_.setSingleShot(true);
    stopping_.callOnTimeout([told = hooks_] { told->givenUp(); });
}

void ExportRun::start(const PackOperations& operations, Background& background) {
    background.workers.start("export", [this, &operations, queue = background.queue,
                                        clips = std::move(clips_), zip = zip_, audio = audio_,
                                        cancelled = cancelled_, told = hooks_] {
        const Pack::MakeCallbacks callbacks{
            .item =
                [this, &queue](const PackClip& clip, double fraction) {
                    queue->schedule([this, id = clip.id(), fraction] { stepped(id, fraction); });
                },
            .finished =
                [this, &queue](const PackClip& clip, const Outcome& outcome) {
                    queue->schedule([this, id = clip.id(), outcome] { finished(id, outcome); });
                },
            .isCancelled = [&cancelled] { return cancelled->isSet(); },
            .saving = [this, &queue] { queue->schedule([this] { saving(); }); },
        };
        queue->schedule([told, end = make(operations, clips, zip, audio, callbacks)] { told->end(end); });
    });
}

void ExportRun::stop() {
    if (!progress_)
        return;
    cancelled_->set();
    if (!progress_->saving && !stopping_.isActive())
        stopping_.start(stopPatience);
}

std::optional<ExportProgress> ExportRun::takeProgress() {
    stopping_.stop();
    return std::exchange(progress_, std::nullopt);
}

void ExportRun::stepped(const std::filesystem::path& id, double fraction) {
    if (!progress_)
        return;
    list_.setProgress(id, fractionOf(fraction));
    progress_->step(id, fractionOf(fraction));
    hooks_->progressed();
}

/// Also of an export that was given up: it may still save its pack.
void ExportRun::finished(const std::filesystem::path& id, const Outcome& outcome) {
    const auto* packed = std::get_if<PackResult>(&outcome);
    list_.setResult(id, outcome,
                    audio_ == ScratchAudio::none && packed != nullptr && packed->notes.size() == 1);
    if (!progress_)
        return;
    progress_->finish(id, packed != nullptr ? packed->packSize : 0);
    hooks_->progressed();
}

void ExportRun::saving() {
    if (!progress_)
        return;
    progress_->saving = true;
    stopping_.stop(); // no clip is being read any more, the end is near
    hooks_->progressed();
}

} // namespace model
