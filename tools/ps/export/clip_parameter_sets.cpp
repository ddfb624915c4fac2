#include "tools/ps/export/clip_parameter_sets.h"

#include <algorithm>
#include <vector>

#include "mp4/box_walk.h"
#include "platform/file.h"
#include "tools/cli/exit_status.h"

namespace ps_tool {
namespace {

constexpr BoxType kAvcC = box_type("avcC");
constexpr std::uint64_t kBeforeEntries = 8;  // version, flags, count of a sample description box
constexpr std::uint64_t kVisualEntry = 86;   // bytes of a visual sample entry up to its boxes
constexpr std::uint64_t kBoxHeader = 8;

void read_units(BoxReader& in, unsigned count, GivenSets& sets) {
    for (; count > 0 && in.ok(); --count) {
        std::vector<platform::Byte> unit(std::min<std::uint64_t>(in.u16(), in.left()));
        in.read(unit);
        if (in.ok()) sets.push_back(std::move(unit));
    }
}

GivenSets read_configuration(BoxReader& in) {
    GivenSets sets;
    in.skip(5);  // version, profile, compatibility, level, length size
    read_units(in, in.u8() & 0x1FU, sets);
    read_units(in, in.u8(), sets);
    return sets;
}

/// Of the boxes in the sample entry that the reader stands at.
GivenSets read_entry(BoxReader& in, std::uint64_t end) {
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

GivenSets parameter_sets_of(const std::string& clip) {
    const auto file = platform::system_files().open_input(clip);
    if (!file) throw cli::CannotRun("cannot open " + clip);
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
        GivenSets sets = read_entry(in, box.payload_offset + box.payload_size);
        if (!sets.empty()) return sets;
    }
    throw Refused(clip + ": no parameter sets in this clip's sample descriptions");
}

}  // namespace ps_tool
