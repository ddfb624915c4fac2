#pragma once

#include <boost/filesystem.hpp>
#include <fstream>
#include <iterator>
#include <string>

/// A fresh directory for one test, removed with everything in it.
class TempDirectory {
  public:
    TempDirectory() : path_(boost::filesystem::temp_directory_path() / boost::filesystem::unique_path()) {
        boost::filesystem::create_directories(path_);
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;
    ~TempDirectory() {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(path_, ignored);
    }

    [[nodiscard]] std::string path() const { return path_.string(); }
    [[nodiscard]] std::string operator/(const std::string& name) const { return (path_ / name).string(); }

  private:
    boost::filesystem::path path_;
};

/// A temporary directory that is the working directory of the process while it exists.
class WorkingDirectory : public TempDirectory {
  public:
    WorkingDirectory() : before_(boost::filesystem::current_path()) {
        boost::filesystem::current_path(path());
    }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;
    ~WorkingDirectory() { boost::filesystem::current_path(before_); }

  private:
    boost::filesystem::path before_;
};

inline std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline void write_file(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}
