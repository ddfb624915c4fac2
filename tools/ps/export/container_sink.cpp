extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

#include <fmt/format.h>

#include <array>
#include <new>

#include "tools/ps/av_library.h"
#include "tools/ps/export/export_sink.h"
#include "tools/reader/packet_time.h"

namespace ps_tool {
namespace {

/// The functions of libavformat and its dependencies.
struct AvLibrary {
    boost::dll::shared_library library =
        load_av_library("avformat", LIBAVFORMAT_VERSION_MAJOR, "install it or use .h264");
    decltype(&::avformat_alloc_output_context2) alloc_output_context =
        AvSymbol{library, "avformat_alloc_output_context2"};
    decltype(&::avformat_free_context) free_context = AvSymbol{library, "avformat_free_context"};
    decltype(&::avformat_new_stream) new_stream = AvSymbol{library, "avformat_new_stream"};
    decltype(&::avformat_write_header) write_header = AvSymbol{library, "avformat_write_header"};
    decltype(&::av_write_frame) write_frame = AvSymbol{library, "av_write_frame"};
    decltype(&::av_write_trailer) write_trailer = AvSymbol{library, "av_write_trailer"};
    decltype(&::avio_open) open = AvSymbol{library, "avio_open"};
    decltype(&::avio_closep) close = AvSymbol{library, "avio_closep"};
    decltype(&::av_packet_alloc) alloc_packet = AvSymbol{library, "av_packet_alloc"};
    decltype(&::av_packet_free) free_packet = AvSymbol{library, "av_packet_free"};
    decltype(&::av_packet_rescale_ts) rescale = AvSymbol{library, "av_packet_rescale_ts"};
    decltype(&::av_mallocz) allocate = AvSymbol{library, "av_mallocz"};
    decltype(&::av_realloc_array) reallocate = AvSymbol{library, "av_realloc_array"};
    decltype(&::av_dict_set) set = AvSymbol{library, "av_dict_set"};
    decltype(&::av_dict_free) free_dictionary = AvSymbol{library, "av_dict_free"};
    decltype(&::av_strerror) describe = AvSymbol{library, "av_strerror"};
    decltype(&::av_log_set_level) set_log_level = AvSymbol{library, "av_log_set_level"};
};

static_assert(kReadPadding >= AV_INPUT_BUFFER_PADDING_SIZE);

constexpr AVRational kTick{1, 1000};

class ContainerSink final : public ExportSink {
  public:
    ContainerSink(const cli::OutputFile& file, ExportFormat format, const Selection& selection)
        : path_(file.path() == "-" ? "standard output" : file.path()), format_(format) {
        // The prefix keeps the library from reading a path like "a:b.mkv" as a protocol.
        const std::string url = file.path() == "-" ? "pipe:1" : "file:" + file.temporary_path();
        av_.set_log_level(AV_LOG_QUIET);
        try {
            const char* const name = format == ExportFormat::kMp4 ? "mp4" : "matroska";
            check(av_.alloc_output_context(&context_, nullptr, name, url.c_str()));
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
        describe_file(selection);
        check(av_.open(&context_->pb, context_->url, AVIO_FLAG_WRITE));
        context_->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;  // decoding times may be negative
        AVDictionary* options = nullptr;
        if (format_ == ExportFormat::kMp4) {
            set(&options, "video_track_timescale", std::to_string(kTick.den));
            set(&options, "movflags", "+faststart");
        }
        const int result = av_.write_header(context_, &options);
        av_.free_dictionary(&options);
        check(result);
    }

    void describe_file(const Selection& selection) {
        const Camera& camera = selection.camera;
        const std::string begin = time_text(selection.begins);
        set(&context_->metadata, "title",
            fmt::format("{}, {}", camera.name.empty() ? camera.id : camera.name, begin));
        set(&context_->metadata, "comment", fmt::format("camera {}", camera.label()));
        if (const auto time = reader::packet_time_of(selection.begins))
            set(&context_->metadata, "creation_time", reader::rfc3339(*time));
        // The camera's name is the name of the track.
        set(&stream_->metadata, format_ == ExportFormat::kMp4 ? "handler_name" : "title", camera.name);
        add_chapters(selection.spans);
    }

    /// One for each span, and one for each gap, if there is a gap.
    void add_chapters(const std::vector<RecordedSpan>& spans) {
        for (std::size_t i = 0; i < spans.size() && spans.size() > 1; ++i) {
            const Interval& recorded = spans[i].recorded;
            const std::int64_t end = spans[i].position + recorded.length();
            add_chapter({spans[i].position, end}, time_text(recorded.begin));
            if (i + 1 == spans.size()) return;
            const std::int64_t seconds = (spans[i + 1].recorded.begin - recorded.end) / 1000;
            add_chapter({end, spans[i + 1].position},
                        fmt::format("{}, no recording for {}:{:02}:{:02}", time_text(recorded.end),
                                    seconds / 3600, seconds / 60 % 60, seconds % 60));
        }
    }

    static std::string time_text(std::int64_t instant) {
        const auto time = reader::packet_time_of(instant);
        return time ? reader::text_of(*time) + " UTC" : "";
    }

    void add_chapter(const Interval& shown, const std::string& title) {
        const auto count = static_cast<std::size_t>(context_->nb_chapters);
        auto* const longer =
            static_cast<AVChapter**>(av_.reallocate(context_->chapters, count + 1, sizeof(AVChapter*)));
        if (longer == nullptr) throw std::bad_alloc();
        context_->chapters = longer;
        auto* const chapter = static_cast<AVChapter*>(av_.allocate(sizeof(AVChapter)));
        if (chapter == nullptr) throw std::bad_alloc();
        context_->chapters[context_->nb_chapters++] = chapter;
        chapter->id = static_cast<std::int64_t>(count) + 1;
        chapter->time_base = kTick;
        chapter->start = shown.begin;
        chapter->end = shown.end;
        set(&chapter->metadata, "title", title);
    }

    void set(AVDictionary** dictionary, const char* name, const std::string& value) {
        check(av_.set(dictionary, name, value.c_str(), 0));
    }
    void check(int result) const {
        if (result >= 0) return;
        std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
        (void)av_.describe(result, text.data(), text.size());
        throw cli::CannotRun(path_ + ": cannot be written: " + text.data());
    }

    std::string path_;
    ExportFormat format_;
    AvLibrary av_;
    AVFormatContext* context_ = nullptr;  // owned
    AVStream* stream_ = nullptr;          // owned by context_
    AVPacket* packet_ = nullptr;          // owned
};

}  // namespace

std::unique_ptr<ExportSink> make_container_sink(cli::OutputFile& file, ExportFormat format,
                                                const Selection& selection) {
    return std::make_unique<ContainerSink>(file, format, selection);
}

}  // namespace ps_tool
