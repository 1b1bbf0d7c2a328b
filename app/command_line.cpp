// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/command_line.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <vector>

#include "pack/assembly.h"
#include "pack/discovery.h"
#include "platform/clean_up.h"
#include "platform/text.h"

namespace fs = std::filesystem;

namespace CLI {

namespace {

constexpr std::string_view usageLine = "usage: Ferrowick --pack OUT.zip PATH…";

/// What is to be packed, how, and where to.
struct Inputs {
    fs::path output;
    ScratchAudio mode = ScratchAudio::lossless;
    std::vector<std::string> words; ///< the paths as they were typed
    std::vector<fs::path> paths;
};

/// Writes a whole line in one go, so that whoever reads along sees each clip as it ends. A reader that has
/// gone away does not end the pack.
void print(std::FILE* stream, std::string_view text) {
    const std::string line = platform::oneLine(text) + "\n";
    (void)std::fwrite(line.data(), 1, line.size(), stream);
    (void)std::fflush(stream);
}

/// An argument as an absolute path without "." and "..": links before a ".." are followed, as the system
/// would, those behind the last one keep their names. An empty argument stays empty.
fs::path absolutePath(const std::string& argument) {
    if (argument.empty())
        return {};
    fs::path path = fs::absolute(argument);
    fs::path upToLastParent;
    fs::path after;
    for (const fs::path& component : path) {
        after /= component;
        if (component == "..") {
            upToLastParent /= after;
            after.clear();
        }
    }
    std::error_code error;
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

ExitCode run(const Inputs& inputs) {
    const Pack::Found found = Pack::clips(inputs.paths, {});
    for (const Pack::Place& place : found.places)
        print(stderr, typedName(inputs, place.path) + ": " + place.reason);
    ExitCode code = found.clipsMayBeMissing() ? notPacked : packed;
    Pack::MakeCallbacks callbacks;
    callbacks.finished = [&code](const PackClip& clip, const Outcome& outcome) {
        if (const auto* result = std::get_if<PackResult>(&outcome)) {
            print(stdout, line(clip, *result));
        } else {
            const auto& failure = std::get<PackFailure>(outcome);
            print(stdout, clip.packPath + ": not packed: " + failure.description);
            if (!failure.reason.empty())
                print(stderr, clip.packPath + ": " + failure.reason);
            code = notPacked;
        }
    };
    Pack::make(found.clips, inputs.output, inputs.mode, callbacks);
    print(stdout, "Saved " + inputs.output.native());
    return code;
}

} // namespace

ExitCode pack(std::span<const std::string> arguments) {
    try {
        const platform::EndingSignals signals; // before there is any other thread
        const std::optional<Inputs> inputs = parse(arguments);
        if (!inputs) {
            print(stderr, usageLine);
            return usage;
        }
        return run(*inputs);
    } catch (const std::exception&) {
        print(stdout, "Failed: " + Pack::currentErrorDescription());
        return notPacked;
    }
}

} // namespace CLI
