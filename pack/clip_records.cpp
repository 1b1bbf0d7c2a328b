// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack/clip_records.h"

#include <cmath>
#include <filesystem>
#include <limits>
#include <new>
#include <system_error>
#include <utility>

#include "pack/number_text.h"
#include "platform/file.h"
#include "platform/text.h"

std::string_view rawValue(ScratchAudio mode) {
    switch (mode) {
    case ScratchAudio::lossless:
        return "lossless";
    case ScratchAudio::compressed:
        return "compressed";
    case ScratchAudio::none:
        return "none";
    }
    return {};
}

std::string_view title(ScratchAudio mode) {
    switch (mode) {
    case ScratchAudio::lossless:
        return "Lossless";
    case ScratchAudio::compressed:
        return "Compressed";
    case ScratchAudio::none:
        return "None (Timecode Only)";
    }
    return {};
}

std::optional<ScratchAudio> scratchAudio(std::string_view rawValue) {
    for (const ScratchAudio mode : allScratchAudio)
        if (::rawValue(mode) == rawValue)
            return mode;
    return std::nullopt;
}

std::string PackClip::name() const {
    return platform::validUTF8(source.stem().native());
}

std::string PackClip::fileName() const {
    return platform::validUTF8(source.filename().native());
}

std::string PackClip::folder() const {
    const std::size_t slash = packPath.rfind('/');
    return slash == std::string::npos ? std::string() : packPath.substr(0, slash);
}

std::optional<std::string> ClipHeader::range() const {
    if (!timecode || !fps)
        return std::nullopt;
    const std::optional<std::int64_t> frames = Pack::frameCount(*fps, duration);
    if (!frames || (*frames > 0 && timecode->frame > std::numeric_limits<std::int64_t>::max() - *frames) ||
        (*frames < 0 && timecode->frame < std::numeric_limits<std::int64_t>::min() - *frames))
        return std::nullopt;
    return timecode->label() + " – " + timecode->adding(*frames).label();
}

PackError PackError::failed(std::string text) {
    return {Case::failed, std::move(text)};
}

PackError PackError::lengthChanged(double clip, double copy) {
    return {Case::lengthChanged, "The copy is " + Pack::fixedText(copy, 3) + " s long, the clip " +
                                     Pack::fixedText(clip, 3) + " s."};
}

PackError PackError::cantOpen(std::string reason) {
    return {Case::cantOpen,
            Pack::canOpenMXF ? "Can't read this clip."
                             : "This Mac can't open MXF: it needs Apple's Pro Video Formats.",
            std::move(reason)};
}

PackError PackError::noTimecode(std::string reason) {
    return {Case::noTimecode, "No timecode track.", std::move(reason)};
}

PackError PackError::cancelled() {
    return {Case::cancelled, "Stopped."};
}

namespace Pack {

std::optional<std::int64_t> frameCount(double fps, double duration) {
    const double frames = std::round(fps * duration);
    // 2^63 is exact as a double; the comparison is also false for what is not a number.
    if (!(frames >= -0x1p63 && frames < 0x1p63))
        return std::nullopt;
    return static_cast<std::int64_t>(frames);
}

PackFailure currentFailure() {
    try {
        throw;
    } catch (const PackError& error) {
        return {error.errorDescription(), error.reason()};
    } catch (const std::filesystem::filesystem_error& error) {
        return {platform::validUTF8(error.path1().native()) + ": " + platform::reason(error.code()) + "."};
    } catch (const std::system_error& error) {
        return {error.code().message() + "."};
    } catch (const std::bad_alloc&) {
        return {"There isn't enough memory."};
    } catch (const std::exception& error) {
        return {error.what()};
    } catch (...) {
        return {"Something went wrong."};
    }
}

std::string currentErrorDescription() {
    return currentFailure().description;
}

} // namespace Pack
