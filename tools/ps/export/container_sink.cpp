extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

#include <dlfcn.h>
#include <fmt/format.h>

#include <array>
#include <boost/dll/shared_library.hpp>
#include <new>
#include <stdexcept>

#include "tools/cli/exit_status.h"
#include "tools/ps/export/export_sink.h"
#include "tools/reader/packet_time.h"

namespace ps_tool {
namespace {

/// The library stays loaded, because its dependencies allocate memory that they never free.
constexpr auto kStays = static_cast<boost::dll::load_mode::type>(RTLD_NODELETE);

boost::dll::shared_library load() {
    const std::string name = fmt::format("libavformat.so.{}", LIBAVFORMAT_VERSION_MAJOR);
    boost::system::error_code error;
    boost::dll::shared_library library(boost::dll::fs::path(name), error,
                                       boost::dll::load_mode::search_system_folders | kStays);
    if (error) throw cli::CannotRun(name + ": not installed; install it or use .h264");
    return library;
}

/// Converts to a pointer to a function of the library or of its dependencies libavcodec and libavutil.
struct Symbol {
    const boost::dll::shared_library& library;
    const char* name;

    template <typename Function>
    operator Function*() const {
        return &library.get<Function>(name);
    }
};

/// The functions of libavformat and its dependencies, loaded at run time: only one subcommand needs them, and
/// few recorders have them installed. Throws cli::CannotRun if the library version that this was built with
/// is not installed.
struct AvLibrary {
    boost::dll::shared_library library = load();
    decltype(&::avformat_alloc_output_context2) alloc_output_context =
        Symbol{library, "avformat_alloc_output_context2"};
    decltype(&::avformat_free_context) free_context = Symbol{library, "avformat_free_context"};
    decltype(&::avformat_new_stream) new_stream = Symbol{library, "avformat_new_stream"};
    decltype(&::avformat_write_header) write_header = Symbol{library, "avformat_write_header"};
    decltype(&::av_write_frame) write_frame = Symbol{library, "av_write_frame"};
    decltype(&::av_write_trailer) write_trailer = Symbol{library, "av_write_trailer"};
    decltype(&::avio_open) open = Symbol{library, "avio_open"};
    decltype(&::avio_closep) close = Symbol{library, "avio_closep"};
    decltype(&::av_packet_alloc) alloc_packet = Symbol{library, "av_packet_alloc"};
    decltype(&::av_packet_free) free_packet = Symbol{library, "av_packet_free"};
    decltype(&::av_packet_rescale_ts) rescale = Symbol{library, "av_packet_rescale_ts"};
    decltype(&::av_mallocz) allocate = Symbol{library, "av_mallocz"};
    decltype(&::av_dict_set) set = Symbol{library, "av_dict_set"};
    decltype(&::av_dict_free) free_dictionary = Symbol{library, "av_dict_free"};
    decltype(&::av_strerror) describe = Symbol{library, "av_strerror"};
    decltype(&::av_log_set_level) set_log_level = Symbol{library, "av_log_set_level"};
};

static_assert(kReadPadding >= AV_INPUT_BUFFER_PADDING_SIZE);

constexpr AVRational kTick{1, 1000 * static_cast<int>(kTicksPerMillisecond)};

class ContainerSink final : public ExportSink {
  public:
    ContainerSink(const std::string& path, const Selection& selection) : path_(path) {
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

    ContainerSink(const ContainerSink&) = delete;
    ContainerSink& operator=(const ContainerSink&) = delete;
    ~ContainerSink() override { release(); }

    void write(const ExportFrame& frame, std::span<platform::Byte> bytes) override {
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

    void finish() override {
        check(av_.write_trailer(context_));
        check(av_.close(&context_->pb));
    }

  private:
    void release() {
        av_.free_packet(&packet_);
        if (context_ != nullptr) av_.close(&context_->pb);
        av_.free_context(context_);
        context_ = nullptr;
    }

    /// The library expects frames in start-code form if the parameter sets have that form.
    void describe_stream(const Selection& selection) {
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

    void begin_file(const Selection& selection) {
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

    void set(AVDictionary** dictionary, const char* name, const std::string& value) {
        check(av_.set(dictionary, name, value.c_str(), 0));
    }
    void check(int result) const {
        if (result >= 0) return;
        std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
        (void)av_.describe(result, text.data(), text.size());
        throw std::runtime_error(path_ + ": cannot be written: " + text.data());
    }

    std::string path_;
    AvLibrary av_;
    AVFormatContext* context_ = nullptr;  // owned
    AVStream* stream_ = nullptr;          // owned by context_
    AVPacket* packet_ = nullptr;          // owned
};

}  // namespace

std::unique_ptr<ExportSink> make_container_sink(const std::string& path, const Selection& selection) {
    return std::make_unique<ContainerSink>(path, selection);
}

}  // namespace ps_tool
