// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/assembly.h"

#include <cmath>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "media/audio/ordered_workers.h"
#include "media/base/error.h"
#include "pack/copy_names.h"
#include "pack/growing_zip.h"
#include "pack/header_probe.h"
#include "pack/report.h"
#include "pack/target.h"
#include "platform/clean_up.h"
#include "platform/file.h"
#include "platform/text.h"

namespace fs = std::filesystem;

namespace Pack {

namespace {

/// The file system's refusal as a sentence: "The zip can't be written in /media/Disk: no space left on
/// device."
[[noreturn]] void fail(const std::string& what, const std::error_code& code) {
    throw media::Error(media::Error::Category::io, what + ": " + platform::reason(code) + ".");
}

/// Runs a step whose failure is a system error, and says what could not be done.
template <typename Step>
auto orFail(const std::string& what, Step step) {
    try {
        return step();
    } catch (const std::system_error& error) {
        fail(what, error.code());
    }
}

/// "The zip can't be written in /media/Disk".
std::string cannotWrite(std::string_view what, const fs::path& folder) {
    return std::string(what).append(" can't be written in ") + platform::validUTF8(folder.native());
}

/// Why nothing can be put beside the zip, and the way out.
[[noreturn]] void failBeside(const fs::path& zip, const std::error_code& code) {
    const std::string folder = platform::validUTF8(zip.parent_path().native());
    std::error_code ignored;
    if ((code == std::errc::no_such_file_or_directory || code == std::errc::invalid_argument) &&
        fs::is_directory(zip.parent_path(), ignored))
        throw PackError::failed("The zip can't be saved as " + platform::validUTF8(zip.filename().native()) +
                                ": the disk of " + folder + " takes no such names.");
    throw PackError::failed(code == std::errc::no_such_file_or_directory
                                ? "There is no folder " + folder +
                                      " to save the zip in: make it, or save the zip somewhere else."
                                : "The folder " + folder + " can't be written in: " + platform::reason(code) +
                                      ". The zip needs another place.");
}

/// The working folder, made. Somebody else may take the chosen name in between.
std::unique_ptr<platform::TemporaryFolder> makeWorkingFolder(const fs::path& zip) {
    platform::removeLeftovers(zip.parent_path());
    try {
        for (;;) {
            try {
                return std::make_unique<platform::TemporaryFolder>(folder(zip));
            } catch (const std::system_error& error) {
                if (error.code() != std::errc::file_exists)
                    throw;
            }
        }
    } catch (const std::system_error& error) {
        failBeside(zip, error.code());
    }
}

/// What the zip's entries stand under: its own name, unless nothing but full stops would be left of that.
fs::path rootName(const fs::path& zip) {
    const fs::path stem = zip.stem();
    return stem == "." || stem == ".." ? zip.filename() : stem;
}

/// Makes the folders of a copy, one by one: the working folder itself is never made anew once it is gone.
void makeFolders(const fs::path& workingFolder, const fs::path& folders) {
    fs::path path = workingFolder;
    for (const fs::path& component : folders) {
        path /= component;
        orFail("The folder " + platform::validUTF8(path.native()) + " can't be made",
               [&] { fs::create_directory(path); });
    }
}

/// Opens each clip but the first while the one before is packed.
class ClipsAhead {
  public:
    explicit ClipsAhead(std::span<const PackClip> clips) : clips_(clips) {}

    /// Has the clip after this one opened, and gives what opens this one. Goes from the first to the last.
    [[nodiscard]] std::function<media::Asset()> goTo(std::size_t index) {
        while (taken_ < index) { // nobody asked for it
            try {
                (void)take();
            } catch (const std::exception&) {
                continue;
            }
        }
        if (index + 1 < clips_.size())
            workers_.submit([source = clips_[index + 1].source] { return openClip(source); });
        return [this, index] { return taken_ == index ? take() : openClip(clips_[index].source); };
    }

  private:
    media::Asset take() {
        ++taken_;
        return workers_.take();
    }

    std::span<const PackClip> clips_;
    std::size_t taken_ = 1; ///< number of the clip whose result comes next
    media::audio::OrderedWorkers<media::Asset> workers_{1, "Ferrowick.open"};
};

/// The run over the clips into the working folder.
class Run {
  public:
    Run(platform::TemporaryFolder& workingFolder, ScratchAudio audio, const MakeCallbacks& callbacks,
        const std::function<WriteCopy>& writeCopy)
        : workingFolder_(workingFolder), audio_(audio), callbacks_(callbacks), writeCopy_(writeCopy),
          isCancelled_(callbacks.isCancelled ? callbacks.isCancelled : [] { return false; }) {}

    /// The clip, packed as the copy that `choice` names: its file, when it is there in the end. Throws
    /// PackError::cancelled; everything else that goes wrong is the clip's outcome.
    std::optional<fs::path> pack(const PackClip& clip, const CopyNames::Choice& choice,
                                 const std::function<media::Asset()>& opened) {
        if (isCancelled_())
            throw PackError::cancelled();
        const PackClip named{clip.source, choice.path, clip.size};
        fs::path copy = choice.path + ".mov";
        Outcome outcome = PackFailure{};
        bool isPacked = false;
        try {
            PackResult result = writeSomewhere(named, copy, opened);
            if (choice.isNumbered)
                result.notes.push_back("copy named " + fs::path(choice.path).filename().native());
            outcome = std::move(result);
            isPacked = true;
        } catch (const PackError& error) {
            if (error.kind() == PackError::Case::cancelled)
                throw;
            outcome = failed(copy);
        } catch (const std::exception&) {
            outcome = failed(copy);
        }
        outcomes_.emplace_back(isPacked ? named : clip, std::move(outcome));
        if (callbacks_.finished)
            callbacks_.finished(outcomes_.back().first, outcomes_.back().second);
        return isPacked ? std::optional(workingFolder_.path() / copy) : std::nullopt;
    }

    [[nodiscard]] std::string report() const { return Pack::report(outcomes_, audio_); }

  private:
    /// Writes the copy as `copy` in the working folder, or, where the disk takes no such name, as what `copy`
    /// is then: FAT knows no colons, and a path may be too long there.
    PackResult writeSomewhere(const PackClip& clip, fs::path& copy,
                              const std::function<media::Asset()>& opened) {
        try {
            return write(clip, copy, opened);
        } catch (const media::Error&) {
            const fs::path plain = platform::hiddenName() + ".mov";
            if (takes(copy) || !takes(plain))
                throw;
            copy = plain;
        }
        return write(clip, copy, opened);
    }

    /// Whether the disk lets a copy of that name be made.
    bool takes(const fs::path& copy) {
        try {
            makeFolders(workingFolder_.path(), copy.parent_path());
            (void)platform::WritableFile::create(workingFolder_.path() / copy);
            return fs::remove(workingFolder_.path() / copy);
        } catch (const std::exception&) {
            return false;
        }
    }

    PackResult write(const PackClip& clip, const fs::path& copy,
                     const std::function<media::Asset()>& opened) {
        workingFolder_.willHold(copy.native());
        makeFolders(workingFolder_.path(), copy.parent_path());
        const CopyJob job{clip, workingFolder_.path() / copy, audio_, opened};
        // Many sample buffers make little difference to see.
        constexpr double smallestStep = 0.01;
        report(job.clip, 0);
        const auto progress = [&, last = 0.0](double fraction) mutable {
            if (fraction - last >= smallestStep) {
                last = fraction;
                report(job.clip, fraction);
            }
        };
        return writeCopy_(job, {progress, isCancelled_});
    }

    void report(const PackClip& clip, double fraction) {
        if (callbacks_.item)
            callbacks_.item(clip, fraction);
    }

    /// Call it inside a catch block.
    PackFailure failed(const fs::path& copy) const {
        PackFailure failure = currentFailure();
        std::error_code ignored;
        fs::remove(workingFolder_.path() / copy, ignored);
        return failure;
    }

    platform::TemporaryFolder& workingFolder_;
    ScratchAudio audio_;
    const MakeCallbacks& callbacks_;
    const std::function<WriteCopy>& writeCopy_;
    std::function<bool()> isCancelled_;
    std::vector<std::pair<PackClip, Outcome>> outcomes_;
};

} // namespace

void make(std::span<const PackClip> clips, const fs::path& zip, ScratchAudio audio,
          const MakeCallbacks& callbacks, const std::function<WriteCopy>& writeCopy) {
    const fs::path file = target(zip, clips);
    const std::string noZip = cannotWrite("The zip", file.parent_path());
    const auto workingFolder = makeWorkingFolder(file);
    const auto archive = orFail(
        noZip, [&] { return std::make_unique<GrowingZip>(workingFolder->path(), file, rootName(zip)); });
    Run run(*workingFolder, audio, callbacks, writeCopy);
    CopyNames names(clips, platform::longestName(workingFolder->path()));
    ClipsAhead ahead(clips);
    for (std::size_t index = 0; index < clips.size(); ++index) {
        orFail(noZip, [&] { archive->check(); });
        const CopyNames::Choice choice = names.choose(index);
        const std::optional<fs::path> copy = run.pack(clips[index], choice, ahead.goTo(index));
        if (!copy)
            continue;
        names.take(choice.path);
        orFail(noZip, [&] { archive->append({*copy, choice.path + ".mov"}); });
    }
    if (callbacks.saving)
        callbacks.saving();
    workingFolder->willHold(reportName);
    orFail(cannotWrite("The report", workingFolder->path()),
           [&] { platform::writeTextAtomically(workingFolder->path() / reportName, run.report()); });
    (void)target(zip); // what is there may have changed since the pack began
    orFail(noZip, [&] { archive->save(); });
}

fs::path folder(const fs::path& zip) {
    const fs::path parent = zip.parent_path();
    const std::string name = zip.stem().native();
    const std::size_t longest = platform::longestName(parent);
    fs::path candidate = parent / withSuffix(name, "", longest);
    // A link that leads nowhere is in the way too, and so is a zip without an extension that is to come.
    const auto isTaken = [&] {
        std::error_code error;
        return candidate == zip || fs::exists(fs::symlink_status(candidate, error));
    };
    for (int number = 2; isTaken(); ++number)
        candidate = parent / withSuffix(name, " " + std::to_string(number), longest);
    return candidate;
}

void zipFolder(const fs::path& folder, const fs::path& zip) {
    const fs::path file = target(zip);
    orFail(cannotWrite("The zip", file.parent_path()),
           [&] { GrowingZip(folder, file, rootName(zip)).save(); });
}

std::int64_t estimatedSize(std::span<const ClipHeader> headers, ScratchAudio audio) {
    constexpr double framesPerSecond = 25; // of a clip that does not say
    constexpr double bytesPerTimecode = 4;
    double size = 0;
    for (const ClipHeader& header : headers) {
        switch (audio) {
        case ScratchAudio::lossless:
            size += header.duration * header.audioBytesPerSecond;
            break;
        case ScratchAudio::compressed:
            size += header.duration * static_cast<double>(header.audioChannels * compressedBitRate) * 0.125;
            break;
        case ScratchAudio::none:
            size += header.duration * header.fps.value_or(framesPerSecond) * bytesPerTimecode;
            break;
        }
    }
    return std::abs(size) < 0x1p63 ? static_cast<std::int64_t>(size) : 0;
}

} // namespace Pack
