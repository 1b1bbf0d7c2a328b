// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/quicktime/writer/asset_writer.h"

#include <mutex>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "media/base/error.h"
#include "media/quicktime/writer/chunk_sequencer.h"
#include "media/quicktime/writer/movie_header_writer.h"
#include "media/quicktime/writer/movie_output.h"
#include "media/quicktime/writer/writer_lanes.h"
#include "platform/file.h"
#include "platform/text.h"

namespace media {

namespace {

Error cannotWrite(Error::Category category, const std::string& reason, const std::string& place = {}) {
    return {category, "The copy can't be written" + place + ": " + reason + "."};
}

/// Whatever went wrong in writing `destination` as the media layer's error.
[[noreturn]] void rethrow(const std::exception_ptr& error, const std::filesystem::path& destination) {
    try {
        std::rethrow_exception(error);
    } catch (const Error&) {
        throw;
    } catch (const std::system_error& refused) {
        throw cannotWrite(Error::Category::io, platform::reason(refused.code()),
                          " in " + platform::validUTF8(destination.parent_path().native()));
    } catch (const std::bad_alloc&) {
        throw cannotWrite(Error::Category::io, "not enough memory");
    } catch (const std::exception& other) {
        throw cannotWrite(Error::Category::io, other.what());
    }
}

} // namespace

class AssetWriter::Implementation {
  public:
    Implementation(std::filesystem::path path, std::function<void()> moreRoom)
        : destination(std::move(path)), spill(destination.parent_path()),
          sequencer([this](std::size_t lane, const Chunk& chunk) { write(lane, chunk); },
                    std::move(moreRoom)) {}

    void write(std::size_t lane, const Chunk& chunk) {
        quicktime::MovieOutput& file = output.value();
        const std::uint64_t offset = file.position();
        file.append(chunk.data);
        lanes[lane]->chunkWritten(offset, chunk.samples);
    }

    WriterInput& add(std::unique_ptr<WriterLane> lane) { return *lanes.emplace_back(std::move(lane)); }

    /// Runs a step that writes; its failure is the writer's.
    template <typename Step>
    void attempt(Step step) {
        try {
            step();
        } catch (...) {
            sequencer.stop(std::current_exception());
            discard();
            rethrow(sequencer.error(), destination);
        }
    }

    /// Removes the unfinished file. It stays open: a lane may be writing its last chunk.
    void discard() noexcept {
        const std::lock_guard guard(fileLock);
        if (std::exchange(unfinished, false)) {
            std::error_code ignored;
            std::filesystem::remove(destination, ignored);
        }
    }

    void create() {
        const std::lock_guard guard(fileLock);
        output.emplace(destination);
        unfinished = true;
    }

    void complete() {
        if (const auto error = sequencer.error())
            std::rethrow_exception(error);
        if (sequencer.stopped() || !output)
            throw cannotWrite(Error::Category::io, "it was stopped");
        std::vector<quicktime::WrittenTrack*> tracks;
        for (const auto& lane : lanes)
            tracks.push_back(&lane->complete(sessionEnd));
        output->endMovieData();
        quicktime::writeMovieHeader(*output, tracks, metadata);
        output->close();
        const std::lock_guard guard(fileLock);
        if (!unfinished)
            throw cannotWrite(Error::Category::io, "it was stopped");
        if (!std::filesystem::exists(destination)) // with its folder, which a person may move away
            throw std::system_error(std::make_error_code(std::errc::no_such_file_or_directory));
        unfinished = false;
    }

    std::filesystem::path destination;
    quicktime::SpillFile spill;
    ChunkSequencer sequencer;
    std::vector<std::unique_ptr<WriterLane>> lanes;
    std::vector<MetadataItem> metadata;
    std::optional<Time> sessionEnd;
    std::optional<quicktime::MovieOutput> output;
    std::mutex fileLock;     // guards `unfinished`
    bool unfinished = false; ///< the file is there and incomplete
};

AssetWriter::AssetWriter(std::filesystem::path destination, std::function<void()> moreRoom)
    : implementation_(std::make_unique<Implementation>(std::move(destination), std::move(moreRoom))) {}

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
        makeEncodedLane(implementation_->sequencer, implementation_->spill, audio::makeEncoder(settings)));
}

WriterInput& AssetWriter::addPassThroughInput(const AudioStreamDescription& format,
                                              std::vector<std::byte> sampleEntry) {
    return implementation_->add(makePassThroughLane(implementation_->sequencer, implementation_->spill,
                                                    format, std::move(sampleEntry)));
}

void AssetWriter::start() {
    implementation_->attempt([this] { implementation_->create(); });
}

void AssetWriter::endSession(Time end) {
    implementation_->sessionEnd = end;
}

void AssetWriter::finish() {
    implementation_->attempt([this] { implementation_->complete(); });
}

void AssetWriter::cancel() noexcept {
    implementation_->sequencer.stop(nullptr);
    implementation_->discard();
}

bool AssetWriter::failed() const noexcept {
    return implementation_->sequencer.error() != nullptr;
}

} // namespace media
