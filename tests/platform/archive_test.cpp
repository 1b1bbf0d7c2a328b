// SPDX-License-Identifier: GPL-3.0-or-later
#include <chrono>
#include <csignal>
#include <cstdlib>

#include <gmock/gmock.h>
#include <sys/resource.h>

#include "platform/archive.h"
#include "tests/support/command.h"
#include "tests/support/temporary_folder.h"

namespace fs = std::filesystem;

namespace {

void archiveFolder(const fs::path& folder, const fs::path& root, const fs::path& zip) {
    platform::Archive archive(zip, root);
    archive.addFolder(folder, [](const fs::path& file) { return file.extension() == ".mov"; });
    archive.save();
}

/// What Python's zipfile says of each entry: name, method (0 stored, 8 deflated), size, permissions.
std::string listing(const fs::path& zip) {
    return test::runChecked({"python3", "-c", R"(
import sys, zipfile
archive = zipfile.ZipFile(sys.argv[1])
assert archive.testzip() is None
for entry in archive.infolist():
    print(entry.filename, entry.compress_type, entry.file_size, oct(entry.external_attr >> 16))
)",
                             zip.string()},
                            {.workingFolder = {}, .environment = {{"PYTHONIOENCODING", "utf-8"}}});
}

TEST(Archive, HoldsTheWholeFolderUnderItsName) {
    const test::TemporaryFolder folder;
    const std::string media(3'000'000, 'm');
    folder.write("Day 1/A001/CLIP/Caf\u00e9.mov", media);
    folder.write("Day 1/A001/CLIP/empty.mov");
    folder.write("Day 1/report.csv", std::string(5'000, 'c'));
    folder.write("Day 1/R\xE9union/x.mov", "x");
    fs::create_directories(folder / "Day 1/B001/nothing here");
    const fs::path zip = folder / "Day 1.zip";
    archiveFolder(folder / "Day 1", "Day 1", zip);
    EXPECT_EQ(listing(zip), "Day 1/ 0 0 0o40755\n"
                            "Day 1/A001/ 0 0 0o40755\n"
                            "Day 1/A001/CLIP/ 0 0 0o40755\n"
                            "Day 1/A001/CLIP/Caf\u00e9.mov 0 3000000 0o100644\n"
                            "Day 1/A001/CLIP/empty.mov 0 0 0o100644\n"
                            "Day 1/B001/ 0 0 0o40755\n"
                            "Day 1/B001/nothing here/ 0 0 0o40755\n"
                            "Day 1/R\uFFFDunion/ 0 0 0o40755\n"
                            "Day 1/R\uFFFDunion/x.mov 0 1 0o100644\n"
                            "Day 1/report.csv 8 5000 0o100644\n");
    for (const char* reader : {"unzip -tq", "7z t", "bsdtar -tf"})
        test::runChecked({"sh", "-c", std::string(reader) + " 'Day 1.zip'"},
                         {.workingFolder = folder.path()});
    // Another program's archive of the same folder, compared by libzip's own tool: names, sizes and check
    // sums.
    fs::rename(folder / "Day 1/R\xE9union", folder / "Day 1/R\uFFFDunion");
    test::runChecked({"zip", "-qr", "other.zip", "Day 1"}, {.workingFolder = folder.path()});
    test::runChecked({"zipcmp", "-tq", zip.string(), (folder / "other.zip").string()});
    fs::remove(folder / "other.zip");
    EXPECT_THAT(test::names(folder.path()), testing::UnorderedElementsAre("Day 1", "Day 1.zip"));
}

TEST(Archive, KeepsModificationTimesInEveryTimeZone) {
    const test::TemporaryFolder folder;
    const fs::path file = folder.write("Pack/A.mov", "A");
    const auto shot = fs::file_time_type::clock::from_sys(
        std::chrono::sys_days(std::chrono::year(2024) / 7 / 14) + std::chrono::seconds(3'661));
    fs::last_write_time(file, shot);
    fs::last_write_time(folder / "Pack", shot);
    archiveFolder(folder / "Pack", "Pack", folder / "Pack.zip");
    test::runChecked({"unzip", "-q", "Pack.zip", "-d", "far away"},
                     {.workingFolder = folder.path(), .environment = {{"TZ", "Pacific/Auckland"}}});
    EXPECT_EQ(fs::last_write_time(folder / "far away/Pack/A.mov"), shot);
    EXPECT_EQ(fs::last_write_time(folder / "far away/Pack"), shot);
}

/// Entries and bytes, and what is in the last entry, as Python's zipfile finds them.
std::string summary(const fs::path& zip) {
    return test::runChecked({"python3", "-c", R"(
import sys, zipfile
archive = zipfile.ZipFile(sys.argv[1])
entries = archive.infolist()
print(len(entries), sum(entry.file_size for entry in entries), archive.read(entries[-1]).decode())
)",
                             zip.string()});
}

TEST(Archive, HoldsMoreEntriesThan16BitsCount) {
    const test::TemporaryFolder folder;
    const fs::path zip = folder / "Pack.zip";
    platform::Archive archive(zip, "Pack");
    folder.write("file", "x");
    fs::create_directory(folder / "Pack");
    for (int number = 0; number < 70'000; ++number) {
        const std::string name = std::to_string(number);
        fs::create_symlink("../file", folder / "Pack" / name);
        archive.addFile(folder / "Pack" / name, name, true);
    }
    archive.save();
    EXPECT_EQ(summary(zip), "70001 70000 x\n");
    for (const char* reader : {"unzip -tq", "7z t", "bsdtar -tf", "zipcmp -tq Pack.zip"})
        test::runChecked({"sh", "-c", std::string(reader) + " Pack.zip"}, {.workingFolder = folder.path()});
}

/// An entry that is larger, and one that lies behind it. Writes as much to the disk, so only on demand.
TEST(Archive, HoldsMoreThan4GiB) {
    if (std::getenv("FERROWICK_LARGE") == nullptr)
        GTEST_SKIP() << "set FERROWICK_LARGE to write 4.3 GB";
    const test::TemporaryFolder folder;
    const fs::path zip = folder / "Pack.zip";
    const std::uintmax_t large = 4'300'000'000;
    folder.write("Large/large");
    fs::resize_file(folder / "Large/large", large);
    folder.write("Large/small", "the end");
    platform::Archive archive(zip, "Large");
    archive.addFile(folder / "Large/large", "large", true);
    archive.addFile(folder / "Large/small", "small", true);
    archive.save();
    EXPECT_GT(fs::file_size(zip), large);
    EXPECT_EQ(summary(zip), "3 4300000007 the end\n");
    for (const char* reader : {"unzip -p Pack.zip Large/small", "bsdtar -xOf Pack.zip Large/small",
                               "7z e -so Pack.zip Large/small", "ziptool Pack.zip cat 2"})
        EXPECT_EQ(test::runChecked({"sh", "-c", reader}, {.workingFolder = folder.path()}), "the end")
            << reader;
}

TEST(Archive, LeavesTheEarlierOneAndNothingElseWhenItFails) {
    const test::TemporaryFolder folder;
    folder.write("Pack/A.mov", std::string(3'000'000, 'm'));
    const fs::path zip = folder.write("Pack.zip", "earlier");
    const auto errorOf = [&](const fs::path& to) {
        try {
            archiveFolder(folder / "Pack", "Pack", to);
        } catch (const std::system_error& error) {
            return error.code();
        }
        return std::error_code();
    };

    // A disk that takes no more, as a limit on the size of files.
    auto* const earlierHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit earlier{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &earlier), 0);
    const rlimit small{2'000'000, earlier.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::error_code full = errorOf(zip);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &earlier), 0);
    (void)std::signal(SIGXFSZ, earlierHandler);
    EXPECT_EQ(full, std::errc::file_too_large);

    fs::create_directory(folder / "folder.zip");
    EXPECT_EQ(errorOf(folder / "folder.zip"), std::errc::is_a_directory);
    EXPECT_EQ(errorOf(folder / "missing/Pack.zip"), std::errc::no_such_file_or_directory);
    fs::create_symlink("nowhere", folder / "Pack/lost.mov");
    EXPECT_EQ(errorOf(zip), std::errc::no_such_file_or_directory);

    EXPECT_EQ(fs::file_size(zip), 7U);
    EXPECT_THAT(test::names(folder.path()), testing::UnorderedElementsAre("Pack", "Pack.zip", "folder.zip"));
}

} // namespace
