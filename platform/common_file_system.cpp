#include "platform/common_file_system.h"

#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "platform/text.h"

namespace platform {

namespace {

namespace fs = boost::filesystem;

constexpr int kMaxLinks = 40;  // Linux has the same limit

constexpr std::uint64_t kMaxWholeSize = 256ULL << 20;

/// True for "." and "..". Boost also returns "." as the file name of a path that ends with a separator.
bool is_dot_or_dot_dot(const Path& name) {
    constexpr auto kDot = Path::value_type{'.'};
    return !name.empty() && name.size() <= 2 && name.native().front() == kDot && name.native().back() == kDot;
}

/// Replaces Boost's create_directories, which terminates the process without memory, and treats a parent that
/// it cannot examine as existing.
boost::system::error_code create_with_parents(const Path& directory) {
    if (directory.empty()) return boost::system::errc::make_error_code(boost::system::errc::invalid_argument);
    const Path parent = directory.parent_path();
    if (is_dot_or_dot_dot(directory.filename())) return create_with_parents(parent);
    boost::system::error_code error;
    const fs::file_status status = fs::status(directory, error);
    if (fs::is_directory(status)) return {};
    if (!fs::status_known(status)) return error;
    if (!parent.empty()) {
        const fs::file_status above = fs::status(parent, error);
        if (!fs::status_known(above)) return error;
        error = fs::exists(above) ? boost::system::error_code() : create_with_parents(parent);
        if (error) return error;
    }
    fs::create_directory(directory, error);
    return error;
}

boost::system::error_code try_make_directory(const Path& directory, FileSystem::Existing accepted) {
    boost::system::error_code error;
    const fs::file_status status = fs::status(directory, error);
    if (fs::is_directory(status)) return {};
    if (fs::exists(status) && accepted == FileSystem::Existing::kAnything) return {};
    if (!fs::status_known(status)) return error;
    return create_with_parents(directory);
}

}  // namespace

std::optional<std::string> open_problem(const std::string& path) {
    boost::system::error_code error;
    const fs::file_status status = fs::status(path_of(path), error);
    if (status.type() == fs::file_not_found) return std::nullopt;
    if (!fs::status_known(status)) return error.message();
    if (fs::is_directory(status)) return "is a directory";
    if (!fs::is_regular_file(status)) return "is not a regular file";
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (file) return std::nullopt;
    return std::generic_category().message(errno);
}

Path resolve_links(Path path) {
    for (int links = 0; links < kMaxLinks; ++links) {
        boost::system::error_code error;
        const Path target = fs::read_symlink(path, error);
        if (error == boost::system::errc::interrupted) continue;
        if (error) break;
        path = target.is_absolute() ? target : path.parent_path() / target;
    }
    return path;
}

boost::system::error_code CommonFileSystem::make_directory(const std::string& path, Existing accepted) {
    const Path directory = path_of(path);
    auto error = try_make_directory(directory, accepted);
    while (error == boost::system::errc::interrupted) error = try_make_directory(directory, accepted);
    return error;
}

bool CommonFileSystem::rename_file(const std::string& from, const std::string& to) {
    boost::system::error_code error;
    const auto try_rename = [&] {
        if (!fs::is_regular_file(path_of(from), error)) return false;
        fs::rename(path_of(from), path_of(to), error);
        return !error;
    };
    bool renamed = try_rename();
    while (error == boost::system::errc::interrupted) renamed = try_rename();
    return renamed;
}

std::optional<std::string> CommonFileSystem::read_whole(const std::string& path) {
    const auto file = open_input(path);
    if (!file || file->size() > kMaxWholeSize) return std::nullopt;
    std::string content(file->size(), '\0');
    if (file->read_at(0, bytes_of(content)) != content.size()) return std::nullopt;
    return content;
}

}  // namespace platform
