#include "tools/cli/recording_paths.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace cli {
namespace {

namespace fs = std::filesystem;

class RecordingSearch {
  public:
    explicit RecordingSearch(UnusableInputs& unusable) : unusable_(unusable) {}

    void add(const fs::path& path) {
        std::error_code error;
        const fs::file_status status = fs::status(path, error);
        std::error_code ignored;
        if (fs::is_directory(status)) {
            add_whole_tree(path);
        } else if (fs::exists(status) || fs::exists(path.string() + "i", ignored)) {
            add_file(path);
        } else {
            unusable_.add(path.string(), error.message());
        }
    }

    /// Each recording once, in the order of the paths.
    std::vector<std::string> found() {
        std::sort(found_.begin(), found_.end());
        found_.erase(std::unique(found_.begin(), found_.end()), found_.end());
        return std::move(found_);
    }

  private:
    void add_file(fs::path path) {
        if (path.extension() == ".psi") path.replace_extension(".ps");
        found_.push_back(path.string());
    }

    void add_whole_tree(const fs::path& root) {
        const std::size_t before = found_.size();
        complete_ = true;
        add_tree(root);
        if (complete_ && found_.size() == before) unusable_.add(root.string(), "contains no recording");
    }

    void add_tree(const fs::path& directory) {
        std::error_code error;
        for (auto entry = fs::directory_iterator(directory, error);
             !error && entry != fs::directory_iterator(); entry.increment(error))
            add_entry(*entry);
        if (!error || error == std::errc::no_such_file_or_directory) return;  // removed since it was found
        unusable_.add(directory.string(), error.message());
        complete_ = false;
    }

    /// Links to directories are not followed.
    void add_entry(const fs::directory_entry& entry) {
        std::error_code ignored;
        const fs::path extension = entry.path().extension();
        if (entry.is_directory(ignored) && !entry.is_symlink(ignored)) {
            add_tree(entry.path());
        } else if ((extension == ".ps" || extension == ".psi") && entry.is_regular_file(ignored)) {
            add_file(entry.path());
        }
    }

    UnusableInputs& unusable_;
    bool complete_ = true;  // the tree was read completely
    std::vector<std::string> found_;
};

}  // namespace

std::vector<std::string> recording_paths(const std::vector<std::string>& paths, UnusableInputs& unusable) {
    RecordingSearch search(unusable);
    for (const std::string& path : paths) search.add(path);
    return search.found();
}

}  // namespace cli
