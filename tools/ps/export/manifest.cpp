#include "tools/ps/export/manifest.h"

#include <fmt/format.h>

#include <boost/algorithm/string/replace.hpp>

#include "tools/cli/progress_bar.h"

namespace ps_tool {

std::string Manifest::add(const std::string& path) {
    return add(path, path);
}

std::string Manifest::add(const std::string& path, const std::string& location) {
    std::string digest =
        sha_.of_file(location, [&](double fraction) { bar_.show("hashing " + path, fraction); });
    // GNU coreutils: a line begins with a backslash if its path is escaped.
    std::string escaped = boost::algorithm::replace_all_copy(path, "\\", "\\\\");
    boost::algorithm::replace_all(escaped, "\n", "\\n");
    boost::algorithm::replace_all(escaped, "\r", "\\r");
    text_ += fmt::format("{}{}  {}\n", escaped == path ? "" : "\\", digest, escaped);
    return digest;
}

}  // namespace ps_tool
