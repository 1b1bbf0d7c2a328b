// SPDX-License-Identifier: GPL-3.0-or-later
// What a movie's writer does when the disk, an encoder or the user ends it early.
#include <chrono>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media/base/error.h"
#include "media/quicktime/writer/writer_lanes.h"
#include "tests/support/movie_lanes.h"
#include "tests/support/temporary_folder.h"

namespace {

using media::AssetWriter;
using media::Error;
using test::Bytes;

constexpr std::int64_t rate = 48'000;
constexpr media::AudioStreamDescription monoFloat{
    rate, media::audioFormat::linearPCM, media::pcmFlag::floatingPoint | media::pcmFlag::packed, 1, 32, 4};

/// Three sound lanes of a minute, 35 MB in all.
std::vector<test::FedLane> soundLanes(AssetWriter& writer) {
    const auto buffers = test::soundBuffers(Bytes(std::size_t{rate} * 4 * 60), 4, rate);
    std::vector<test::FedLane> lanes;
    for (int i = 0; i < 3; ++i)
        lanes.push_back({writer.addPassThroughInput(monoFloat), buffers});
    return lanes;
}

template <typename Step>
std::pair<Error::Category, std::string> failureOf(Step step) {
    try {
        step();
    } catch (const Error& error) {
        return {error.category(), error.what()};
    }
    return {Error::Category::corrupt, "no error"};
}

bool isEmpty(const std::filesystem::path& folder) {
    return std::filesystem::directory_iterator(folder) == std::filesystem::directory_iterator();
}

TEST(AssetWriterFaults, SaysThatTheFolderIsGone) {
    const auto gone = [](const std::filesystem::path& place) {
        return std::pair(Error::Category::io,
                         "The copy can't be written in " + place.string() + ": no such file or directory.");
    };
    const test::TemporaryFolder folder;
    {
        AssetWriter writer(folder / "missing" / "copy.mov");
        (void)soundLanes(writer);
        EXPECT_EQ(failureOf([&] { writer.start(); }), gone(folder / "missing"));
    }
    std::filesystem::create_directory(folder / "pulled");
    AssetWriter writer(folder / "pulled" / "copy.mov");
    const auto lanes = soundLanes(writer);
    writer.start();
    std::filesystem::remove_all(folder / "pulled");
    (void)test::feed(lanes);
    EXPECT_EQ(failureOf([&] { writer.finish(); }), gone(folder / "pulled"));
}

TEST(AssetWriterFaults, StopsFromAnyThreadAtAnyTime) {
    const test::TemporaryFolder folder;
    for (int microseconds = 0; microseconds < 60'000; microseconds += 3'000) {
        AssetWriter writer(folder / "copy.mov");
        const auto lanes = soundLanes(writer);
        writer.start();
        {
            const std::jthread stopper([&] {
                std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
                writer.cancel();
            });
            (void)test::feed(lanes);
        }
        EXPECT_TRUE(isEmpty(folder.path()));
        EXPECT_FALSE(lanes[0].input.append(lanes[0].buffers[0]));
        EXPECT_NE(failureOf([&] { writer.finish(); }).second, "no error");
        EXPECT_TRUE(isEmpty(folder.path()));
    }
    { // let go of without being finished
        AssetWriter writer(folder / "copy.mov");
        const auto lanes = soundLanes(writer);
        writer.start();
        EXPECT_TRUE(test::feed(lanes));
    }
    EXPECT_TRUE(isEmpty(folder.path()));
    { // stopped only when all is done
        AssetWriter writer(folder / "copy.mov");
        const auto lanes = soundLanes(writer);
        writer.start();
        EXPECT_TRUE(test::feed(lanes));
        writer.finish();
        writer.cancel();
    }
    EXPECT_FALSE(isEmpty(folder.path()));
}

/// Fails after a second of sound.
class FailingEncoder final : public media::audio::Encoder {
  public:
    FailingEncoder() {
        format_.formatID = media::audioFormat::appleLossless;
        format_.sampleRate = rate;
        format_.channels = 1;
        format_.bitsPerChannel = 16;
        format_.framesPerPacket = 4096;
    }
    void encode(std::span<const std::byte> pcm, const media::audio::PacketSink& sink) override {
        if ((taken_ += pcm.size()) > std::size_t{rate} * 2)
            throw std::runtime_error("encoder");
        sink(pcm.first(100), 4096);
    }
    void finish(const media::audio::PacketSink&) override {}
    [[nodiscard]] const media::audio::EncodedFormat& format() const override { return format_; }

  private:
    media::audio::EncodedFormat format_;
    std::size_t taken_ = 0;
};

TEST(AssetWriterFaults, AnEncoderThatFailsEndsAllLanes) {
    const test::TemporaryFolder folder;
    media::quicktime::SpillFile spill(folder.path());
    media::ChunkSequencer sequencer([](std::size_t, const media::Chunk&) {});
    const auto failing = media::makeEncodedLane(sequencer, spill, std::make_unique<FailingEncoder>());
    const auto other = media::makePassThroughLane(sequencer, spill, monoFloat);
    EXPECT_FALSE(test::feed({{*failing, test::soundBuffers(Bytes(std::size_t{rate} * 2 * 60), 2, rate)},
                             {*other, test::soundBuffers(Bytes(std::size_t{rate} * 4 * 60), 4, rate)}}));
    ASSERT_TRUE(sequencer.error());
    EXPECT_THROW(std::rethrow_exception(sequencer.error()), std::runtime_error);
}

TEST(AssetWriterFaults, RefusesSoundThatNoMovieDescribes) {
    AssetWriter writer("never-created.mov");
    for (const auto& [channels, bytesPerFrame, sampleRate, flags] :
         {std::tuple{0U, 0U, 48'000.0, 0U}, std::tuple{2U, 7U, 48'000.0, 0U}, std::tuple{1U, 4U, 0.0, 0U},
          std::tuple{2U, 8U, 48'000.0, media::pcmFlag::nonInterleaved}}) {
        media::AudioStreamDescription format = monoFloat;
        format.channelsPerFrame = channels;
        format.bytesPerFrame = bytesPerFrame;
        format.sampleRate = sampleRate;
        format.formatFlags |= flags;
        EXPECT_THROW((void)writer.addPassThroughInput(format), Error);
    }
    EXPECT_THROW((void)writer.addTimecodeInput(media::Track{}), Error);
}

} // namespace
