#include "tools/reader/verify.h"

#include "tools/reader/verify_steps.h"

namespace reader {

Report verify(Recording& recording) {
    Report report;
    report.path = recording.data_path();
    report.data_size = recording.data_size();
    report.index_size = recording.index_size();

    const auto map = verify_map(recording, report);
    const bool entries_follow = verify_index_header(recording, report);
    if (!map || !entries_follow) return report;
    verify_chains(recording, verify_packets(recording, *map, report), report);
    return report;
}

}  // namespace reader
