#include "tools/cli/json_list.h"

#include <fmt/format.h>

namespace cli {
namespace {

std::string text_of(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

JsonList::JsonList(std::FILE* stream, const std::string& name) : stream_(stream) {
    fmt::print(stream_, "{{\"schema\": {}, {}: [", kJsonSchema, text_of(name));
}

void JsonList::add(const Json& element) {
    fmt::print(stream_, "{}\n  {}", empty_ ? "" : ",", text_of(element));
    empty_ = false;
}

void JsonList::finish(const Json& members) {
    fmt::print(stream_, "\n]");
    for (const auto& [name, value] : members.items()) {
        fmt::print(stream_, ", {}: {}", text_of(name), text_of(value));
    }
    fmt::print(stream_, "}}\n");
}

}  // namespace cli
