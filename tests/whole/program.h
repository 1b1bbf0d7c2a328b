// SPDX-License-Identifier: GPL-3.0-or-later
// The built program as its users meet it: run on cards made of test clips, its packs opened by other
// programs.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/command.h"
#include "tests/support/temporary_folder.h"

namespace test {

/// The command that starts the built program with these arguments. As root it lacks the right to pass over
/// file permissions, so that tests of them mean the same for every user.
[[nodiscard]] std::vector<std::string> ferrowick(const std::vector<std::string>& arguments);

/// A pack unpacked. Making one fails the test when `unzip -t` or Python's zipfile finds fault with the
/// archive.
class OpenedPack {
  public:
    explicit OpenedPack(const std::filesystem::path& zip);

    /// A copy's place on the disk: of "CARD/CLIP/A001", without ".mov".
    [[nodiscard]] std::filesystem::path copy(const std::string& packPath) const;
    /// The pack paths of all copies, sorted.
    [[nodiscard]] std::vector<std::string> copies() const;
    /// The report's lines as Python's csv module reads them, the header first.
    [[nodiscard]] std::vector<std::vector<std::string>> report() const;

  private:
    TemporaryFolder folder_;
    std::filesystem::path root_;
};

/// A text's lines, without their line feeds.
[[nodiscard]] std::vector<std::string> lines(const std::string& text);

/// Where in a movie's bytes a box of its timecode track lies that comes after the track's `hdlr`: "stsd",
/// "stsz". Throws std::runtime_error when there is no such track.
struct BoxPlace {
    std::size_t offset; ///< of the size field
    std::size_t size;
};
[[nodiscard]] BoxPlace timecodeBox(const std::string& movie, const std::string& name);

} // namespace test
