#include "mp4/boxes.h"

#include <algorithm>
#include <utility>

namespace {

/// The end of the payload, at most the end of the file.
std::uint64_t end_of_box(const BoxReader& in, std::uint64_t payload) {
    return payload > in.left() ? in.position() + in.left() : in.position() + payload;
}

/// The number of complete entries before the end, at most `count`. The count in the file may be wrong.
std::uint64_t entries_that_fit(const BoxReader& in, std::uint32_t count, std::uint64_t end,
                               std::uint64_t entry_size) {
    const std::uint64_t room = end > in.position() ? end - in.position() : 0;
    return std::min<std::uint64_t>(count, room / entry_size);
}

/// One entry of a table whose entries consist of 32-bit words.
template <typename Entry, std::size_t... Word>
Entry entry_at(std::span<const platform::Byte> bytes, std::index_sequence<Word...>) {
    return Entry{platform::load<std::endian::big, std::uint32_t>(bytes.subspan(4 * Word).first<4>())...};
}

/// Reads the claimed entries that are complete before the end, in batches.
template <typename Entry>
void read_entries(BoxReader& in, std::uint32_t claimed, std::uint64_t end, std::vector<Entry>& table) {
    constexpr std::size_t kWords = sizeof(Entry) / 4;
    constexpr std::size_t kBatchSize = 4'096;  // entries
    std::uint64_t left = entries_that_fit(in, claimed, end, sizeof(Entry));
    table.reserve(left);
    while (left > 0 && in.ok()) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, kBatchSize));
        auto bytes = std::span<const platform::Byte>(in.peek(wanted * sizeof(Entry)));
        in.consume(bytes.size());
        for (; bytes.size() >= sizeof(Entry); bytes = bytes.subspan(sizeof(Entry))) {
            table.push_back(entry_at<Entry>(bytes, std::make_index_sequence<kWords>()));
        }
        left -= wanted;
    }
}

/// Reads a box that consists of a count and its entries.
template <typename Entry>
std::uint64_t read_table(BoxReader& in, std::uint64_t payload, std::vector<Entry>& table) {
    if (payload == 0) return 0;
    const std::uint64_t start = in.position();
    const std::uint64_t end = end_of_box(in, payload);
    in.skip(4);  // version, flags
    read_entries(in, in.u32(), end, table);
    return in.position() - start;
}

}  // namespace

std::uint64_t MvhdBox::parse(BoxReader& in, std::uint64_t payload) {
    if (payload == 0) return 0;
    const std::uint64_t start = in.position();
    const std::uint8_t version = in.u8();
    in.skip(3);  // flags
    MvhdEntry entry;
    if (version == 1) {
        entry.creation_time = in.u64();
        entry.modification_time = in.u64();
        entry.timescale = in.u32();
        entry.duration = in.u64();
    } else {
        entry.creation_time = in.u32();
        entry.modification_time = in.u32();
        entry.timescale = in.u32();
        entry.duration = in.u32();
    }
    table.push_back(entry);
    return in.position() - start;
}

std::uint64_t SttsBox::parse(BoxReader& in, std::uint64_t payload) {
    return read_table(in, payload, table);
}

std::uint64_t CttsBox::parse(BoxReader& in, std::uint64_t payload) {
    return read_table(in, payload, table);
}

std::uint64_t Co64Box::parse(BoxReader& in, std::uint64_t payload) {
    return read_table(in, payload, table);
}

std::uint64_t StscBox::parse(BoxReader& in, std::uint64_t payload) {
    return read_table(in, payload, table);
}

std::uint64_t NumbersBox::parse(BoxReader& in, std::uint64_t payload) {
    return read_table(in, payload, table);
}

std::uint64_t StszBox::parse(BoxReader& in, std::uint64_t payload) {
    if (payload == 0) return 0;
    const std::uint64_t start = in.position();
    const std::uint64_t end = end_of_box(in, payload);
    in.skip(4);  // version, flags
    const std::uint32_t size_of_all = in.u32();
    const std::uint32_t claimed = in.u32();
    if (size_of_all != 0) {
        table = SampleSizes(size_of_all, claimed);
        return in.position() - start;
    }
    std::vector<std::uint32_t> sizes;
    read_entries(in, claimed, end, sizes);
    table = SampleSizes(std::move(sizes));
    return in.position() - start;
}

std::uint64_t Stz2Box::parse(BoxReader& in, std::uint64_t payload) {
    if (payload == 0) return 0;
    const std::uint64_t start = in.position();
    const std::uint64_t end = end_of_box(in, payload);
    in.skip(4 + 3);  // version, flags, reserved
    const std::uint8_t bits = in.u8();
    const std::uint32_t claimed = in.u32();
    if (bits != 4 && bits != 8 && bits != 16) return in.position() - start;
    const std::uint64_t room = end > in.position() ? end - in.position() : 0;
    const std::uint64_t count = std::min<std::uint64_t>(claimed, room * 8 / bits);
    std::vector<platform::Byte> packed((count * bits + 7) / 8);
    in.read(packed);
    if (in.ok()) table = SampleSizes(std::move(packed), bits, static_cast<std::uint32_t>(count));
    return in.position() - start;
}

namespace {

/// The AVC configuration box after the fixed part of an "avc1" entry.
void read_avc_configuration(BoxReader& in, StsdEntry& entry) {
    entry.configuration_size = in.u32();
    entry.configuration_type = in.u32();
    entry.configuration_version = in.u8();
    entry.profile_indication = in.u8();
    entry.profile_compatibility = in.u8();
    entry.level_indication = in.u8();
    entry.nal_length_size_minus_one = in.u8() & 0x03;  // after 6 reserved bits
    entry.sequence_parameter_sets = in.u8() & 0x1F;    // after 3 reserved bits
    entry.sequence_parameter_set_length = in.u16();
    in.skip(entry.sequence_parameter_set_length);
    entry.picture_parameter_sets = in.u8();
    entry.picture_parameter_set_length = in.u16();
    in.skip(entry.picture_parameter_set_length);
}

StsdEntry read_sample_entry(BoxReader& in) {
    StsdEntry entry;
    entry.size = in.u32();
    entry.format = in.u32();
    in.skip(6);  // reserved
    entry.data_reference_index = in.u16();
    entry.pre_defined = in.u16();
    entry.reserved = in.u16();
    for (std::uint32_t& word : entry.pre_defined_words) word = in.u32();
    entry.width = in.u16();
    entry.height = in.u16();
    entry.horizontal_resolution = in.u32();
    entry.vertical_resolution = in.u32();
    entry.reserved_word = in.u32();
    entry.frame_count = in.u16();
    in.read(entry.compressor_name_head);
    in.skip(24 + 2 + 2);  // rest of the compressor name, depth, pre_defined
    if (entry.format == kAvc1) read_avc_configuration(in, entry);
    return entry;
}

}  // namespace

/// The first entry counts even if it extends past the box or the file: audio entries are often shorter than
/// the layout read here. Any other entry counts only if it begins inside the box and is complete.
std::uint64_t StsdBox::parse(BoxReader& in, std::uint64_t payload) {
    if (payload == 0) return 0;
    const std::uint64_t start = in.position();
    const std::uint64_t end = end_of_box(in, payload);
    in.skip(4);  // version, flags
    const std::uint32_t count = in.u32();
    if (count == 0) return in.position() - start;
    table.push_back(read_sample_entry(in));
    for (std::uint32_t i = 1; i < count && in.position() < end; ++i) {
        const StsdEntry entry = read_sample_entry(in);
        if (!in.ok()) break;
        table.push_back(entry);
    }
    return in.position() - start;
}
