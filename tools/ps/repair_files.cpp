#include "tools/ps/repair_files.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <filesystem>
#include <functional>
#include <utility>
#include <vector>

#include "tools/cli/exit_status.h"
#include "tools/cli/output_file.h"

namespace ps_tool {

namespace fs = std::filesystem;

namespace {

void take_owner_and_mode(const std::string& path, const std::string& model) {
    const std::error_code error = platform::copy_owner_and_mode(model, path);
    if (error) throw cli::CannotRun(fmt::format("{}: its owner cannot be kept: {}", model, error.message()));
}

}  // namespace

void require_written(const std::error_code& error, const std::string& path) {
    if (!error) return;
    const std::string text = fmt::format("{}: cannot be written: {}", path, error.message());
    if (error == std::errc::no_space_on_device) throw DiskFull(text);
    throw cli::CannotRun(text);
}

WrittenFile::WrittenFile(std::string path, platform::Edit kind) : path_(std::move(path)) {
    std::error_code error;
    file_ = platform::open_edited(path_, kind, error);
    require_written(error, path_);
}

void WrittenFile::write_at(std::uint64_t position, std::span<const platform::Byte> bytes) {
    require_written(file_->write_at(position, bytes), path_);
}

void WrittenFile::resize(std::uint64_t size) {
    std::error_code error;
    fs::resize_file(path_, size, error);
    require_written(error, path_);
}

void WrittenFile::flush() {
    require_written(file_->flush(), path_);
}

NewContent::NewContent(const std::string& path) : path_(cli::without_links(path)), new_path_(path_ + ".new") {
    std::error_code ignored;
    fs::remove(new_path_, ignored);  // left by an interrupted repair
    removal_.emplace(new_path_);
    file_ = std::make_unique<WrittenFile>(new_path_, platform::Edit::kNew);
}

NewContent::NewContent(const std::string& path, std::string new_path)
    : path_(cli::without_links(path)), new_path_(std::move(new_path)) {
    removal_.emplace(new_path_);
    file_ = std::make_unique<WrittenFile>(new_path_, platform::Edit::kNew);
}

NewContent::~NewContent() {
    file_.reset();  // some systems cannot remove open files
    std::error_code ignored;
    fs::remove(new_path_, ignored);
}

void NewContent::finish(const std::string& model) {
    file_->flush();
    file_.reset();
    if (!fs::exists(model)) return;
    take_owner_and_mode(new_path_, model);
}

void NewContent::commit() {
    std::error_code error;
    fs::rename(new_path_, path_, error);
    require_written(error, path_);
}

void copy_data(reader::Recording& recording, std::uint64_t begin, std::uint64_t end, WrittenFile& to,
               std::uint64_t position) {
    constexpr std::size_t kBlock = std::size_t{1} << 20U;
    std::vector<platform::Byte> block;
    for (std::uint64_t at = begin; at < end; at += block.size()) {
        block.resize(std::min<std::uint64_t>(kBlock, end - at));
        if (!recording.read_data(at, block)) throw cli::CannotRun(recording.data_path() + ": cannot be read");
        to.write_at(position + (at - begin), block);
    }
}

std::string unused_path(const std::string& path) {
    std::string unused = path;
    for (int number = 1; fs::exists(fs::symlink_status(unused)); ++number)
        unused = fmt::format("{}.{}", path, number);
    return unused;
}

std::string keep_backup(const std::string& link) {
    const std::string path = cli::without_links(link);
    if (!fs::exists(path)) return {};
    std::string backup = unused_path(path + ".bak");
    std::error_code error;
    fs::create_hard_link(path, backup, error);
    if (error) fs::rename(path, backup, error);  // not every file system has hard links
    require_written(error, backup);
    return backup;
}

namespace {

/// Keeps content in a file with the owner and the mode of `model`. An interruption leaves no incomplete
/// backup.
void write_backup(const std::string& path, const std::string& model,
                  const std::function<void(WrittenFile&)>& write) {
    // Another repair of the same recording at the same time has a name of its own.
    NewContent backup(path, boost::filesystem::unique_path(path + ".%%%%%%%%.new").string());
    take_owner_and_mode(backup.new_path(), model);  // before others can read the content
    write(backup.file());
    backup.finish(model);
    backup.commit();
}

}  // namespace

std::string save_fields(reader::Recording& recording, const reader::Report& report) {
    std::string lines;
    for (const reader::Correction& correction : report.corrections) {
        std::vector<platform::Byte> old(correction.bytes.size());
        if (!recording.read_data(correction.offset, old))
            throw cli::CannotRun(recording.data_path() + ": cannot be read");
        lines += fmt::format("{:08x}: {:02x}\n", correction.offset, fmt::join(old, ""));
    }
    std::string path = unused_path(cli::without_links(recording.data_path()) + ".fields.bak");
    write_backup(path, recording.data_path(),
                 [&](WrittenFile& file) { file.write_at(0, platform::bytes_of(lines)); });
    return path;
}

std::string save_tail(reader::Recording& recording, std::uint64_t begin) {
    std::string path =
        unused_path(fmt::format("{}.tail-{}.bak", cli::without_links(recording.data_path()), begin));
    write_backup(path, recording.data_path(),
                 [&](WrittenFile& file) { copy_data(recording, begin, recording.data_size(), file, 0); });
    return path;
}

}  // namespace ps_tool
