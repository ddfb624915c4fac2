#pragma once

extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

#include <boost/dll/shared_library.hpp>

namespace ps_tool {

/// The functions of libavformat and its dependencies, loaded at run time: only one subcommand needs them, and
/// few recorders have them installed.
class AvLibrary {
  public:
    /// Throws cli::CannotRun if the library version that this was built with is not installed.
    AvLibrary();

  private:
    boost::dll::shared_library library_;

    template <typename Function>
    Function* function(const char* name) {
        return &library_.get<Function>(name);
    }

  public:
    decltype(&::avformat_alloc_output_context2) alloc_output_context;
    decltype(&::avformat_free_context) free_context;
    decltype(&::avformat_new_stream) new_stream;
    decltype(&::avformat_write_header) write_header;
    decltype(&::av_write_frame) write_frame;
    decltype(&::av_write_trailer) write_trailer;
    decltype(&::avio_open) open;
    decltype(&::avio_closep) close;
    decltype(&::av_packet_alloc) alloc_packet;
    decltype(&::av_packet_free) free_packet;
    decltype(&::av_packet_rescale_ts) rescale;
    decltype(&::av_mallocz) allocate;
    decltype(&::av_dict_set) set;
    decltype(&::av_dict_free) free_dictionary;
    decltype(&::av_strerror) describe;
    decltype(&::av_log_set_level) set_log_level;
};

}  // namespace ps_tool
