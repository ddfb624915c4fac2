#include "tools/cli/exit_status.h"
#include "tools/ps/export/export_sink.h"

namespace ps_tool {

std::unique_ptr<ExportSink> make_container_sink(cli::OutputFile& file, ExportFormat /*format*/,
                                                const Selection& /*selection*/) {
    throw cli::CannotRun(file.path() + ": this build only supports .h264");
}

}  // namespace ps_tool
