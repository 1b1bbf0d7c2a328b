// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/whole/program.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <unistd.h>

namespace test {
namespace {

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
        parts.push_back(part);
    if (!text.empty() && text.back() == separator)
        parts.emplace_back();
    return parts;
}

} // namespace

std::vector<std::string> ferrowick(const std::vector<std::string>& arguments) {
    std::vector<std::string> command;
    if (geteuid() == 0)
        command = {"setpriv", "--bounding-set", "-dac_override,-dac_read_search"};
    command.emplace_back(FERROWICK_PROGRAM);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

OpenedPack::OpenedPack(const std::filesystem::path& zip) {
    runChecked({"unzip", "-tq", zip.string()});
    runChecked({"python3", "-m", "zipfile", "-t", zip.string()});
    runChecked({"unzip", "-q", zip.string(), "-d", folder_.path().string()});
    const std::vector<std::string> top = names(folder_.path());
    if (top.size() != 1)
        throw std::runtime_error("the archive does not stand under one name");
    root_ = folder_ / top.front();
}

std::filesystem::path OpenedPack::copy(const std::string& packPath) const {
    return root_ / (packPath + ".mov");
}

std::vector<std::string> OpenedPack::copies() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root_))
        if (entry.path().extension() == ".mov")
            found.push_back(entry.path().lexically_relative(root_).replace_extension().string());
    std::ranges::sort(found);
    return found;
}

std::vector<std::vector<std::string>> OpenedPack::report() const {
    // Python reads the CSV; the separators of ASCII bring it here.
    const std::string text =
        runChecked({"python3", "-c",
                    "import csv, sys\n"
                    "for row in csv.reader(open(sys.argv[1], newline='', encoding='utf-8')):\n"
                    "    sys.stdout.write('\\x1f'.join(row) + '\\x1e')",
                    (root_ / "Ferrowick Report.csv").string()},
                   {.environment = {{"PYTHONIOENCODING", "utf-8"}}});
    std::vector<std::vector<std::string>> rows;
    std::istringstream stream(text);
    for (std::string row; std::getline(stream, row, '\x1e');)
        rows.push_back(split(row, '\x1f'));
    return rows;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result = split(text, '\n');
    if (!result.empty() && result.back().empty())
        result.pop_back();
    return result;
}

BoxPlace timecodeBox(const std::string& movie, const std::string& name) {
    for (auto at = movie.find("hdlr"); at != std::string::npos; at = movie.find("hdlr", at + 1))
        if (movie.compare(at + 12, 4, "tmcd") == 0) {
            const std::size_t offset = movie.find(name, at) - 4;
            std::size_t size = 0;
            for (std::size_t i = 0; i < 4; ++i)
                size = size << 8 | static_cast<unsigned char>(movie.at(offset + i));
            return {offset, size};
        }
    throw std::runtime_error("no timecode track");
}

} // namespace test
