// SPDX-License-Identifier: GPL-3.0-or-later
// Timecode that cameras keep outside of a timecode track: in documents, beside the clip, in metadata samples.
#include <map>

#include <gtest/gtest.h>

#include "media/base/byte_reader.h"
#include "media/open.h"
#include "media/track/track_output.h"
#include "tests/support/camera_clips.h"

namespace {

using media::MediaType;
using test::CameraClip;
using test::panasonicDocument;
using test::rtmdSample;
using test::sonyDocument;

/// A clip in memory and the files beside it, by what follows the clip's stem in their names.
class Card final : public media::io::ByteSource {
  public:
    Card(test::Bytes clip, std::map<std::string, std::string> beside)
        : clip_(std::move(clip)), beside_(std::move(beside)) {}
    [[nodiscard]] std::uint64_t size() const noexcept override { return clip_.size(); }

  protected:
    void read(std::uint64_t offset, std::span<std::byte> out) const override {
        std::copy_n(clip_.begin() + static_cast<std::ptrdiff_t>(offset), out.size(), out.begin());
    }
    [[nodiscard]] std::optional<std::vector<std::byte>> readCompanion(std::string_view ending,
                                                                      std::size_t largest) const override {
        const auto found = beside_.find(std::string(ending));
        if (found == beside_.end() || found->second.size() > largest)
            return std::nullopt;
        const auto bytes = std::as_bytes(std::span(found->second));
        return std::vector<std::byte>(bytes.begin(), bytes.end());
    }

  private:
    test::Bytes clip_;
    std::map<std::string, std::string> beside_;
};

/// "frame base[ drop] rate" of an asset's timecode track, which must be as long as the clip; without one
/// "none" and why.
std::string timecodeOf(const media::Asset& asset) {
    const auto tracks = asset.tracks(MediaType::timecode);
    if (tracks.empty())
        return "none" + asset.timecodeRefusal();
    const media::Track& track = tracks.front();
    EXPECT_EQ(track.end(), asset.duration());
    media::TrackOutput output(asset, track);
    media::SampleBuffer sample;
    EXPECT_TRUE(output.copyNextSampleBuffer(sample));
    const std::int64_t frame = sample.frameNumber.value();
    EXPECT_FALSE(output.copyNextSampleBuffer(sample));
    const auto& description = *track.formatDescriptions.front().timecode;
    return std::to_string(frame) + " " + std::to_string(description.base) +
           (description.dropFrame ? " drop " : " ") + std::to_string(description.rate.num) + "/" +
           std::to_string(description.rate.den);
}

struct Case {
    std::string what;
    CameraClip clip;
    std::string expected;
    std::map<std::string, std::string> beside{};
};

const std::string at1h = sonyDocument("25", "false", "12000001"); // 01:00:00:12
const std::string at2h = sonyDocument("25", "false", "00000002");
const std::string hour1 = "90012 25 25/1";

CameraClip ntsc(std::uint32_t rate, CameraClip clip) {
    clip.timescale = rate * 1000;
    clip.frameDuration = 1001;
    return clip;
}

TEST(CameraTimecode, StandsInAnyOfItsPlaces) {
    const auto sample = rtmdSample(1, 0, 0, 12, false);
    const std::string text = "01:00:00";
    std::string nested = at1h.substr(0, at1h.rfind("</"));
    for (const char* tag : {"<a>", "</a>"})
        for (int i = 0; i < 100'000; ++i)
            nested += tag;
    nested += "</NonRealTimeMeta>";
    const std::vector<Case> cases{
        {"nothing", {}, "none"},
        {"embedded", {.document = at1h}, hour1},
        {"beside", {}, hour1, {{"M01.XML", at1h}}},
        {"beside in small letters", {}, hour1, {{"M01.xml", at1h}}},
        {"beside under the clip's name", {}, hour1, {{".xml", at1h}}},
        {"a foreign document beside", {}, hour1, {{"M01.XML", "<fcpxml/>"}, {".XML", at1h}}},
        {"samples", {.sample = sample}, hour1},
        {"all agree", {.document = at1h, .sample = sample}, hour1, {{"M01.XML", at1h}}},
        {"document and file contradict",
         {.document = at1h},
         "noneThe timecodes of Sony's document in the clip and of Sony's document beside the clip differ.",
         {{"M01.XML", at2h}}},
        {"document and samples contradict",
         {.document = at2h, .sample = sample},
         "noneThe timecodes of Sony's document in the clip and of the camera's metadata track differ."},
        {"damaged document", {.document = at2h.substr(0, 300), .sample = sample}, hour1},
        {"null bytes behind", {.document = at1h + std::string(3, '\0')}, hour1},
        {"a document type", {.document = "<!DOCTYPE a [<!ENTITY b \"c\">]>" + at1h.substr(39)}, "none"},
        {"nested too deeply", {.document = nested}, "none"},
        {"too large", {.document = at1h + std::string(4U << 20, ' ')}, "none"},
        {"digit above 9", {.document = sonyDocument("25", "false", "1A000001")}, "none"},
        {"frame 25 of 25", {.document = sonyDocument("25", "false", "25000001")}, "none"},
        {"hour 24", {.document = sonyDocument("25", "false", "00000024")}, "none"},
        {"minute 60", {.document = sonyDocument("25", "false", "00006001")}, "none"},
        {"a number drop frame has not", ntsc(30, {.document = sonyDocument("30", "false", "40000100")}),
         "none"},
        {"flags in the upper bits", {.document = sonyDocument("25", "false", "D28080C1")}, hour1},
        {"another rate than the picture's", ntsc(30, {.document = at1h}), "none"},
        {"plain text", {.document = sonyDocument("25", "false", "01:00:00:12")}, hour1},
        {"plain drop frame", ntsc(30, {.document = sonyDocument("29", "false", text + ";02")}),
         "107894 30 drop 30000/1001"},
        {"pairs in plain text", ntsc(60, {.document = sonyDocument("30", "true", text + ":02")}), "none"},
        {"second of a pair at 50",
         {.timescale = 50'000, .document = sonyDocument("25", "true", "05000081")},
         "180011 50 50/1"},
        {"pairs beside full rate samples",
         ntsc(60,
              {.document = sonyDocument("30", "true", "46800001"), .sample = rtmdSample(1, 0, 0, 13, false)}),
         "215797 60 drop 60000/1001"},
        {"30 beside 59.94",
         ntsc(60, {.document = sonyDocument("30", "false", "06000001"),
                   .sample = rtmdSample(1, 0, 0, 13, false)}),
         "108006 30 30000/1001"},
        {"100 pictures", {.timescale = 100'000, .sample = rtmdSample(1, 0, 0, 49, false)}, "180049 50 50/1"},
        {"older samples", {.sample = test::Bytes(64, std::byte{0})}, "none"},
        {"drop frame samples", ntsc(30, {.sample = rtmdSample(1, 0, 0, 12, true)}),
         "107904 30 drop 30000/1001"},
        {"drop flag of samples beside a document's",
         ntsc(30, {.document = sonyDocument("30", "false", "52000001"), .sample = sample}),
         "107904 30 drop 30000/1001"},
        {"Panasonic", {.panasonic = panasonicDocument("<StartTimecode>01:00:00:12</StartTimecode>")}, hour1},
        {"Panasonic, drop frame in a base of 30",
         ntsc(60, {.panasonic =
                       panasonicDocument("<EditUnit>1001/30000</EditUnit><TimecodeType>Drop</TimecodeType>"
                                         "<StartTimecode>01:00:00:12</StartTimecode>")}),
         "107904 30 drop 30000/1001"},
        {"Panasonic without", {.panasonic = panasonicDocument("<StartTimecode>--</StartTimecode>")}, "none"},
    };
    for (const Case& tested : cases) {
        const media::Asset asset =
            media::openAsset(std::make_shared<Card>(test::build(tested.clip), tested.beside));
        EXPECT_EQ(timecodeOf(asset), tested.expected) << tested.what;
    }
}

TEST(CameraTimecode, YieldsToATimecodeTrack) {
    CameraClip clip{.document = at1h, .sample = rtmdSample(1, 0, 0, 12, false)};
    test::Movie movie = test::movieOf(clip);
    test::addTimecodePerPicture(movie, 7'200, clip.pictures);
    const auto source =
        std::make_shared<Card>(test::build(movie), std::map<std::string, std::string>{{"M01.XML", at2h}});
    const media::Asset asset = media::openAsset(source);
    ASSERT_EQ(asset.tracks(MediaType::timecode).size(), 1U);
    EXPECT_TRUE(asset.metadata().empty());
    media::TrackOutput output(asset, asset.tracks(MediaType::timecode).front());
    media::SampleBuffer sample;
    ASSERT_TRUE(output.copyNextSampleBuffer(sample));
    EXPECT_EQ(sample.frameNumber, 7'200);
}

TEST(CameraTimecode, CostsNoMoreThanAHeader) {
    const CameraClip bare{.pictures = 3'000};
    CameraClip full = bare;
    full.document = at1h;
    full.sample = rtmdSample(1, 0, 0, 12, false);
    const auto bytesRead = [](const CameraClip& clip, std::map<std::string, std::string> beside) {
        const media::Asset asset =
            media::openAsset(std::make_shared<Card>(test::build(clip), std::move(beside)));
        return asset.bytesRead();
    };
    // The document, the boxes of a track and one sample's head; then the file beside the clip.
    const std::uint64_t header = bytesRead(bare, {});
    EXPECT_LE(bytesRead(full, {}), header + at1h.size() + 700);
    EXPECT_EQ(bytesRead(full, {{"M01.XML", at1h}}), bytesRead(full, {}) + at1h.size());
    // A header too large for one read, with tables of sample sizes: a window onto each, nothing more.
    CameraClip minutes{.timescale = 60'000, .pictures = 70'000};
    minutes.sample = rtmdSample(1, 0, 0, 12, false);
    minutes.sample.resize(28);
    test::Movie movie = test::movieOf(minutes);
    for (const std::size_t track : {0U, 2U}) {
        movie.tracks[track].sizes.assign(minutes.pictures,
                                         std::exchange(movie.tracks[track].constantSize, 0));
    }
    const media::Asset asset =
        media::openAsset(std::make_shared<Card>(test::build(movie), std::map<std::string, std::string>{}));
    EXPECT_EQ(timecodeOf(asset), "216012 60 60/1");
    EXPECT_LE(asset.bytesRead(), 80U << 10);
}

} // namespace
