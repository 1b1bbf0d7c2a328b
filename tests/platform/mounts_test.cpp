// SPDX-License-Identifier: GPL-3.0-or-later
#include <fstream>

#include <gtest/gtest.h>

#include "platform/mounts.h"
#include "tests/support/temporary_folder.h"

namespace {

TEST(MountedDisks, AreThoseOfTheUser) {
    const test::TemporaryFolder folder;
    const auto table = folder.path() / "mounts";
    std::ofstream(table) << "/dev/sda1 / ext4 rw 0 0\n"
                            "proc /proc proc rw 0 0\n"
                            "/dev/sdb1 /media/anna/A001\\040R1K7 exfat rw 0 0\n"
                            "/dev/sdc1 /run/media/anna/B001 ext4 ro 0 0\n"
                            "//server/share /mnt/share cifs rw 0 0\n"
                            "/dev/sdd1 /mnt/raid xfs rw 0 0\n";
    EXPECT_EQ(
        platform::mountedDisks(table),
        (std::vector<std::filesystem::path>{"/media/anna/A001 R1K7", "/run/media/anna/B001", "/mnt/raid"}));
    EXPECT_TRUE(platform::mountedDisks(folder.path() / "none").empty());
}

} // namespace
