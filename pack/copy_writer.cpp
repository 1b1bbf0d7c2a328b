// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/copy_writer.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <mutex>

#include "media/audio/level.h"
#include "media/open.h"
#include "media/quicktime/writer/asset_writer.h"
#include "media/quicktime/writer/lane_crew.h"
#include "media/track/track_output.h"
#include "pack/copy_check.h"
#include "pack/header_probe.h"
#include "pack/timecode_track.h"
#include "platform/process.h"

namespace Pack {

namespace {

/// A lane is audible when its peak is above this: -60 dB of full scale.
constexpr double audiblePeak = 0.001;

/// What the lanes of one copy share.
struct Shared {
    const CopyHooks& hooks;
    double seconds;                               ///< of the clip
    std::optional<StartTimecode> startTimecode{}; ///< its lane's alone until all lanes have ended
    std::mutex lock{};                            // guards the error
    std::exception_ptr readError{};               ///< of the first lane that could not read
    std::atomic<bool> readFailed{false};          ///< makes the other lanes stop
};

/// One track being copied.
class Lane final : public media::LaneWork {
  public:
    /// `bits`: width of the decoded samples; none for timecode and sound passed through.
    Lane(Shared& shared, std::size_t number, media::TrackOutput output, media::WriterInput& input,
         std::optional<int> bits)
        : shared_(shared), number_(number), output_(std::move(output)), input_(input), bits_(bits) {}

    [[nodiscard]] bool hasRoom() const noexcept override { return input_.hasRoom(); }
    [[nodiscard]] double position() const noexcept override { return position_; }
    [[nodiscard]] bool step() noexcept override {
        bool goesOn = false;
        try {
            goesOn = copyNextBuffer();
        } catch (...) {
            const std::lock_guard guard(shared_.lock);
            if (!shared_.readError)
                shared_.readError = std::current_exception();
            shared_.readFailed = true;
        }
        if (!goesOn)
            input_.markAsFinished();
        return goesOn;
    }

    [[nodiscard]] double peak() const noexcept { return peak_; }

  private:
    bool copyNextBuffer() {
        constexpr std::size_t firstSoundLane = 1;
        if (shared_.hooks.isCancelled() || shared_.readFailed || !output_.copyNextSampleBuffer(buffer_))
            return false;
        position_ = buffer_.presentationTime.seconds();
        if (number_ == 0)
            shared_.startTimecode->add(buffer_);
        else if (bits_)
            peak_ = std::max(peak_, media::audio::peak(buffer_.data, *bits_));
        if (number_ == firstSoundLane)
            shared_.hooks.progress(std::clamp(position_ / shared_.seconds, 0.0, 1.0));
        return input_.append(buffer_);
    }

    Shared& shared_;
    std::size_t number_; ///< 0 is the timecode's
    media::TrackOutput output_;
    media::WriterInput& input_;
    std::optional<int> bits_;
    media::SampleBuffer buffer_;
    double position_ = 0; ///< seconds
    double peak_ = 0;
};

/// The smallest integer width that holds the source's depth.
int decodedBits(const media::AudioStreamDescription& format) {
    const std::uint32_t source = format.isLinearPCM() ? format.bitsPerChannel : 24;
    return source <= 16 ? 16 : source <= 24 ? 24 : 32;
}

/// The text of the first item whose identifier ends with the key.
std::string value(const media::Asset& asset, std::string_view key) {
    for (const media::MetadataItem& item : asset.metadata())
        if (item.identifier.ends_with(key))
            return item.stringValue.value_or(std::string());
    return {};
}

std::string cameraOf(const media::Asset& asset) {
    const std::string supplier = value(asset, "applicationsuppliername");
    const std::string application = value(asset, "applicationname");
    return supplier.empty() || application.empty() ? supplier + application : supplier + " " + application;
}

class Copy {
  public:
    Copy(const media::Asset& asset, const std::filesystem::path& to, const CopyHooks& hooks)
        : asset_(asset),
          writer_(to, [this] { crew_.moreRoom(); }), shared_{hooks,
                                                             std::max(asset.duration().seconds(), 0.001)} {}

    void setMetadata(const std::string& source, const std::string& camera, const std::string& umid) {
        std::vector<media::MetadataItem> items;
        const auto add = [&](std::string_view key, const std::string& text) {
            if (!text.empty())
                items.push_back({std::string(metadataKeyPrefix).append(key), text});
        };
        add("source", source);
        add("camera", camera);
        add("umid", umid);
        writer_.setMetadata(std::move(items));
    }

    void addTimecode(const media::Track& track) {
        shared_.startTimecode.emplace(track);
        add(media::TrackOutput(asset_, track), writer_.addTimecodeInput(track));
    }

    /// `threads` may encode the track at once. A track whose format nobody described gets no lane.
    void addSound(const media::Track& track, ScratchAudio mode, int threads) {
        if (track.formatDescriptions.empty() || !track.formatDescriptions.front().audio)
            return;
        sources_.emplace_back(track);
        const media::AudioStreamDescription& format = *track.formatDescriptions.front().audio;
        if (format.isFloat()) {
            add(media::TrackOutput(asset_, track),
                writer_.addPassThroughInput(format, track.formatDescriptions.front().sampleEntry));
            return;
        }
        const int bits = decodedBits(format);
        media::TrackOutput output(asset_, track, bits);
        media::audio::EncoderSettings settings;
        settings.sampleRate = output.sampleRate();
        settings.channels = output.channels();
        settings.inputBits = bits;
        settings.threads = threads;
        if (mode == ScratchAudio::compressed) {
            settings.bitRatePerChannel = compressedBitRate;
            keptLossless_ =
                keptLossless_ || !media::audio::isCompressible(settings.sampleRate, settings.channels);
        }
        media::WriterInput& input = writer_.addAudioInput(settings);
        add(std::move(output), input, bits);
    }

    /// Copies all lanes side by side and completes the file. Throws what went wrong.
    void run() {
        writer_.start();
        std::vector<media::LaneWork*> lanes;
        for (const auto& lane : lanes_)
            lanes.push_back(lane.get());
        crew_.run(lanes, std::min(lanes.size(), mostThreads()));
        if (shared_.hooks.isCancelled()) {
            writer_.cancel();
            throw PackError::cancelled();
        }
        if (shared_.readError) {
            writer_.cancel();
            std::rethrow_exception(shared_.readError);
        }
        writer_.endSession(asset_.duration());
        writer_.finish();
    }

    [[nodiscard]] const Timecode& timecode() const { return shared_.startTimecode->value(); }
    /// The tracks that the copy's sound was made from, in its order.
    [[nodiscard]] const auto& sources() const { return sources_; }
    /// Is there sound that should have been compressed and can't be?
    [[nodiscard]] bool keptLossless() const { return keptLossless_; }

    /// The numbers, from 1, of the sound lanes with sound on them.
    [[nodiscard]] std::vector<std::int64_t> audible() const {
        std::vector<std::int64_t> numbers;
        for (std::size_t number = 1; number < lanes_.size(); ++number) // after the timecode's
            if (lanes_[number]->peak() > audiblePeak)
                numbers.push_back(static_cast<std::int64_t>(number));
        return numbers;
    }

  private:
    void add(media::TrackOutput output, media::WriterInput& input, std::optional<int> bits = {}) {
        lanes_.push_back(std::make_unique<Lane>(shared_, lanes_.size(), std::move(output), input, bits));
    }

    /// Lanes wait for the disk, too: more threads than processors keep its queue full then.
    static std::size_t mostThreads() { return std::max<std::size_t>(16, 2 * platform::processorCount()); }

    const media::Asset& asset_;
    media::LaneCrew crew_;
    media::AssetWriter writer_;
    Shared shared_;
    std::vector<std::unique_ptr<Lane>> lanes_;
    std::vector<std::reference_wrapper<const media::Track>> sources_; ///< of the sound lanes
    bool keptLossless_ = false;
};

/// Lanes keep the cores busy by themselves; only a clip with fewer sound tracks than cores has some to spare.
int threadsPerTrack(std::size_t tracks) {
    return static_cast<int>(std::max<std::size_t>(1, platform::processorCount() / tracks));
}

std::vector<std::string> notesOf(const PackResult& result, ScratchAudio mode, bool keptLossless) {
    if (mode == ScratchAudio::none)
        return {"timecode only"};
    if (result.audioTracks == 0)
        return {"no scratch audio: sync by timecode only"};
    std::vector<std::string> notes;
    if (result.audible.empty())
        notes.emplace_back("scratch audio is silent: sync by timecode only");
    if (keptLossless)
        notes.emplace_back("kept lossless");
    return notes;
}

} // namespace

PackResult write(const media::Asset& asset, const CopyJob& job, const CopyHooks& hooks) {
    const media::Track& timecode = timecodeTrack(asset);
    std::vector<std::reference_wrapper<const media::Track>> audioTracks;
    if (job.audio != ScratchAudio::none)
        audioTracks = asset.tracks(media::MediaType::audio);
    const auto videoTracks = asset.tracks(media::MediaType::video);

    std::error_code ignored;
    std::filesystem::remove(job.to, ignored);

    PackResult result;
    result.duration = asset.duration().seconds();
    result.audioTracks = static_cast<std::int64_t>(audioTracks.size());
    result.camera = cameraOf(asset);
    result.umid = value(asset, "package.material.packageid");

    bool keptLossless = false;
    {
        Copy copy(asset, job.to, hooks);
        copy.setMetadata(job.clip.fileName(), result.camera, result.umid);
        copy.addTimecode(timecode);
        for (const media::Track& track : audioTracks)
            copy.addSound(track, job.audio, threadsPerTrack(audioTracks.size()));
        copy.run();
        asset.checkUnchanged();
        result.timecode = copy.timecode();
        result.audible = copy.audible();
        keptLossless = copy.keptLossless();
        checkLengths(media::openAsset(job.to), asset, copy.sources());
    }

    const double frameRate =
        videoTracks.empty() ? 0 : static_cast<float>(videoTracks.front().get().nominalFrameRate);
    result.fps = frameRate > 0 ? frameRate : static_cast<double>(result.timecode.base);
    const auto frames = frameCount(result.fps, result.duration);
    if (!frames)
        throw PackError::failed("Couldn't read the clip.");
    result.frames = *frames;
    const auto size = std::filesystem::file_size(job.to, ignored);
    result.packSize = ignored ? 0 : static_cast<std::int64_t>(size);
    result.notes = notesOf(result, job.audio, keptLossless);
    return result;
}

PackResult write(const CopyJob& job, const CopyHooks& hooks) {
    return write(job.opened ? job.opened() : openClip(job.clip.source), job, hooks);
}

} // namespace Pack
