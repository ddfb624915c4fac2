#include "tools/cli/recording_paths.h"

#include <algorithm>
#include <filesystem>

#include "tools/cli/exit_status.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

fs::path data_path(fs::path path) {
    return path.extension() == ".psi" ? path.replace_extension(".ps") : path;
}

void add_tree(const fs::path& root, std::vector<std::string>& found) {
    const std::size_t before = found.size();
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
        const fs::path extension = entry.path().extension();
        if (extension != ".ps" && extension != ".psi") continue;
        if (entry.is_regular_file()) found.push_back(data_path(entry.path()).string());
    }
    if (found.size() == before) throw CannotRun(root.string() + ": contains no recording");
}

}  // namespace

std::vector<std::string> recording_paths(const std::vector<std::string>& paths) {
    std::vector<std::string> found;
    try {
        for (const fs::path path : paths) {
            if (fs::is_directory(path)) {
                add_tree(path, found);
            } else if (fs::exists(path) || fs::exists(path.string() + "i")) {
                found.push_back(data_path(path).string());
            } else {
                throw CannotRun(path.string() + ": no such file or directory");
            }
        }
    } catch (const fs::filesystem_error& error) {
        throw CannotRun(error.what());
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

}  // namespace cli
