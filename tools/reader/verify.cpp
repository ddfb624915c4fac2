#include "tools/reader/verify.h"

#include "tools/reader/verify_steps.h"

namespace reader {

Report verify(Recording& recording, VerifyDepth depth, const PacketVisitor& visit) {
    Report report;
    report.path = recording.data_path();
    report.data_size = recording.data_size();
    report.index_size = recording.index_size();
    if (!recording.has_data()) {
        report.faults.add({recording.data_path(), 0, "the data file is missing or cannot be opened"});
        return report;
    }
    const bool readable = verify_map(recording, report);
    verify_index_header(recording, report);
    if (readable) verify_packets(recording, depth, visit, report);
    return report;
}

void add_data_fault(const Recording& recording, std::uint64_t at, std::string text, Report& report,
                    std::optional<std::uint32_t> number) {
    report.faults.add({recording.data_path(), at, std::move(text), number, Repair::kNone});
}

void add_index_fault(const Recording& recording, std::uint64_t at, std::string text, Report& report,
                     std::optional<std::uint32_t> number) {
    report.faults.add({recording.index_path(), at, std::move(text), number, Repair::kByRebuilding});
}

}  // namespace reader
