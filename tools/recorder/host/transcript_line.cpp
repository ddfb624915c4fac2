#include "tools/recorder/host/transcript_line.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/cli/base64.h"

namespace recorder {
namespace {

using Json = nlohmann::ordered_json;

std::string time_text(std::chrono::system_clock::time_point at) {
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(at.time_since_epoch()).count();
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z",
                       fmt::gmtime(static_cast<std::time_t>(milliseconds / 1000)), milliseconds % 1000);
}

bool is_utf8(const std::string& text) {
    try {
        (void)Json(text).dump();
        return true;
    } catch (const Json::type_error&) {
        return false;
    }
}

void add_text(Json& line, const std::string& text) {
    line["text"] = text;
    if (!is_utf8(text)) line["base64"] = cli::base64(text);
}

std::string printed(const Json& line) {
    return line.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string transcript_line(const SentMessage& message, std::chrono::system_clock::time_point at) {
    Json line = {{"time", time_text(at)},
                 {"direction", "to module"},
                 {"kind", message.kind},
                 {"entrance", message.entry_point},
                 {"number", message.number}};
    add_text(line, message.text);
    return printed(line);
}

std::string transcript_line(const ReceivedMessage& message, const std::string& kind) {
    Json line = {{"time", time_text(message.at)},
                 {"direction", "from module"},
                 {"kind", kind},
                 {"class", message.message_class}};
    if (message.returned_number != 0) {
        line["number"] = message.returned_number;
    } else {
        add_text(line, message.text);
    }
    if (!message.fault.empty()) line["fault"] = message.fault;
    return printed(line);
}

}  // namespace recorder
