#include "tools/cli/json_list.h"

#include <fmt/format.h>

#include "tools/cli/base64.h"

namespace cli {
namespace {

std::string text_of(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

void add_path(Json& object, const std::string& path) {
    object["path"] = path;
    try {
        (void)object["path"].dump();
    } catch (const Json::type_error&) {
        object["path_base64"] = base64(path);
    }
}

JsonList::JsonList(std::FILE* stream, const std::string& name, JsonForm form) : stream_(stream), form_(form) {
    if (form_ == JsonForm::kDocument)
        fmt::print(stream_, "{{\"schema\": {}, {}: [", kJsonSchema, text_of(name));
}

void JsonList::add(const Json& element) {
    if (form_ == JsonForm::kLines) return fmt::print(stream_, "{}\n", text_of(element));
    fmt::print(stream_, "{}\n  {}", empty_ ? "" : ",", text_of(element));
    empty_ = false;
}

void JsonList::finish(const Json& members) {
    if (form_ == JsonForm::kLines) return;
    fmt::print(stream_, "\n]");
    for (const auto& [name, value] : members.items()) {
        fmt::print(stream_, ", {}: {}", text_of(name), text_of(value));
    }
    fmt::print(stream_, "}}\n");
}

}  // namespace cli
