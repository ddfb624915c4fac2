#include "tools/ps/export/av_library.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include "tools/cli/exit_status.h"

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

}  // namespace

// The lookup includes libavformat's dependencies libavcodec and libavutil.
AvLibrary::AvLibrary()
    : library_(load()),
      alloc_output_context(
          function<decltype(::avformat_alloc_output_context2)>("avformat_alloc_output_context2")),
      free_context(function<decltype(::avformat_free_context)>("avformat_free_context")),
      new_stream(function<decltype(::avformat_new_stream)>("avformat_new_stream")),
      write_header(function<decltype(::avformat_write_header)>("avformat_write_header")),
      write_frame(function<decltype(::av_write_frame)>("av_write_frame")),
      write_trailer(function<decltype(::av_write_trailer)>("av_write_trailer")),
      open(function<decltype(::avio_open)>("avio_open")),
      close(function<decltype(::avio_closep)>("avio_closep")),
      alloc_packet(function<decltype(::av_packet_alloc)>("av_packet_alloc")),
      free_packet(function<decltype(::av_packet_free)>("av_packet_free")),
      rescale(function<decltype(::av_packet_rescale_ts)>("av_packet_rescale_ts")),
      allocate(function<decltype(::av_mallocz)>("av_mallocz")),
      set(function<decltype(::av_dict_set)>("av_dict_set")),
      free_dictionary(function<decltype(::av_dict_free)>("av_dict_free")),
      describe(function<decltype(::av_strerror)>("av_strerror")),
      set_log_level(function<decltype(::av_log_set_level)>("av_log_set_level")) {}

}  // namespace ps_tool
