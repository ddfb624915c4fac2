#include "tools/ps/report/transcript.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "tools/reader/packet_time.h"

namespace ps_tool {
namespace {

void add_record(const nlohmann::json& record, LossTracker& tracker) {
    const std::string& direction = record.at("direction").get_ref<const std::string&>();
    if (direction != "to module" && direction != "from module")
        throw std::runtime_error("unknown direction '" + direction + "'");
    if (const auto time = reader::parse_instant(record.value("time", ""))) tracker.set_time(*time);
    if (record.contains("text")) (void)tracker.add_document(record.at("text").get_ref<const std::string&>());
}

}  // namespace

void read_transcript(std::istream& lines, LossTracker& tracker) {
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        try {
            add_record(nlohmann::json::parse(line), tracker);
        } catch (const std::exception&) {
            if (lines.eof()) break;  // the line has no end: the recorder was stopped while it wrote it
            throw std::runtime_error(fmt::format("line {} is not a transcript record", number));
        }
    }
}

}  // namespace ps_tool
