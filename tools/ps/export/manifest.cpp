#include "tools/ps/export/manifest.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <filesystem>

#include "tools/cli/progress_bar.h"

namespace ps_tool {

std::string Manifest::add(const std::string& path) {
    return add(path, path);
}

std::string Manifest::add(const std::string& path, const std::string& location) {
    std::error_code unknown;
    const auto size =
        static_cast<double>(std::max<std::uintmax_t>(std::filesystem::file_size(location, unknown), 1));
    const std::string digest = sha_.of_file(location, [&](std::uint64_t done) {
        bar_.show("hashing " + path, static_cast<double>(done) / size);
    });
    // GNU coreutils: a line begins with a backslash if its path is escaped.
    std::string escaped = boost::algorithm::replace_all_copy(path, "\\", "\\\\");
    boost::algorithm::replace_all(escaped, "\n", "\\n");
    boost::algorithm::replace_all(escaped, "\r", "\\r");
    text_ += fmt::format("{}{}  {}\n", escaped == path ? "" : "\\", digest, escaped);
    return digest;
}

}  // namespace ps_tool
