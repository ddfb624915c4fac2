// Rebuilds the index of a recording from its data file.

#include <algorithm>
#include <stdexcept>

#include "ps/encodings.h"
#include "ps/ps_index.h"
#include "ps/ps_writer.h"
#include "tools/reader/discarding_data_file.h"
#include "tools/reader/verify.h"

namespace reader {
namespace {

class MemoryIndexFile final : public platform::IndexFile {
  public:
    explicit MemoryIndexFile(std::string& content) : content_(content) {}

    std::size_t write_at(std::uint64_t position, std::span<const platform::Byte> bytes) override {
        const auto at = static_cast<std::size_t>(position);
        content_.resize(std::max(content_.size(), at + bytes.size()));
        std::ranges::copy(bytes, platform::bytes_of(content_).begin() + static_cast<std::ptrdiff_t>(at));
        return bytes.size();
    }

  private:
    std::string& content_;
};

void open_writer(PsWriter& writer, const StreamMapInfo& map, std::string& index) {
    ps_writer_init(writer);
    writer.data = std::make_unique<DiscardingDataFile>();
    writer.index = std::make_unique<MemoryIndexFile>(index);
    writer.open_flag = true;
    PsProgramInfo program;
    program.code[0] = map.program_code;
    PsStreamDescs streams;
    for (std::size_t slot = 0; slot < kSlots; ++slot) streams.at(slot).id = map.streams.at(slot).id;
    if (ps_open(writer, program, streams) != kPsOk) throw std::runtime_error("cannot create the index");
}

}  // namespace

std::string rebuilt_index(Recording& recording, const Report& report) {
    std::string index;
    PsWriter writer;
    open_writer(writer, report.map, index);
    for (std::uint64_t at = kPacketsAt; at < report.whole_end;) {
        auto header = recording.packet_header(at);
        if (header) apply_corrections(report.corrections, at, *header);
        const std::uint32_t size = header ? parse_packet(*header, 0, at).size : 0;
        if (size == 0 || ps_index_packet(writer, *header, size) != kPsOk) {
            throw std::runtime_error(recording.data_path() + " changed while it was read");
        }
        writer.data_end += size;
        at += size;
    }
    ps_close(writer);
    return index;
}

}  // namespace reader
