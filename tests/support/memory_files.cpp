#include "tests/support/memory_files.h"

#include <algorithm>
#include <new>
#include <utility>

using platform::Byte;

namespace {

/// A data file or an index file.
class MemoryOutput final : public platform::DataFile, public platform::IndexFile {
  public:
    MemoryOutput(std::string name, std::shared_ptr<std::string> content, OutputFaults& faults)
        : name_(std::move(name)), content_(std::move(content)), faults_(faults) {
        ++faults_.open_files;
    }
    MemoryOutput(const MemoryOutput&) = delete;
    MemoryOutput& operator=(const MemoryOutput&) = delete;
    ~MemoryOutput() override { --faults_.open_files; }

    std::int64_t position() override {
        return fails("position") ? -1 : static_cast<std::int64_t>(content_->size());
    }

    std::size_t write_at(std::uint64_t position, std::span<const Byte> bytes) override {
        const std::size_t count = stored(bytes.size());
        content_->resize(std::max(content_->size(), position + count));
        put(position, bytes.first(count));
        return count;
    }

    std::int64_t append(const Parts& parts) override {
        const std::size_t size = parts[0].size() + parts[1].size() + parts[2].size();
        const std::size_t count = std::min<std::uint64_t>(stored(size), faults_.data_room);
        faults_.data_room -= count;
        std::size_t at = content_->size();
        content_->resize(at + count);
        for (const auto part : parts) {
            const auto stored_part = part.first(std::min(part.size(), content_->size() - at));
            put(at, stored_part);
            at += stored_part.size();
        }
        return count == 0 && size != 0 ? -1 : static_cast<std::int64_t>(count);
    }

  private:
    bool fails(const char* call) {
        if (++faults_.calls != faults_.fail_at) return false;
        faults_.failed = name_ + " " + call;
        return true;
    }

    /// The number of bytes that one write of this size stores.
    std::size_t stored(std::size_t size) { return !fails("write") ? size : faults_.partly ? size / 2 : 0; }

    void put(std::size_t position, std::span<const Byte> bytes) {
        std::ranges::copy(bytes, platform::bytes_of(*content_).subspan(position).begin());
    }

    std::string name_;
    std::shared_ptr<std::string> content_;
    OutputFaults& faults_;
};

/// Counts as data for the faults.
class MemoryLog final : public platform::LogFile {
  public:
    MemoryLog(std::shared_ptr<std::string> content, OutputFaults& faults)
        : output_("data", std::move(content), faults) {}
    [[nodiscard]] bool append(std::string_view text) override {
        const auto bytes = platform::bytes_of(text);
        return static_cast<platform::DataFile&>(output_).append({bytes, {}, {}}) ==
               static_cast<std::int64_t>(bytes.size());
    }

  private:
    MemoryOutput output_;
};

std::string parent_of(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

}  // namespace

std::size_t MemoryInput::read_at(std::uint64_t position, std::span<Byte> to) {
    if (position + to.size() > throws_at) throw std::bad_alloc();
    const std::uint64_t end = std::min<std::uint64_t>(content_->size(), ends_at);
    const std::size_t count = position < end ? std::min<std::size_t>(to.size(), end - position) : 0;
    if (count > 0) std::copy_n(content_->data() + position, count, reinterpret_cast<char*>(to.data()));
    return count;
}

std::size_t SparseInput::read_at(std::uint64_t position, std::span<Byte> to) {
    const std::size_t count = position < size() ? std::min<std::uint64_t>(to.size(), size() - position) : 0;
    std::ranges::fill(to.first(count), Byte{0});
    for (const auto& [at, text] : texts_) {
        for (std::uint64_t i = 0; i < text.size(); ++i)
            if (at + i >= position && at + i < position + count)
                to[at + i - position] = static_cast<Byte>(text[i]);
    }
    return count;
}

void MemoryFiles::put(const std::string& path, std::string content) {
    files_[path] = std::make_shared<std::string>(std::move(content));
}

std::unique_ptr<platform::InputFile> MemoryFiles::open_input(const std::string& path) {
    if (!has(path) || unopenable.contains(path)) return nullptr;
    auto input = std::make_unique<MemoryInput>(files_.at(path));
    input->ends_at = input_ends_at;
    input->throws_at = input_throws_at;
    return input;
}

/// Null if the file cannot be created. As on a disk, its directory must exist.
std::shared_ptr<std::string> MemoryFiles::create(const std::string& path) {
    note("create " + path);
    if (unopenable.contains(path) || !directories_.contains(parent_of(path))) return nullptr;
    put(path, "");
    return files_[path];
}

std::unique_ptr<platform::DataFile> MemoryFiles::create_data(const std::string& path) {
    auto content = create(path);
    return content == nullptr ? nullptr : std::make_unique<MemoryOutput>("data", std::move(content), output);
}

std::unique_ptr<platform::IndexFile> MemoryFiles::create_index(const std::string& path) {
    auto content = create(path);
    return content == nullptr ? nullptr : std::make_unique<MemoryOutput>("index", std::move(content), output);
}

std::unique_ptr<platform::LogFile> MemoryFiles::open_log(const std::string& path) {
    if (unopenable.contains(path)) return nullptr;
    if (!has(path)) put(path, "");
    return std::make_unique<MemoryLog>(files_[path], output);
}

bool MemoryFiles::rename_file(const std::string& from, const std::string& to) {
    if (!has(from)) return false;
    files_[to] = files_.extract(from).mapped();
    return true;
}

bool MemoryFiles::remove_file(const std::string& path) {
    note("remove " + path);
    if (failing_removals == 0) return files_.erase(path) == 1;
    --failing_removals;
    return false;
}

boost::system::error_code MemoryFiles::make_directory(const std::string& path, Existing enough) {
    note((enough == Existing::kDirectory ? "directory " : "anything at ") + path);
    if (directory_error) return directory_error;
    for (std::string made = path; !made.empty(); made = parent_of(made)) directories_.insert(made);
    return {};
}

std::optional<std::string> MemoryFiles::read_whole(const std::string& path) {
    return has(path) && !unopenable.contains(path) ? std::optional(at(path)) : std::nullopt;
}

bool MemoryFiles::replace_whole(const std::string& path, std::string_view content) {
    put(path, std::string(content));
    return true;
}
