#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

namespace cli {

using Json = nlohmann::ordered_json;

/// One document, or one line per element without a document around them (NDJSON).
enum class JsonForm { kDocument, kLines };

/// Prints a JSON document {"schema": 1, NAME: [...], ...} one element at a time, so a long list needs no
/// memory. Replaces bytes that are not UTF-8.
class JsonList {
  public:
    JsonList(std::FILE* stream, const std::string& name, JsonForm form = JsonForm::kDocument);
    void add(const Json& element);

    /// Ends the list and adds the members of an object to the document.
    void finish(const Json& members = Json::object());

  private:
    std::FILE* stream_;
    JsonForm form_;
    bool empty_ = true;
};

/// Adds "path", and, since JSON is UTF-8 and a path need not be, "path_base64" with the bytes of one that is
/// not.
void add_path(Json& object, const std::string& path);

/// The value of "schema" in every document. It increases when a change would break readers.
inline constexpr int kJsonSchema = 1;

}  // namespace cli
