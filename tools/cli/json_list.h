#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

namespace cli {

using Json = nlohmann::ordered_json;

/// Prints a JSON document {"schema": 1, NAME: [...], ...} one element at a time, so a long list needs no
/// memory. Replaces bytes that are not UTF-8.
class JsonList {
  public:
    JsonList(std::FILE* stream, const std::string& name);
    void add(const Json& element);

    /// Ends the list and adds the members of an object.
    void finish(const Json& members = Json::object());

  private:
    std::FILE* stream_;
    bool empty_ = true;
};

/// The value of "schema" in every document. It increases when a change would break readers.
inline constexpr int kJsonSchema = 1;

}  // namespace cli
