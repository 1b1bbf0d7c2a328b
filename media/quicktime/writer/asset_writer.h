// SPDX-License-Identifier: GPL-3.0-or-later
// Writes a QuickTime movie of timecode and sound, its tracks appended to from parallel lanes.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "media/audio/codec.h"
#include "media/track/container.h"
#include "media/track/sample_buffer.h"

namespace media {

class AssetWriter;

/// One track being written. Each input is appended to by one thread at a time; the inputs of a writer run in
/// parallel. No call waits for another track.
class WriterInput {
  public:
    virtual ~WriterInput() = default;
    /// False while this track is more than a second of media ahead of the slowest unfinished one: samples
    /// appended then are taken, but kept in memory.
    [[nodiscard]] virtual bool hasRoom() const noexcept = 0;
    /// Takes the next samples. False once the writer has failed or was cancelled. Never throws: what goes
    /// wrong is the writer's error.
    [[nodiscard]] virtual bool append(const SampleBuffer& buffer) noexcept = 0;
    /// No more samples for this track; other tracks are held back by it no longer. Must be called on every
    /// path.
    virtual void markAsFinished() noexcept = 0;
};

class AssetWriter {
  public:
    /// Nothing is created before `start`. `moreRoom` is told, from any thread that appends, that inputs may
    /// have room again.
    explicit AssetWriter(std::filesystem::path destination, std::function<void()> moreRoom = {});
    /// As `cancel`, unless the file was finished.
    ~AssetWriter();
    AssetWriter(const AssetWriter&) = delete;
    AssetWriter& operator=(const AssetWriter&) = delete;

    /// Movie-level items, written as QuickTime metadata (`mdta`) in this order; identifiers are the keys.
    void setMetadata(std::vector<MetadataItem> items);

    /// Tracks are written in the order in which they are added. The references live as long as the writer.
    /// Timecode: samples go in as `TrackOutput` hands them out; the track keeps the source's time scale,
    /// edits and sample description.
    WriterInput& addTimecodeInput(const Track& source);
    /// Sound to be encoded; throws Error when no encoder takes these settings.
    WriterInput& addAudioInput(const audio::EncoderSettings& settings);
    /// Linear PCM frames written unchanged, under the source's QuickTime sample description where it has one.
    WriterInput& addPassThroughInput(const AudioStreamDescription& format,
                                     std::vector<std::byte> sampleEntry = {});

    /// Creates the file. Throws Error.
    void start();
    /// The movie's length: the last timecode sample and its edit are made to end here.
    void endSession(Time end);
    /// Waits for nothing: every input is finished by now. Completes the file; throws the writer's error,
    /// after which the file is gone.
    void finish();
    /// Makes every append return false and removes the file. From any thread.
    void cancel() noexcept;
    [[nodiscard]] bool failed() const noexcept;

  private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

} // namespace media
