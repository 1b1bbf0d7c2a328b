// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/asset_writer.h"

#include <system_error>
#include <utility>

#include "media/chunk_sequencer.h"
#include "media/error.h"
#include "media/quicktime/movie_header_writer.h"
#include "media/quicktime/movie_output.h"
#include "media/writer_lanes.h"
#include "platform/file.h"

namespace media {

namespace {

/// The system's refusal as the media layer's error; everything else passes through.
[[noreturn]] void rethrow(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::system_error& refused) {
        const bool full = refused.code() == std::errc::no_space_on_device;
        throw Error(full ? Error::Category::noSpace : Error::Category::io,
                    "The copy can't be written: " + platform::reason(refused.code()) + ".");
    }
}

} // namespace

class AssetWriter::Implementation {
  public:
    explicit Implementation(std::filesystem::path path)
        : destination(std::move(path)), spill(destination.parent_path()),
          sequencer([this](std::size_t lane, const Chunk& chunk) {
              const std::uint64_t offset = output->position();
              output->append(chunk.data);
              lanes[lane]->chunkWritten(offset, chunk.samples);
          }) {}

    WriterInput& add(std::unique_ptr<WriterLane> lane) { return *lanes.emplace_back(std::move(lane)); }

    /// Runs a step that writes; its failure is the writer's.
    template <typename Step>
    void attempt(Step step) {
        try {
            step();
        } catch (...) {
            sequencer.stop(std::current_exception());
            discard();
            rethrow(sequencer.error());
        }
    }

    void discard() noexcept {
        if (std::exchange(created, false)) {
            output.reset();
            std::error_code ignored;
            std::filesystem::remove(destination, ignored);
        }
    }

    std::filesystem::path destination;
    quicktime::SpillFile spill;
    ChunkSequencer sequencer;
    std::vector<std::unique_ptr<WriterLane>> lanes;
    std::vector<MetadataItem> metadata;
    std::optional<Time> sessionEnd;
    std::optional<quicktime::MovieOutput> output;
    bool created = false; ///< the file is there and not finished
};

AssetWriter::AssetWriter(std::filesystem::path destination)
    : implementation_(std::make_unique<Implementation>(std::move(destination))) {}

AssetWriter::~AssetWriter() {
    cancel();
}

void AssetWriter::setMetadata(std::vector<MetadataItem> items) {
    implementation_->metadata = std::move(items);
}

WriterInput& AssetWriter::addTimecodeInput(const Track& source) {
    return implementation_->add(makeTimecodeLane(implementation_->sequencer, implementation_->spill, source));
}

WriterInput& AssetWriter::addAudioInput(const audio::EncoderSettings& settings) {
    return implementation_->add(
        makeEncodedLane(implementation_->sequencer, implementation_->spill, settings));
}

WriterInput& AssetWriter::addPassThroughInput(const AudioStreamDescription& format) {
    return implementation_->add(
        makePassThroughLane(implementation_->sequencer, implementation_->spill, format));
}

void AssetWriter::start() {
    implementation_->attempt([this] {
        implementation_->output.emplace(implementation_->destination);
        implementation_->created = true;
    });
}

void AssetWriter::endSession(Time end) {
    implementation_->sessionEnd = end;
}

void AssetWriter::finish() {
    implementation_->attempt([this] {
        if (const auto error = implementation_->sequencer.error())
            std::rethrow_exception(error);
        std::vector<quicktime::WrittenTrack*> tracks;
        for (const auto& lane : implementation_->lanes)
            tracks.push_back(&lane->complete(implementation_->sessionEnd));
        implementation_->output->endMovieData();
        quicktime::writeMovieHeader(*implementation_->output, tracks, implementation_->metadata);
        implementation_->output->close();
        implementation_->created = false;
    });
}

void AssetWriter::cancel() noexcept {
    implementation_->sequencer.stop(nullptr);
    implementation_->discard();
}

bool AssetWriter::failed() const noexcept {
    return implementation_->sequencer.error() != nullptr;
}

} // namespace media
