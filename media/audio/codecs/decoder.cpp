// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/audio/codecs/decoder.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "media/audio/codecs/decoder_configuration.h"
#include "media/audio/codecs/libav.h"

namespace media::audio::libav {

namespace {

/// A context for the format, open. Its options keep every decoded sample and run in the calling thread: lanes
/// are the threads.
Context openContext(const AudioStreamDescription& audio, std::span<const std::byte> configuration) {
    const AVCodec* const codec = avcodec_find_decoder(codecFor(audio.formatID));
    if (codec == nullptr)
        throw unreadable(audio.formatID);
    if (!(audio.sampleRate >= 0 && audio.sampleRate <= 1e9) || audio.channelsPerFrame > 255)
        throw damaged(audio.formatID);
    auto context = owned<Context>(avcodec_alloc_context3(codec));
    context->sample_rate = static_cast<int>(std::lround(audio.sampleRate));
    if (audio.channelsPerFrame > 0)
        av_channel_layout_default(&context->ch_layout, static_cast<int>(audio.channelsPerFrame));
    context->thread_count = 1;
    // Priming is the caller's: the library must not leave out what the stream calls skippable.
    context->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
    // These carry checksums, so that damage is found instead of heard.
    if (audio.formatID == audioFormat::flac || audio.formatID == audioFormat::ac3 ||
        audio.formatID == audioFormat::eac3)
        context->err_recognition |= AV_EF_CRCCHECK | AV_EF_EXPLODE;
    if (audio.formatID == audioFormat::ima4)
        context->block_align = 34 * static_cast<int>(audio.channelsPerFrame);

    const std::vector<std::byte> extradata = extradataFor(audio.formatID, configuration);
    if (!extradata.empty()) {
        context->extradata =
            static_cast<std::uint8_t*>(av_mallocz(extradata.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        if (context->extradata == nullptr)
            throw std::bad_alloc();
        std::memcpy(context->extradata, extradata.data(), extradata.size());
        context->extradata_size = static_cast<int>(extradata.size());
    }
    if (const int status = avcodec_open2(context.get(), codec, nullptr); status < 0)
        throw status == AVERROR_INVALIDDATA ? damaged(audio.formatID) : unreadable(audio.formatID);
    return context;
}

class LibavDecoder final : public Decoder {
  public:
    LibavDecoder(const AudioStreamDescription& format, std::span<const std::byte> configuration, int bits)
        : description_(format), configuration_(configuration.begin(), configuration.end()),
          formatID_(format.formatID), bytesPerSample_(static_cast<std::size_t>(bits) / 8),
          context_(openContext(description_, configuration_)), packet_(owned<Packet>(av_packet_alloc())),
          frame_(owned<Frame>(av_frame_alloc())), sampleRate_(context_->sample_rate),
          channels_(context_->ch_layout.nb_channels) {}

    void decode(std::span<const std::byte> packet, std::vector<std::byte>& pcm) override {
        if (packet.empty()) // would end the stream
            return;
        if (packet.size() > largestPacket)
            throw damaged(formatID_);
        fillPacket(packet);
        const int status = avcodec_send_packet(context_.get(), packet_.get());
        av_packet_unref(packet_.get());
        check(status);
        receive(pcm);
    }

    void finish(std::vector<std::byte>& pcm) override {
        check(avcodec_send_packet(context_.get(), nullptr));
        receive(pcm);
    }

    /// A flush of the library's leaves overlapping windows and noise generators as they were, so that what
    /// is decoded after a seek would depend on what was decoded before.
    void reset() override { context_ = openContext(description_, configuration_); }

    [[nodiscard]] double sampleRate() const override { return sampleRate_; }
    [[nodiscard]] std::uint32_t channels() const override { return static_cast<std::uint32_t>(channels_); }

  private:
    static constexpr std::size_t largestPacket = std::size_t{1} << 26;

    void check(int status) const {
        if (status >= 0)
            return;
        if (status == AVERROR(ENOMEM))
            throw std::bad_alloc();
        throw status == AVERROR_PATCHWELCOME ? unreadable(formatID_) : damaged(formatID_);
    }

    /// Points packet_ at a copy of the bytes with the padding that the library reads into. The buffer is used
    /// again as soon as the decoder has let go of it.
    void fillPacket(std::span<const std::byte> bytes) {
        const std::size_t needed = bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE;
        if (!input_ || input_->size < needed || av_buffer_is_writable(input_.get()) == 0)
            input_ = owned<Buffer>(av_buffer_alloc(std::max<std::size_t>(needed, 4096)));
        std::memcpy(input_->data, bytes.data(), bytes.size());
        std::memset(input_->data + bytes.size(), 0, AV_INPUT_BUFFER_PADDING_SIZE);
        packet_->buf = owned<Buffer>(av_buffer_ref(input_.get())).release();
        packet_->data = input_->data;
        packet_->size = static_cast<int>(bytes.size());
    }

    void receive(std::vector<std::byte>& pcm) {
        for (;;) {
            const int status = avcodec_receive_frame(context_.get(), frame_.get());
            if (status == AVERROR(EAGAIN) || status == AVERROR_EOF)
                return;
            check(status);
            configure();
            appendFrame(pcm);
            av_frame_unref(frame_.get());
        }
    }

    /// Makes the converter fit the first frame; later frames must be like it.
    void configure() {
        if (converter_) {
            if (frame_->sample_rate != sampleRate_ || frame_->ch_layout.nb_channels != channels_ ||
                frame_->format != sampleFormat_)
                throw Error(Error::Category::unsupported, "The sound changes its format in the middle.");
            return;
        }
        sampleRate_ = frame_->sample_rate;
        channels_ = frame_->ch_layout.nb_channels;
        sampleFormat_ = frame_->format;
        SwrContext* created = nullptr;
        const AVSampleFormat out = bytesPerSample_ == 2 ? AV_SAMPLE_FMT_S16 : AV_SAMPLE_FMT_S32;
        check(swr_alloc_set_opts2(&created, &frame_->ch_layout, out, sampleRate_, &frame_->ch_layout,
                                  static_cast<AVSampleFormat>(frame_->format), sampleRate_, 0, nullptr));
        Converter converter(created);
        check(swr_init(created));
        converter_ = std::move(converter);
    }

    void appendFrame(std::vector<std::byte>& pcm) {
        const auto frames = static_cast<std::size_t>(frame_->nb_samples);
        const std::size_t samples = frames * static_cast<std::size_t>(channels_);
        const std::size_t before = pcm.size();
        pcm.resize(before + samples * bytesPerSample_);
        if (bytesPerSample_ != 3) {
            convert(reinterpret_cast<std::uint8_t*>(pcm.data() + before));
            return;
        }
        scratch_.resize(samples);
        convert(reinterpret_cast<std::uint8_t*>(scratch_.data()));
        std::byte* to = pcm.data() + before;
        for (const std::uint32_t sample : scratch_) {
            to[0] = static_cast<std::byte>(sample >> 8);
            to[1] = static_cast<std::byte>(sample >> 16);
            to[2] = static_cast<std::byte>(sample >> 24);
            to += 3;
        }
    }

    void convert(std::uint8_t* to) {
        const int converted =
            swr_convert(converter_.get(), &to, frame_->nb_samples,
                        const_cast<const std::uint8_t**>(frame_->extended_data), frame_->nb_samples);
        check(converted == frame_->nb_samples ? 0 : AVERROR_INVALIDDATA);
    }

    AudioStreamDescription description_;
    std::vector<std::byte> configuration_;
    FourCC formatID_;
    std::size_t bytesPerSample_;
    Context context_;
    Packet packet_;
    Frame frame_;
    Buffer input_;
    Converter converter_;
    int sampleRate_;
    int channels_;
    int sampleFormat_ = AV_SAMPLE_FMT_NONE;
    std::vector<std::uint32_t> scratch_;
};

} // namespace

std::unique_ptr<Decoder> makeDecoder(const AudioStreamDescription& format,
                                     std::span<const std::byte> configuration, int bits) {
    return std::make_unique<LibavDecoder>(format, configuration, bits);
}

} // namespace media::audio::libav
