// SPDX-License-Identifier: GPL-3.0-or-later
// What the build adds against damaged clips, read off the program and its modules.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/command.h"

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

TEST(WholeProgram, IsHardened) {
    const fs::path program = FERROWICK_PROGRAM;
    std::vector<fs::path> files{program};
    for (const auto& entry : fs::directory_iterator(program.parent_path()))
        if (entry.path().extension() == ".so")
            files.push_back(entry.path());
    EXPECT_GE(files.size(), 2U) << "the codecs' module lies beside the program";
    for (const fs::path& file : files) {
        const std::string read = test::runChecked({"readelf", "-hldW", "--dyn-syms", file.string()});
        EXPECT_THAT(read, AllOf(ContainsRegex("Type: +DYN"), HasSubstr("GNU_RELRO"), HasSubstr("BIND_NOW"),
                                ContainsRegex("GNU_STACK.* RW "), HasSubstr("__stack_chk_fail"),
                                Not(HasSubstr("TEXTREL")), Not(ContainsRegex(" (RWE|R E *W) "))))
            << file;
    }
}

} // namespace
