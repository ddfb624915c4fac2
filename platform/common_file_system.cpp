#include "platform/common_file_system.h"

#include <boost/filesystem/operations.hpp>

#include "platform/text.h"

namespace platform {

boost::system::error_code CommonFileSystem::make_directory(const std::string& path, Existing enough) {
    namespace fs = boost::filesystem;
    boost::system::error_code error;
    const Path directory = path_of(path);
    const fs::file_status status = fs::status(directory, error);
    if (fs::is_directory(status)) return {};
    if (fs::exists(status) && enough == Existing::kAnything) return {};
    if (!fs::status_known(status)) return error;
    fs::create_directories(directory, error);
    return error;
}

std::optional<std::string> CommonFileSystem::read_whole(const std::string& path) {
    const auto file = open_input(path);
    if (!file) return std::nullopt;
    std::string content(file->size(), '\0');
    if (file->read_at(0, bytes_of(content)) != content.size()) return std::nullopt;
    return content;
}

}  // namespace platform
