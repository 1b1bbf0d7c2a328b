// SPDX-License-Identifier: GPL-3.0-or-later
#include <fstream>
#include <limits>
#include <map>

#include <gmock/gmock.h>

#include "media/base/error.h"
#include "pack/assembly.h"
#include "tests/support/command.h"
#include "tests/support/temporary_folder.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

/// What an earlier zip begins with, which is as far as anyone looks.
constexpr const char* earlier = "PK\3\4 earlier";

/// Packs with a writer of the test's own, and keeps what is told on the way.
class Assembly : public testing::Test {
  protected:
    PackClip clip(const std::string& packPath, const std::string& extension = ".mov") {
        return {folder_.write("card/" + packPath + extension, packPath), packPath, 7};
    }

    /// The text of what make() throws, or "saved".
    std::string make(const std::vector<PackClip>& clips) {
        Pack::MakeCallbacks callbacks;
        callbacks.item = [this](const PackClip& of, double fraction) {
            events_.push_back(of.packPath + " " + std::to_string(static_cast<int>(fraction * 1000)));
        };
        callbacks.finished = [this](const PackClip& of, const Outcome& outcome) {
            const auto* failure = std::get_if<PackFailure>(&outcome);
            events_.push_back(of.packPath + (failure != nullptr ? ": " + failure->description : " packed"));
        };
        callbacks.isCancelled = [this] { return cancelled_; };
        callbacks.saving = [this] { events_.emplace_back("saving"); };
        const auto write = [this](const Pack::CopyJob& job, const Pack::CopyHooks& hooks) {
            PackResult result = write_(job, hooks);
            std::ofstream(job.to, std::ios::app); // where it wrote none of its own
            return result;
        };
        try {
            Pack::make(clips, zip_, ScratchAudio::lossless, callbacks, write);
            return "saved";
        } catch (const std::exception&) {
            return Pack::currentErrorDescription();
        }
    }

    /// The names in the zip, and that it is sound.
    std::vector<std::string> entries() {
        std::istringstream lines(test::runChecked({"python3", "-c", R"(
import sys, zipfile
archive = zipfile.ZipFile(sys.argv[1])
assert archive.testzip() is None
print("\n".join(archive.namelist()))
)",
                                                   zip_.string()}));
        std::vector<std::string> result;
        for (std::string line; std::getline(lines, line);)
            result.push_back(line);
        return result;
    }

    test::TemporaryFolder folder_;
    fs::path place_ = folder_ / "place";
    fs::path zip_ = folder_.write("place/Day 1.zip", earlier);
    bool cancelled_ = false;
    std::vector<std::string> events_;
    std::function<Pack::WriteCopy> write_ = [](const Pack::CopyJob& job, auto&&) {
        std::ofstream(job.to) << "copy of " << job.clip.fileName();
        return PackResult{};
    };
};

TEST_F(Assembly, PacksClipsWhoseNamesTheDiskDoesNotTake) {
    // As FAT doesn't take colons. On any disk a path can be too long for the system.
    std::string deep;
    for (int level = 0; level < 20; ++level)
        deep += std::string(250, 'd') + "/";
    EXPECT_EQ(make({{folder_.write("B.mov"), deep + "B", 7}}), "saved");
    EXPECT_THAT(entries(), testing::IsSupersetOf({"Day 1/" + deep, "Day 1/" + deep + "B.mov"}));
    EXPECT_THAT(test::names(place_), ElementsAre("Day 1.zip"));
}

TEST_F(Assembly, LosesNoneOfTheClipsWithOnePath) {
    write_ = [](const Pack::CopyJob& job, auto&&) {
        EXPECT_FALSE(fs::exists(job.to)) << job.to;
        std::ofstream(job.to) << job.clip.fileName();
        if (job.clip.source.extension() == ".braw")
            throw PackError::cantOpen();
        PackResult result;
        result.notes = {"a note"};
        return result;
    };
    EXPECT_EQ(make({clip("A/C3", ".braw"),
                    clip("A/C3"),
                    clip("A/C3", ".mp4"),
                    clip("A/c3", ".braw"),
                    {folder_.write("other/C5.mov"), "A/C4.mov/C5", 7},
                    clip("A/C4")}),
              "saved");
    test::runChecked({"unzip", "-q", zip_.string(), "-d", (folder_ / "out").string()});
    const fs::path out = folder_ / "out/Day 1";
    EXPECT_EQ(test::contents(out / "A/C3.mov"), "C3.mov");
    EXPECT_EQ(test::contents(out / "A/C3 2.mov"), "C3.mp4");
    EXPECT_EQ(test::contents(out / "A/C4.mov/C5.mov"), "C5.mov");
    EXPECT_EQ(test::contents(out / "A/C4 2.mov"), "C4.mov");
    EXPECT_THAT(events_, testing::IsSupersetOf({"A/C3: Can't read this clip.", "A/C3 packed", "A/C3 2 packed",
                                                "A/c3: Can't read this clip."}));
    const std::string report = test::contents(out / "Ferrowick Report.csv");
    for (const char* part :
         {"A,C3,C3.braw,,", "Not packed: Can't read this clip.\nA,C3,C3.mov,", ",a note\nA,C3,C3.mp4,",
          ",a note; copy named C3 2\nA,c3,c3.braw,,", ",a note; copy named C4 2\n"})
        EXPECT_THAT(report, testing::HasSubstr(part));
}

TEST_F(Assembly, GoesOnAfterAClipThatFails) {
    write_ = [](const Pack::CopyJob& job, auto&&) -> PackResult {
        std::ofstream(job.to) << "part";
        if (job.clip.packPath == "A/2")
            throw media::Error(media::Error::Category::endOfData, "The file ends too early.");
        if (job.clip.packPath == "B/3")
            throw std::bad_alloc();
        return {};
    };
    EXPECT_EQ(make({clip("A/1"), clip("A/2"), clip("B/3"), clip("C/4")}), "saved");
    EXPECT_THAT(events_, testing::IsSupersetOf({"A/2: The file ends too early.",
                                                "B/3: There isn't enough memory.", "C/4 packed"}));
    // The folder made for a copy stays, the part of a copy does not.
    EXPECT_THAT(entries(), ElementsAre("Day 1/", "Day 1/A/", "Day 1/A/1.mov", "Day 1/C/", "Day 1/C/4.mov",
                                       "Day 1/B/", "Day 1/Ferrowick Report.csv"));
}

TEST_F(Assembly, OpensTheClipsAheadEachForItself) {
    const std::vector<PackClip> clips = {clip("none"), clip("gone"), clip("twice"), clip("gone 2"),
                                         clip("last")};
    fs::remove(clips[1].source);
    fs::remove(clips[3].source);
    std::vector<std::string> found;
    write_ = [&](const Pack::CopyJob& job, auto&&) {
        const std::string& path = job.clip.packPath;
        for (int times = path == "none" ? 0 : path == "twice" ? 2 : 1; times > 0; --times) {
            try {
                (void)job.opened();
            } catch (const PackError&) {
                const bool isMissing =
                    Pack::currentFailure().reason.find("no such file") != std::string::npos;
                found.push_back(path + (isMissing ? " is missing" : " is no movie"));
            }
        }
        return PackResult{};
    };
    EXPECT_EQ(make(clips), "saved");
    EXPECT_THAT(found, ElementsAre("gone is missing", "twice is no movie", "twice is no movie",
                                   "gone 2 is missing", "last is no movie"));
}

TEST_F(Assembly, TakesCopiesIntoTheZipWhileItGoesOn) {
    std::vector<PackClip> clips;
    for (int number = 10; number < 60; ++number)
        clips.push_back(clip("A/" + std::to_string(number)));
    std::size_t most = 0;
    write_ = [&](const Pack::CopyJob& job, auto&&) {
        most = std::max(most, test::names(job.to.parent_path()).size());
        return PackResult{};
    };
    EXPECT_EQ(make(clips), "saved");
    EXPECT_LT(most, 20U);
    EXPECT_EQ(entries().size(), clips.size() + 3);

    // What the archive meets ends the pack at one of the next clips.
    write_ = [](const Pack::CopyJob& job, auto&&) {
        if (job.clip.packPath == "A/20")
            fs::create_symlink("nowhere/at all", job.to);
        return PackResult{};
    };
    fs::copy_file(zip_, folder_ / "before");
    events_.clear();
    EXPECT_EQ(make(clips), "The zip can't be written in " + place_.string() + ": no such file or directory.");
    EXPECT_THAT(events_, testing::Not(testing::Contains("A/59 0")));
    EXPECT_TRUE(test::contents(zip_) == test::contents(folder_ / "before"));
    EXPECT_THAT(test::names(place_), ElementsAre("Day 1.zip"));
}

TEST_F(Assembly, StopsBetweenClipsAndInsideOne) {
    write_ = [this](const Pack::CopyJob& job, const Pack::CopyHooks& hooks) -> PackResult {
        cancelled_ = job.clip.packPath == "2";
        if (job.clip.packPath == "2 inside" && !hooks.isCancelled())
            throw PackError::cancelled();
        return {};
    };
    EXPECT_EQ(make({clip("1"), clip("2"), clip("3")}), "Stopped.");
    EXPECT_THAT(events_, ElementsAre("1 0", "1 packed", "2 0", "2 packed"));
    events_.clear();
    cancelled_ = false;
    EXPECT_EQ(make({clip("1"), clip("2 inside"), clip("3")}), "Stopped.");
    EXPECT_THAT(events_, ElementsAre("1 0", "1 packed", "2 inside 0"));
    EXPECT_EQ(test::contents(zip_), earlier);
    EXPECT_THAT(test::names(place_), ElementsAre("Day 1.zip"));
}

TEST_F(Assembly, TellsOfProgressInHundredthsAtLeast) {
    write_ = [](auto&&, const Pack::CopyHooks& hooks) {
        for (const double fraction : {0.004, 0.009, 0.012, 0.015, 0.03})
            hooks.progress(fraction);
        return PackResult{};
    };
    EXPECT_EQ(make({clip("A"), clip("B")}), "saved");
    EXPECT_THAT(events_,
                ElementsAre("A 0", "A 12", "A 30", "A packed", "B 0", "B 12", "B 30", "B packed", "saving"));
}

TEST_F(Assembly, ReplacesOnlyZipsAndEmptyFiles) {
    const PackClip precious = clip("A");
    const fs::path card = precious.source.parent_path();
    const std::string movie("\0\0\0\x14"
                            "ftypqt  ",
                            12);
    fs::create_hard_link(precious.source, folder_ / "hard.zip");
    fs::create_symlink(precious.source, folder_ / "soft.zip");
    folder_.write("B.mov", movie);
    folder_.write("PK", "PK");
    folder_.write("almost.zip", "PK\3\6 not so");
    fs::create_symlink("B.mov", folder_ / "link.zip");
    fs::create_symlink("circle.zip", folder_ / "circle.zip");
    fs::create_symlink("/dev/null", folder_ / "null.zip");
    fs::create_symlink("new/", folder_ / "new.zip");
    test::runChecked({"mkfifo", (folder_ / "pipe.zip").string()});
    fs::create_directory(folder_ / "Folder.zip");
    const std::string clipsOwn = "over A.mov: it is one of the clips";
    const std::string linked = ", a link to ";
    for (const auto& [name, why] : std::map<fs::path, std::string>{
             {precious.source, clipsOwn},
             {card / ".." / "card" / "A.mov", clipsOwn},
             {folder_ / "hard.zip", clipsOwn},
             {folder_ / "soft.zip", clipsOwn},
             {folder_ / "B.mov", "over B.mov: it is not a zip"},
             {folder_ / "PK", "over PK: it is not a zip"},
             {folder_ / "almost.zip", "over almost.zip: it is not a zip"},
             {folder_ / "link.zip",
              "over link.zip" + linked + (folder_ / "B.mov").string() + ": it is not a zip"},
             {folder_ / "circle.zip", "as circle.zip: too many levels of symbolic links"},
             {folder_ / "null.zip", "over null.zip" + linked + "/dev/null: it is not a file"},
             {folder_ / "pipe.zip", "over pipe.zip: it is not a file"},
             {folder_ / "new.zip",
              "over new.zip" + linked + (folder_ / "new/").string() + ": it is a folder"},
             {folder_ / "Folder.zip", "over Folder.zip: it is a folder"},
             {folder_ / "newdir/", "as newdir/: that is a folder"},
             {"", "without a name: no such file or directory"},
         }) {
        zip_ = name;
        EXPECT_EQ(make({precious}), "The zip can't be saved " + why + ".");
    }
    EXPECT_EQ(test::contents(precious.source), "A");
    EXPECT_EQ(test::contents(folder_ / "B.mov"), movie);
    EXPECT_TRUE(events_.empty());

    // What comes there while the pack is made is no more ours to replace.
    zip_ = folder_ / "late.zip";
    write_ = [this](auto&&...) {
        folder_.write("late.zip", "notes");
        return PackResult{};
    };
    EXPECT_EQ(make({precious}), "The zip can't be saved over late.zip: it is not a zip.");
    EXPECT_EQ(test::contents(zip_), "notes");
}

TEST_F(Assembly, KeepsLinksAndPermissions) {
    folder_.write("store/empty");
    test::runChecked({"python3", "-c", "import sys, zipfile; zipfile.ZipFile(sys.argv[1], 'w')",
                      (folder_ / "store/no entries").string()});
    for (const char* file : {"empty", "no entries", "to come"}) {
        const fs::path store = folder_ / "store" / file;
        const bool isThere = fs::exists(store);
        if (isThere)
            fs::permissions(store, fs::perms(0640));
        zip_ = place_ / (std::string(file) + ".zip");
        fs::create_symlink(fs::path("../store") / file, place_ / "between");
        fs::create_symlink("between", zip_);
        EXPECT_EQ(make({clip("A")}), "saved");
        EXPECT_TRUE(fs::is_symlink(zip_));
        EXPECT_EQ(fs::status(store).permissions() == fs::perms(0640), isThere) << file;
        EXPECT_EQ(entries().front(), std::string(file) + "/");
        fs::remove(place_ / "between");
        fs::remove(zip_);
    }
    EXPECT_THAT(test::names(folder_ / "store"), UnorderedElementsAre("empty", "no entries", "to come"));
    EXPECT_THAT(test::names(place_), ElementsAre("Day 1.zip"));
}

TEST_F(Assembly, SaysWhyThereIsNoZipAndLeavesNothing) {
    zip_ = folder_ / "missing/Day 1.zip";
    EXPECT_THAT(make({clip("A")}),
                testing::MatchesRegex("There is no folder .+ to save the zip in: make it, or "
                                      "save the zip somewhere else."));

    // Somebody takes the working folder away: nothing makes it anew.
    zip_ = place_ / "Day 1.zip";
    write_ = [this](auto&&...) -> PackResult {
        fs::rename(place_ / "Day 1", folder_ / "taken");
        throw PackError::cantOpen();
    };
    const std::string working = (place_ / "Day 1").string();
    EXPECT_EQ(make({clip("A"), clip("B/C")}),
              "The report can't be written in " + working + ": no such file or directory.");
    EXPECT_THAT(events_, testing::Contains("B/C: The folder " + working +
                                           "/B can't be made: no such file or directory."));
    EXPECT_EQ(test::contents(zip_), earlier);
    EXPECT_THAT(test::names(place_), ElementsAre("Day 1.zip"));
}

TEST_F(Assembly, ChoosesAWorkingFolderThatIsNobodys) {
    EXPECT_EQ(Pack::folder(zip_), place_ / "Day 1");
    folder_.write("place/Day 1/mine.txt", "mine");
    fs::create_symlink("nowhere", place_ / "Day 1 2");
    EXPECT_EQ(Pack::folder(zip_), place_ / "Day 1 3");
    EXPECT_EQ(Pack::folder(place_ / "v1.2.zip"), place_ / "v1.2");
    EXPECT_EQ(Pack::folder(place_ / "no extension"), place_ / "no extension 2");
    const std::string longest(255, 'x');
    EXPECT_EQ(Pack::folder(place_ / longest), place_ / (longest.substr(2) + " 2"));
    EXPECT_EQ(make({clip("A")}), "saved");
    EXPECT_EQ(entries().front(), "Day 1/");
    EXPECT_EQ(test::contents(place_ / "Day 1/mine.txt"), "mine");
}

TEST(EstimatedSize, AddsUpWhatTheCopiesWillHold) {
    const auto header = [](double duration, std::optional<double> fps, std::int64_t channels, double rate) {
        ClipHeader result;
        result.duration = duration;
        result.fps = fps;
        result.audioChannels = channels;
        result.audioBytesPerSecond = rate;
        return result;
    };
    struct Case {
        std::vector<ClipHeader> headers;
        ScratchAudio audio;
        std::int64_t expected;
    };
    constexpr double infinite = std::numeric_limits<double>::infinity();
    for (const Case& c : {
             Case{{}, ScratchAudio::lossless, 0},
             Case{{header(60, 25, 4, 576'000), header(60, 25, 4, 576'000)},
                  ScratchAudio::lossless,
                  69'120'000},
             Case{{header(60, 25, 4, 576'000)}, ScratchAudio::compressed, 1'920'000},
             Case{{header(60, std::nullopt, 4, 0)}, ScratchAudio::none, 6'000},
             Case{{header(10.5, 23.976, 0, 0)}, ScratchAudio::none, 1'006},
             Case{{header(infinite, 25, 4, 576'000)}, ScratchAudio::lossless, 0},
             Case{{header(1e300, 25, 4, 576'000)}, ScratchAudio::lossless, 0},
         })
        EXPECT_EQ(Pack::estimatedSize(c.headers, c.audio), c.expected);
}

} // namespace
