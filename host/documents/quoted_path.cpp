#include "host/documents/quoted_path.h"

#include <boost/io/quoted.hpp>
#include <locale>
#include <sstream>

namespace documents {
namespace {

constexpr char kEscape = '&';

}  // namespace

std::string quoted(const platform::Path& path) {
    std::ostringstream out;
    out << boost::io::quoted(platform::narrow_text(path), kEscape);
    return out.str();
}

platform::Path unquoted(const char* text) {
    std::istringstream in(text);
    in.imbue(std::locale::classic());  // what counts as white space is not the host's locale's to say
    std::string path;
    in >> boost::io::quoted(path, kEscape);
    return platform::path_of(path);
}

}  // namespace documents
