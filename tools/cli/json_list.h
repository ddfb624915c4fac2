#pragma once

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

namespace cli {

using Json = nlohmann::ordered_json;

/// A JSON document {"schema": 1, NAME: [...], ...}, printed as its elements come, so that a list of any
/// length needs no memory. Bytes that are no UTF-8 are shown replaced.
class JsonList {
  public:
    JsonList(std::FILE* stream, const std::string& name);
    void add(const Json& element);

    /// Ends the document with the members of an object behind the list.
    void finish(const Json& members = Json::object());

  private:
    std::FILE* stream_;
    bool empty_ = true;
};

/// The number that stands as "schema" in every document: it counts up when a reader has to change.
inline constexpr int kJsonSchema = 1;

}  // namespace cli
