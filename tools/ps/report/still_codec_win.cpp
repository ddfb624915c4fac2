#include "tools/cli/exit_status.h"
#include "tools/ps/report/still_codec.h"

namespace ps_tool {

MakeStillCodec load_still_codec() {
    throw cli::CannotRun("this build cannot decode pictures");
}

}  // namespace ps_tool
