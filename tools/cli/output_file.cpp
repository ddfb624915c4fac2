#include "tools/cli/output_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <system_error>

#include "platform/file.h"
#include "platform/text.h"
#include "ps/index_layout.h"
#include "ps/stream_layout.h"
#include "tools/cli/exit_status.h"

namespace cli {
namespace {

namespace boost_fs = boost::filesystem;

bool is_direct(const std::string& path) {
    boost::system::error_code error;
    const boost_fs::file_status status = boost_fs::status(platform::path_of(path), error);
    return path == "-" || (boost_fs::exists(status) && !boost_fs::is_regular_file(status) &&
                           !boost_fs::is_directory(status));
}

bool has_recording_name(const std::string& path) {
    std::string extension = platform::narrow_text(platform::path_of(path).extension());
    std::ranges::transform(extension, extension.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return extension == ".ps" || extension == ".psi";
}

bool has_recording_content(platform::InputFile& file) {
    PsiHeader::Bytes start{};
    if (file.read_at(0, start) < kPackHeader.size()) return false;
    return std::equal(kPackHeader.begin(), kPackHeader.end(), start.begin()) ||
           (PsiHeader::Version::get(start) == kIndexVersion &&
            PsiHeader::HeaderSize::get(start) == PsiHeader::size &&
            PsiHeader::StreamRecords::get(start) == kSlots &&
            PsiHeader::EntrySize::get(start) == PsiFrameEntry::size);
}

std::string system_reason() {
    return std::generic_category().message(errno != 0 ? errno : EIO);
}

}  // namespace

std::string without_links(const std::string& path) {
    return platform::narrow_text(platform::resolve_links(platform::path_of(path)));
}

void check_output(const std::string& path, Replace replace) {
    if (is_direct(path)) return;
    boost::system::error_code error;
    const bool exists = boost_fs::exists(boost_fs::symlink_status(platform::path_of(path), error));
    if (boost_fs::is_directory(platform::path_of(path), error)) throw CannotRun(path + ": is a directory");
    if (replace != Replace::kRecordings) {
        if (const auto problem = platform::open_problem(path))
            throw CannotRun(fmt::format("{}: cannot be replaced: {}", path, *problem));
        const auto file = platform::system_files().open_input(path);
        if (has_recording_name(path) || has_recording_name(without_links(path)) ||
            (file && has_recording_content(*file)))
            throw CannotRun(path + ": is a recording, or named like one; use another path");
    }
    if (exists && replace == Replace::kNothing)
        throw CannotRun(path + ": already exists; use --force to replace it");
}

OutputFile::OutputFile(std::string path, Replace replace)
    : path_(std::move(path)), target_(path_), replace_(replace), file_(nullptr, &std::fclose) {
    check_output(path_, replace_);
    if (is_direct(path_)) {
        temporary_ = path_;
        if (path_ == "-") {
            file_ = {stdout, &std::fflush};
        } else {
            file_ = decltype(file_)(std::fopen(path_.c_str(), "wb"), &std::fclose);
        }
    } else {
        target_ = without_links(path_);
        temporary_ = target_ + boost::filesystem::unique_path(".%%%%%%%%.part").string();
        removal_.emplace(temporary_);
        file_.reset(platform::create_new_file(temporary_));
    }
    if (!file_) fail();
    incomplete_ = removal_.has_value();
}

OutputFile::~OutputFile() {
    file_.reset();  // some systems cannot remove open files
    if (incomplete_) (void)platform::system_files().remove_file(temporary_);
}

void OutputFile::write(std::span<const platform::Byte> bytes) {
    errno = 0;
    if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size()) fail();
}

void OutputFile::write(std::string_view text) {
    write(platform::bytes_of(text));
}

void OutputFile::flush() {
    errno = 0;
    if (std::fflush(file_.get()) != 0) fail();
}

void OutputFile::sync() {
    errno = 0;
    if (incomplete_ && !platform::flush_to_disk(file_.get())) fail();
}

void OutputFile::complete() {
    sync();
    if (file_.get_deleter()(file_.release()) != 0) fail();
    if (!incomplete_) return;
    check_output(path_, replace_);  // another process may have created it meanwhile
    boost::system::error_code error;
    const platform::Path target = platform::path_of(target_);
    const boost_fs::file_status old = boost_fs::status(target, error);
    if (boost_fs::exists(old)) boost_fs::permissions(platform::path_of(temporary_), old.permissions(), error);
    boost_fs::rename(platform::path_of(temporary_), target, error);
    if (error) throw CannotRun(path_ + ": cannot be written: " + error.message());
    incomplete_ = false;
}

void OutputFile::fail() const {
    if (path_ == "-") std::clearerr(stdout);  // reported here, and not again at the end of the program
    throw CannotRun((path_ == "-" ? "standard output" : path_) + ": cannot be written: " + system_reason());
}

}  // namespace cli
