// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/command_line.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <vector>

#include "app/pack_progress.h"
#include "pack/assembly.h"
#include "pack/discovery.h"
#include "platform/clean_up.h"

namespace fs = std::filesystem;

namespace CLI {

namespace {

constexpr std::string_view usageLine = "usage: Ferrowick --pack OUT.zip PATH…";
constexpr const char* misplacedAudio =
    "no path. The sound is chosen right after the zip: --audio lossless, compressed or none.";

/// What is to be packed, how, and where to.
struct Inputs {
    fs::path output;
    ScratchAudio mode = ScratchAudio::lossless;
    std::vector<std::string> words; ///< the paths as they were typed
    std::vector<fs::path> paths;
};

/// An argument as an absolute path without "." and "..": links before a ".." are followed, as the system
/// would, those behind the last one keep their names. An empty argument stays empty.
fs::path absolutePath(const std::string& argument) {
    if (argument.empty())
        return {};
    std::error_code error;
    fs::path path = fs::absolute(argument, error);
    if (error)
        throw PackError::failed("The folder that this was started in is gone: " + argument +
                                " needs its whole path.");
    fs::path upToLastParent;
    fs::path after;
    for (const fs::path& component : path) {
        after /= component;
        if (component == "..") {
            upToLastParent /= after;
            after.clear();
        }
    }
    if (!upToLastParent.empty())
        if (const fs::path real = fs::weakly_canonical(upToLastParent, error); !error)
            path = real / after;
    path = path.lexically_normal();
    return path.has_filename() || !path.has_relative_path() ? path : path.parent_path();
}

std::optional<Inputs> parse(std::span<const std::string> arguments) {
    const auto start = std::ranges::find(arguments, "--pack");
    std::span<const std::string> rest(start, arguments.end());
    if (rest.size() < 3)
        return std::nullopt;
    Inputs inputs;
    inputs.output = absolutePath(rest[1]);
    // "newdir/", "." and ".." name folders, whether they are there or not.
    if (const fs::path last = fs::path(rest[1]).filename();
        !rest[1].empty() && (last.empty() || last == "." || last == ".."))
        inputs.output /= "";
    rest = rest.subspan(2);
    if (rest.size() >= 2 && rest[0] == "--audio") {
        // An unknown mode is not one: both words are paths then.
        if (const auto mode = scratchAudio(rest[1])) {
            inputs.mode = *mode;
            rest = rest.subspan(2);
        }
    }
    inputs.words.assign(rest.begin(), rest.end());
    for (const std::string& argument : rest)
        inputs.paths.push_back(absolutePath(argument));
    return inputs;
}

std::string list(const std::vector<std::int64_t>& numbers) {
    std::string text = "[";
    for (const std::int64_t number : numbers)
        text += (text.size() > 1 ? ", " : "") + std::to_string(number);
    return text + "]";
}

std::string line(const PackClip& clip, const PackResult& result) {
    std::string text = clip.packPath + ".mov " + result.timecode.label() + " " +
                       std::to_string(result.frames) + " frames, " + std::to_string(result.audioTracks) +
                       " tracks, sound on " + list(result.audible) + ", " + std::to_string(result.packSize) +
                       " bytes";
    for (const std::string& note : result.notes)
        text += (&note == &result.notes.front() ? " (" : "; ") + note;
    return result.notes.empty() ? text : text + ")";
}

/// What a place is called by whoever typed the arguments.
std::string typedName(const Inputs& inputs, const fs::path& place) {
    for (std::size_t index = 0; index < inputs.paths.size(); ++index) {
        const fs::path below = place.lexically_relative(inputs.paths[index]);
        if (below == ".")
            return inputs.words[index].empty() ? "\"\"" : inputs.words[index];
        if (!below.empty() && *below.begin() != "..")
            return (fs::path(inputs.words[index]) / below).native();
    }
    return place.native();
}

ExitCode run(const Inputs& inputs, Console& console) {
    const Pack::Found found = Pack::clips(inputs.paths, {});
    for (const Pack::Place& place : found.places) {
        const std::string name = typedName(inputs, place.path);
        console.note(name + ": " + (name.starts_with("--audio") ? misplacedAudio : place.reason));
    }
    ExitCode code = found.clipsMayBeMissing() ? notPacked : packed;
    PackProgress progress(console, found.clips);
    Pack::MakeCallbacks callbacks;
    callbacks.item = [&](const PackClip& clip, double fraction) { progress.step(clip, fraction); };
    callbacks.saving = [&] { progress.saving(); };
    callbacks.finished = [&](const PackClip& clip, const Outcome& outcome) {
        progress.finish(clip);
        if (const auto* result = std::get_if<PackResult>(&outcome)) {
            console.print(line(clip, *result));
        } else {
            const auto& failure = std::get<PackFailure>(outcome);
            console.print(clip.packPath + ": not packed: " + failure.description);
            if (!failure.reason.empty())
                console.note(clip.packPath + ": " + failure.reason);
            code = notPacked;
        }
    };
    Pack::make(found.clips, inputs.output, inputs.mode, callbacks);
    console.print("Saved " + inputs.output.native());
    return code;
}

} // namespace

ExitCode pack(std::span<const std::string> arguments, Console& console) {
    try {
        // Before there is any other thread.
        const platform::EndingSignals signals([&console](platform::Ending ending) { console.end(ending); });
        const std::optional<Inputs> inputs = parse(arguments);
        if (!inputs) {
            console.note(usageLine);
            return usage;
        }
        return run(*inputs, console);
    } catch (const std::exception&) {
        console.print("Failed: " + Pack::currentErrorDescription());
        return notPacked;
    }
}

} // namespace CLI
