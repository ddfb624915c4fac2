#include <array>
#include <new>
#include <stdexcept>

#include "tools/ps/export/av_library.h"
#include "tools/ps/export/export_sink.h"
#include "tools/reader/packet_time.h"

namespace ps_tool {
namespace {

static_assert(kReadPadding >= AV_INPUT_BUFFER_PADDING_SIZE);

constexpr AVRational kTick{1, 1000 * static_cast<int>(kTicksPerMillisecond)};

class ContainerSink final : public ExportSink {
  public:
    ContainerSink(const std::string& path, const Selection& selection);
    ContainerSink(const ContainerSink&) = delete;
    ContainerSink& operator=(const ContainerSink&) = delete;
    ~ContainerSink() override;

    void write(const ExportFrame& frame, std::span<platform::Byte> bytes) override;
    void finish() override;

  private:
    void release();
    void describe_stream(const Selection& selection);
    void begin_file(const Selection& selection);
    void set(AVDictionary** dictionary, const char* name, const std::string& value) {
        check(av_.set(dictionary, name, value.c_str(), 0));
    }
    void check(int result) const;

    std::string path_;
    AvLibrary av_;
    AVFormatContext* context_ = nullptr;  // owned
    AVStream* stream_ = nullptr;          // owned by context_
    AVPacket* packet_ = nullptr;          // owned
};

ContainerSink::ContainerSink(const std::string& path, const Selection& selection) : path_(path) {
    av_.set_log_level(AV_LOG_QUIET);
    try {
        check(av_.alloc_output_context(&context_, nullptr, nullptr, path.c_str()));
        packet_ = av_.alloc_packet();
        stream_ = av_.new_stream(context_, nullptr);
        if (packet_ == nullptr || stream_ == nullptr) throw std::bad_alloc();
        describe_stream(selection);
        begin_file(selection);
    } catch (...) {
        release();
        throw;
    }
}

ContainerSink::~ContainerSink() {
    release();
}

void ContainerSink::release() {
    av_.free_packet(&packet_);
    if (context_ != nullptr) av_.close(&context_->pb);
    av_.free_context(context_);
    context_ = nullptr;
}

/// The library expects frames in start-code form if the parameter sets have that form.
void ContainerSink::describe_stream(const Selection& selection) {
    AVCodecParameters& codec = *stream_->codecpar;
    codec.codec_type = AVMEDIA_TYPE_VIDEO;
    codec.codec_id = AV_CODEC_ID_H264;
    codec.width = static_cast<int>(selection.width);
    codec.height = static_cast<int>(selection.height);
    codec.extradata = static_cast<std::uint8_t*>(av_.allocate(selection.head.size() + kReadPadding));
    if (codec.extradata == nullptr) throw std::bad_alloc();
    std::ranges::copy(selection.head, codec.extradata);
    codec.extradata_size = static_cast<int>(selection.head.size());
    stream_->time_base = kTick;
}

void ContainerSink::begin_file(const Selection& selection) {
    if (const auto begin = reader::packet_time_of(selection.begins))
        set(&context_->metadata, "creation_time", reader::rfc3339(*begin));
    check(av_.open(&context_->pb, path_.c_str(), AVIO_FLAG_WRITE));
    context_->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;  // decoding times may be negative
    AVDictionary* options = nullptr;
    set(&options, "movflags", "+faststart");
    const int result = av_.write_header(context_, &options);
    av_.free_dictionary(&options);
    check(result);
}

void ContainerSink::write(const ExportFrame& frame, std::span<platform::Byte> bytes) {
    packet_->data = bytes.data();
    packet_->size = static_cast<int>(bytes.size());
    packet_->pts = frame.shown;
    packet_->dts = frame.decoded;
    packet_->duration = frame.duration;
    packet_->stream_index = stream_->index;
    packet_->flags = frame.key ? AV_PKT_FLAG_KEY : 0;
    av_.rescale(packet_, kTick, stream_->time_base);
    check(av_.write_frame(context_, packet_));
}

void ContainerSink::finish() {
    check(av_.write_trailer(context_));
    check(av_.close(&context_->pb));
}

void ContainerSink::check(int result) const {
    if (result >= 0) return;
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    (void)av_.describe(result, text.data(), text.size());
    throw std::runtime_error(path_ + ": cannot be written: " + text.data());
}

}  // namespace

std::unique_ptr<ExportSink> make_container_sink(const std::string& path, const Selection& selection) {
    return std::make_unique<ContainerSink>(path, selection);
}

}  // namespace ps_tool
