#include <algorithm>
#include <vector>

#include "mp4/box_walk.h"
#include "platform/file.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/unusable_inputs.h"
#include "tools/ps/export/export_frames.h"

namespace ps_tool {
namespace {

constexpr std::uint64_t kBeforeEntries = 8;  // version, flags and entry count of the sample description box
constexpr std::uint64_t kVisualEntry = 86;   // size of a visual sample entry without its boxes
constexpr std::uint64_t kBoxHeader = 8;

void read_units(BoxReader& in, unsigned count, ParameterSetUnits& sets) {
    for (; count > 0 && in.ok(); --count) {
        std::vector<platform::Byte> unit(std::min<std::uint64_t>(in.u16(), in.left()));
        in.read(unit);
        if (in.ok()) sets.push_back(std::move(unit));
    }
}

ParameterSetUnits read_configuration(BoxReader& in) {
    ParameterSetUnits sets;
    in.skip(5);  // version, profile, compatibility, level, length size
    read_units(in, in.u8() & 0x1FU, sets);
    read_units(in, in.u8(), sets);
    return sets;
}

/// Finds the configuration box in the sample entry at the reader's position.
ParameterSetUnits read_entry(BoxReader& in, std::uint64_t end) {
    in.skip(kVisualEntry);
    while (in.ok() && in.position() < end) {
        const std::uint32_t size = in.u32();
        const BoxType type = in.u32();
        if (type == kAvcC) return read_configuration(in);
        if (size < kBoxHeader) break;
        in.skip(size - kBoxHeader);
    }
    return {};
}

}  // namespace

ParameterSetUnits parameter_sets_of(const std::string& clip) {
    const auto file = platform::system_files().open_input(clip);
    if (!file) throw cli::CannotRun(clip + ": " + cli::why_unreadable(clip));
    BoxReader in(file.get());
    std::vector<BoxInfo> descriptions;
    (void)gather_tracks(
        in, [](const std::string&) {},
        [&](const BoxInfo& box) {
            if (box.type == kStsd) descriptions.push_back(box);
        });
    for (const BoxInfo& box : descriptions) {
        in.clear();
        in.seek(box.payload_offset + kBeforeEntries);
        ParameterSetUnits sets = read_entry(in, box.payload_offset + box.payload_size);
        if (!sets.empty()) return sets;
    }
    throw ExportRefused(clip + ": no parameter sets in the sample descriptions");
}

}  // namespace ps_tool
