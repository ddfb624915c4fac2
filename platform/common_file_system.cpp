#include "platform/common_file_system.h"

#include <boost/filesystem/operations.hpp>

#include "platform/text.h"

namespace platform {

namespace {

namespace fs = boost::filesystem;

constexpr std::uint64_t kLargestWhole = 256ULL << 20;

boost::system::error_code try_to_make(const Path& directory, FileSystem::Existing enough) {
    boost::system::error_code error;
    const fs::file_status status = fs::status(directory, error);
    if (fs::is_directory(status)) return {};
    if (fs::exists(status) && enough == FileSystem::Existing::kAnything) return {};
    if (!fs::status_known(status)) return error;
    fs::create_directories(directory, error);
    return error;
}

}  // namespace

boost::system::error_code CommonFileSystem::make_directory(const std::string& path, Existing enough) {
    const Path directory = path_of(path);
    auto error = try_to_make(directory, enough);
    while (error == boost::system::errc::interrupted) error = try_to_make(directory, enough);
    return error;
}

std::optional<std::string> CommonFileSystem::read_whole(const std::string& path) {
    const auto file = open_input(path);
    if (!file || file->size() > kLargestWhole) return std::nullopt;
    std::string content(file->size(), '\0');
    if (file->read_at(0, bytes_of(content)) != content.size()) return std::nullopt;
    return content;
}

}  // namespace platform
