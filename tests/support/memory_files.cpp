#include "tests/support/memory_files.h"

#include <algorithm>
#include <new>
#include <utility>

using platform::Byte;

namespace {

/// What both kinds of output file are: a shared content and a position in it.
class Output {
  public:
    Output(std::string name, std::shared_ptr<std::string> content, OutputFaults& faults)
        : name_(std::move(name)), content_(std::move(content)), faults_(faults) {
        ++faults_.open_files;
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output() { --faults_.open_files; }

    bool fails(const std::string& call) {
        if (++faults_.calls != faults_.fail_at) return false;
        faults_.failed = name_ + " " + call;
        return true;
    }

    std::size_t write(std::span<const Byte> bytes) {
        const std::size_t count = after_fault("write", bytes.size());
        content_->resize(std::max(content_->size(), position + count));
        std::ranges::copy(bytes.first(count), &bytes_()[position]);
        position += count;
        return count;
    }

    std::size_t read(std::span<Byte> to) {
        const std::size_t left = content_->size() - std::min(position, content_->size());
        const std::size_t count = after_fault("read", std::min(to.size(), left));
        std::copy_n(&bytes_()[position], count, to.begin());
        position += count;
        return count;
    }

    std::int64_t seek(std::size_t to) {
        if (fails("seek")) return -1;
        position = to;
        return static_cast<std::int64_t>(to);
    }

    std::int64_t tell() { return fails("position") ? -1 : static_cast<std::int64_t>(position); }
    [[nodiscard]] std::size_t size() const { return content_->size(); }

    std::size_t position = 0;

  private:
    Byte* bytes_() { return reinterpret_cast<Byte*>(content_->data()); }
    std::size_t after_fault(const std::string& call, std::size_t count) {
        if (!fails(call)) return count;
        return faults_.partly ? count / 2 : 0;
    }

    std::string name_;
    std::shared_ptr<std::string> content_;
    OutputFaults& faults_;
};

class MemoryData final : public platform::DataFile {
  public:
    MemoryData(std::shared_ptr<std::string> content, OutputFaults& faults)
        : file_("data", std::move(content), faults) {}
    std::int64_t write(std::span<const Byte> bytes) override {
        const std::size_t count = file_.write(bytes);
        return count == 0 && !bytes.empty() ? -1 : static_cast<std::int64_t>(count);
    }
    std::int64_t position() override { return file_.tell(); }
    std::int64_t seek_end() override { return file_.seek(file_.size()); }

  private:
    Output file_;
};

class MemoryIndex final : public platform::BufferedFile {
  public:
    MemoryIndex(std::shared_ptr<std::string> content, OutputFaults& faults)
        : file_("index", std::move(content), faults), faults_(faults) {}
    std::size_t read(std::span<Byte> to) override { return file_.read(to); }
    std::size_t write(std::span<const Byte> bytes) override {
        faults_.most_unflushed = std::max(faults_.most_unflushed, ++faults_.unflushed);
        return file_.write(bytes);
    }
    bool seek(std::uint64_t position) override { return file_.seek(position) >= 0; }
    [[nodiscard]] std::int64_t position() override { return file_.tell(); }
    bool flush() override {
        faults_.unflushed = 0;
        return !file_.fails("flush");
    }

  private:
    Output file_;
    OutputFaults& faults_;
};

std::string parent_of(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

}  // namespace

std::size_t MemoryInput::read_at(std::uint64_t position, std::span<Byte> to) {
    if (position + to.size() > throws_at) throw std::bad_alloc();
    const std::uint64_t end = std::min<std::uint64_t>(content_.size(), ends_at);
    const std::size_t count = position < end ? std::min<std::size_t>(to.size(), end - position) : 0;
    if (count > 0) std::copy_n(&content_[position], count, reinterpret_cast<char*>(to.data()));
    ++reads;
    bytes_read += count;
    return count;
}

void MemoryFiles::put(const std::string& path, std::string content) {
    files_[path] = std::make_shared<std::string>(std::move(content));
}

std::unique_ptr<platform::InputFile> MemoryFiles::open_input(const std::string& path) {
    if (!has(path) || unopenable.contains(path)) return nullptr;
    auto input = std::make_unique<MemoryInput>(at(path));
    input->ends_at = input_ends_at;
    input->throws_at = input_throws_at;
    return input;
}

/// Null when the file cannot be made; as on a disk, its directory has to be there.
std::shared_ptr<std::string> MemoryFiles::create(const std::string& path) {
    note("create " + path);
    if (unopenable.contains(path) || !directories_.contains(parent_of(path))) return nullptr;
    put(path, "");
    return files_[path];
}

std::unique_ptr<platform::DataFile> MemoryFiles::create_data(const std::string& path) {
    auto content = create(path);
    return content == nullptr ? nullptr : std::make_unique<MemoryData>(std::move(content), output);
}

std::unique_ptr<platform::BufferedFile> MemoryFiles::create_buffered(const std::string& path) {
    auto content = create(path);
    return content == nullptr ? nullptr : std::make_unique<MemoryIndex>(std::move(content), output);
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
    return has(path) ? std::optional(at(path)) : std::nullopt;
}

bool MemoryFiles::replace_whole(const std::string& path, std::string_view content) {
    put(path, std::string(content));
    return true;
}
