#include "tools/ps/report/still_codec.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/common.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cmath>
#include <map>
#include <new>
#include <utility>

#include "tools/ps/av_library.h"
#include "tools/ps/report/picture_plane.h"

namespace ps_tool {
namespace {

/// The functions of libavcodec and its dependency libavutil.
struct CodecLibrary {
    boost::dll::shared_library library = load_av_library("avcodec", LIBAVCODEC_VERSION_MAJOR, "install it");
    decltype(&::avcodec_find_decoder) find_decoder = AvSymbol{library, "avcodec_find_decoder"};
    decltype(&::avcodec_find_encoder) find_encoder = AvSymbol{library, "avcodec_find_encoder"};
    decltype(&::avcodec_alloc_context3) alloc_context = AvSymbol{library, "avcodec_alloc_context3"};
    decltype(&::avcodec_free_context) free_context = AvSymbol{library, "avcodec_free_context"};
    decltype(&::avcodec_open2) open = AvSymbol{library, "avcodec_open2"};
    decltype(&::avcodec_flush_buffers) flush = AvSymbol{library, "avcodec_flush_buffers"};
    decltype(&::avcodec_send_packet) send_packet = AvSymbol{library, "avcodec_send_packet"};
    decltype(&::avcodec_receive_frame) receive_frame = AvSymbol{library, "avcodec_receive_frame"};
    decltype(&::avcodec_send_frame) send_frame = AvSymbol{library, "avcodec_send_frame"};
    decltype(&::avcodec_receive_packet) receive_packet = AvSymbol{library, "avcodec_receive_packet"};
    decltype(&::av_new_packet) new_packet = AvSymbol{library, "av_new_packet"};
    decltype(&::av_packet_alloc) alloc_packet = AvSymbol{library, "av_packet_alloc"};
    decltype(&::av_packet_unref) clear_packet = AvSymbol{library, "av_packet_unref"};
    decltype(&::av_packet_free) free_packet = AvSymbol{library, "av_packet_free"};
    decltype(&::av_frame_alloc) alloc_frame = AvSymbol{library, "av_frame_alloc"};
    decltype(&::av_frame_free) free_frame = AvSymbol{library, "av_frame_free"};
    decltype(&::av_pix_fmt_desc_get) describe_format = AvSymbol{library, "av_pix_fmt_desc_get"};
    decltype(&::av_log_set_level) set_log_level = AvSymbol{library, "av_log_set_level"};
};

/// Owns an object of the library.
template <typename Object>
std::shared_ptr<Object> owned(Object* object, void (*release)(Object**)) {
    if (object == nullptr) throw std::bad_alloc();
    return std::shared_ptr<Object>(object, [release](Object* released) { release(&released); });
}

/// Decodes single key frames.
class KeyFrameDecoder {
  public:
    explicit KeyFrameDecoder(const CodecLibrary& av)
        : av_(av),
          context_(owned(av.alloc_context(av.find_decoder(AV_CODEC_ID_H264)), av.free_context)),
          packet_(owned(av.alloc_packet(), av.free_packet)),
          frame_(owned(av.alloc_frame(), av.free_frame)) {
        context_->thread_count = 1;  // a recording has one; recordings are read in parallel
        context_->max_pixels = kMaxPicturePixels;
        context_->flags2 |= AV_CODEC_FLAG2_SHOW_ALL;  // also a key frame that predicted frames could follow
        if (av_.open(context_.get(), nullptr, nullptr) < 0) throw std::bad_alloc();
    }

    /// Valid until the next call.
    const AVFrame& decode(std::span<const platform::Byte> stream) {
        av_.flush(context_.get());
        if (av_.new_packet(packet_.get(), static_cast<int>(stream.size())) < 0) throw std::bad_alloc();
        std::ranges::copy(stream, packet_->data);
        packet_->flags = AV_PKT_FLAG_KEY;
        const int sent = av_.send_packet(context_.get(), packet_.get());
        av_.clear_packet(packet_.get());
        // Without a packet: the decoder outputs what it has.
        if (sent < 0 || av_.send_packet(context_.get(), nullptr) < 0 ||
            av_.receive_frame(context_.get(), frame_.get()) < 0)
            throw StillObstacle("the key frame cannot be decoded");
        if (frame_->decode_error_flags != 0 || (frame_->flags & AV_FRAME_FLAG_CORRUPT) != 0)
            throw StillObstacle("the key frame is damaged");
        return *frame_;
    }

  private:
    const CodecLibrary& av_;
    std::shared_ptr<AVCodecContext> context_;
    std::shared_ptr<AVPacket> packet_;
    std::shared_ptr<AVFrame> frame_;
};

/// A picture in the format of JPEG: 4:2:0, full range.
struct JpegPicture {
    Plane luma;
    Plane blue;
    Plane red;
};

/// Encodes pictures of one size.
class JpegEncoder {
  public:
    JpegEncoder(const CodecLibrary& av, int width, int height)
        : av_(av),
          context_(owned(av.alloc_context(av.find_encoder(AV_CODEC_ID_MJPEG)), av.free_context)),
          packet_(owned(av.alloc_packet(), av.free_packet)),
          frame_(owned(av.alloc_frame(), av.free_frame)) {
        constexpr AVRational kAnyRate{1, 25};
        context_->width = frame_->width = width;
        context_->height = frame_->height = height;
        context_->pix_fmt = AV_PIX_FMT_YUVJ420P;
        frame_->format = AV_PIX_FMT_YUVJ420P;
        context_->color_range = frame_->color_range = AVCOL_RANGE_JPEG;
        context_->time_base = kAnyRate;
        context_->thread_count = 1;
        // Without the name of the encoder in each image.
        context_->flags |= AV_CODEC_FLAG_QSCALE | AV_CODEC_FLAG_BITEXACT;
        if (av_.open(context_.get(), nullptr, nullptr) < 0)
            throw StillObstacle("no JPEG image can have this size");
    }

    [[nodiscard]] std::string encode(const JpegPicture& picture, int quantizer) {
        std::size_t i = 0;
        for (const Plane* const plane : {&picture.luma, &picture.blue, &picture.red}) {
            frame_->data[i] = const_cast<std::uint8_t*>(plane->samples.data());  // the encoder copies them
            frame_->linesize[i++] = plane->width;
        }
        frame_->quality = quantizer * FF_QP2LAMBDA;
        ++frame_->pts;
        if (av_.send_frame(context_.get(), frame_.get()) < 0 ||
            av_.receive_packet(context_.get(), packet_.get()) < 0)
            throw StillObstacle("the picture cannot be encoded as JPEG");
        std::string jpeg(packet_->data, packet_->data + packet_->size);
        av_.clear_packet(packet_.get());
        return jpeg;
    }

  private:
    const CodecLibrary& av_;
    std::shared_ptr<AVCodecContext> context_;
    std::shared_ptr<AVPacket> packet_;
    std::shared_ptr<AVFrame> frame_;
};

int even(double length) {
    return std::max(2, static_cast<int>(std::lround(length / 2)) * 2);
}

/// The component with its samples converted to 8 bits and full range.
SamplePlane plane_of(const AVFrame& frame, const AVPixFmtDescriptor& format, std::size_t component) {
    const AVComponentDescriptor& layout = format.comp[component];
    const auto index = static_cast<std::size_t>(layout.plane);
    const bool chroma = component > 0;
    SamplePlane plane;
    plane.samples = frame.data[index];
    plane.stride = frame.linesize[index];
    plane.width = chroma ? AV_CEIL_RSHIFT(frame.width, format.log2_chroma_w) : frame.width;
    plane.height = chroma ? AV_CEIL_RSHIFT(frame.height, format.log2_chroma_h) : frame.height;
    plane.wide = layout.depth > 8;
    const bool full = frame.color_range == AVCOL_RANGE_JPEG || frame.format == AV_PIX_FMT_YUVJ420P ||
                      frame.format == AV_PIX_FMT_YUVJ422P || frame.format == AV_PIX_FMT_YUVJ444P;
    // Limited range: ITU-R BT.601, 2.5.3.
    const double range = full ? 1 : 255.0 / (chroma ? 224 : 219);
    const double middle = chroma ? 128 : 0;
    plane.gain = std::ldexp(range, 8 - layout.depth);
    plane.offset = middle - (full || chroma ? middle : 16) * range;
    return plane;
}

SamplePlane whole(const Plane& plane) {
    return {plane.samples.data(), plane.width, plane.width, plane.height};
}

class LibavStillCodec final : public StillCodec {
  public:
    explicit LibavStillCodec(const CodecLibrary& av) : av_(av), decoder_(av) {}

    StillImages images(std::span<const platform::Byte> stream, std::size_t first_rung) override {
        const JpegPicture largest = small_picture(decoder_.decode(stream));
        StillImages images;
        JpegPicture picture = largest;
        for (std::size_t rung = first_rung; rung < kStillRungs.size(); ++rung) {
            const auto [max_width, quantizer] = kStillRungs[rung];
            if (picture.luma.width > max_width) picture = scaled(largest, max_width);
            images[rung] = encoder(picture.luma.width, picture.luma.height).encode(picture, quantizer);
        }
        return images;
    }

  private:
    /// At most as wide as the first rung.
    JpegPicture small_picture(const AVFrame& frame) {
        const AVPixFmtDescriptor* const format =
            av_.describe_format(static_cast<AVPixelFormat>(frame.format));
        constexpr std::uint64_t kOther =
            AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BITSTREAM;
        if (format == nullptr || (format->flags & kOther) != 0)
            throw StillObstacle("pictures of this colour format are not shown");
        const AVRational shape = frame.sample_aspect_ratio;
        const double pixel_width =
            shape.num > 0 && shape.den > 0 ? static_cast<double>(shape.num) / shape.den : 1;
        const double displayed_width = frame.width * pixel_width;
        const int width = even(std::min<double>(kStillRungs.front().width, displayed_width));
        const int height = even(std::min<double>(4.0 * width, width * frame.height / displayed_width));
        JpegPicture picture{scale_plane(plane_of(frame, *format, 0), width, height), {}, {}};
        if (format->nb_components < 3) {
            picture.blue = grey(width / 2, height / 2);
            picture.red = picture.blue;
        } else {
            picture.blue = scale_plane(plane_of(frame, *format, 1), width / 2, height / 2);
            picture.red = scale_plane(plane_of(frame, *format, 2), width / 2, height / 2);
        }
        return picture;
    }

    static Plane grey(int width, int height) {
        constexpr platform::Byte kNoColour = 128;
        return {width, height,
                std::vector<platform::Byte>(static_cast<std::size_t>(width * height), kNoColour)};
    }

    static JpegPicture scaled(const JpegPicture& picture, int width) {
        const int height = even(static_cast<double>(width) * picture.luma.height / picture.luma.width);
        return {scale_plane(whole(picture.luma), width, height),
                scale_plane(whole(picture.blue), width / 2, height / 2),
                scale_plane(whole(picture.red), width / 2, height / 2)};
    }

    JpegEncoder& encoder(int width, int height) {
        return encoders_.try_emplace({width, height}, av_, width, height).first->second;
    }

    const CodecLibrary& av_;
    KeyFrameDecoder decoder_;
    std::map<std::pair<int, int>, JpegEncoder> encoders_;
};

}  // namespace

MakeStillCodec load_still_codec() {
    const auto library = std::make_shared<const CodecLibrary>();
    library->set_log_level(AV_LOG_QUIET);
    if (library->find_decoder(AV_CODEC_ID_H264) == nullptr ||
        library->find_encoder(AV_CODEC_ID_MJPEG) == nullptr)
        throw cli::CannotRun("libavcodec: built without H.264 or JPEG; install another build");
    return [library] { return std::make_unique<LibavStillCodec>(*library); };
}

}  // namespace ps_tool
