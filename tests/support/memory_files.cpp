#include "tests/support/memory_files.h"

#include <algorithm>
#include <new>
#include <utility>

using platform::Byte;

namespace {

/// What both kinds of output file are: a shared content and a position in it.
class Output {
  public:
    Output(std::string name, std::shared_ptr<std::string> content, OutputFaults& faults,
           std::shared_ptr<int> open)
        : name_(std::move(name)), content_(std::move(content)), faults_(faults), open_(std::move(open)) {
        ++*open_;
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output() { --*open_; }

    bool fails(const std::string& call) { return faults_.fails(name_ + " " + call); }
    [[nodiscard]] std::size_t part_of(std::size_t count) const { return faults_.partly ? count / 2 : 0; }

    std::size_t write(std::span<const Byte> bytes) {
        const std::size_t count = fails("write") ? part_of(bytes.size()) : bytes.size();
        if (content_->size() < position + count) content_->resize(position + count);
        std::copy_n(bytes.begin(), count,
                    platform::bytes_of(*content_).begin() + static_cast<std::ptrdiff_t>(position));
        position += count;
        return count;
    }

    std::size_t read(std::span<Byte> to) {
        const std::size_t left = position < content_->size() ? content_->size() - position : 0;
        const std::size_t wanted = std::min(to.size(), left);
        const std::size_t count = fails("read") ? part_of(wanted) : wanted;
        std::copy_n(platform::bytes_of(*content_).begin() + static_cast<std::ptrdiff_t>(position), count,
                    to.begin());
        position += count;
        return count;
    }

    [[nodiscard]] std::size_t size() const { return content_->size(); }

    std::size_t position = 0;

  private:
    std::string name_;
    std::shared_ptr<std::string> content_;
    OutputFaults& faults_;
    std::shared_ptr<int> open_;
};

class MemoryData final : public platform::DataFile {
  public:
    explicit MemoryData(std::unique_ptr<Output> output) : output_(std::move(output)) {}

    std::int64_t write(std::span<const Byte> bytes) override {
        const std::size_t count = output_->write(bytes);
        return count == 0 && !bytes.empty() ? -1 : static_cast<std::int64_t>(count);
    }
    std::int64_t position() override {
        return output_->fails("position") ? -1 : static_cast<std::int64_t>(output_->position);
    }
    std::int64_t seek_end() override {
        if (output_->fails("seek")) return -1;
        output_->position = output_->size();
        return static_cast<std::int64_t>(output_->position);
    }

  private:
    std::unique_ptr<Output> output_;
};

class MemoryIndex final : public platform::BufferedFile {
  public:
    explicit MemoryIndex(std::unique_ptr<Output> output) : output_(std::move(output)) {}

    std::size_t read(std::span<Byte> to) override { return output_->read(to); }
    std::size_t write(std::span<const Byte> bytes) override { return output_->write(bytes); }
    bool seek(std::uint64_t position) override {
        if (output_->fails("seek")) return false;
        output_->position = position;
        return true;
    }
    [[nodiscard]] std::int64_t position() override {
        return output_->fails("position") ? -1 : static_cast<std::int64_t>(output_->position);
    }
    bool flush() override { return !output_->fails("flush"); }

  private:
    std::unique_ptr<Output> output_;
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
    std::copy_n(
        platform::bytes_of(std::string_view(content_)).begin() + static_cast<std::ptrdiff_t>(position), count,
        to.begin());
    ++reads;
    bytes_read += count;
    return count;
}

bool OutputFaults::fails(const std::string& call) {
    if (++calls != fail_at) return false;
    failed = call;
    return true;
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
    auto& file = files_[path];
    file = std::make_shared<std::string>();
    return file;
}

std::unique_ptr<platform::DataFile> MemoryFiles::create_data(const std::string& path) {
    auto content = create(path);
    if (content == nullptr) return nullptr;
    return std::make_unique<MemoryData>(
        std::make_unique<Output>("data", std::move(content), output, open_files_));
}

std::unique_ptr<platform::BufferedFile> MemoryFiles::create_buffered(const std::string& path) {
    auto content = create(path);
    if (content == nullptr) return nullptr;
    return std::make_unique<MemoryIndex>(
        std::make_unique<Output>("index", std::move(content), output, open_files_));
}

bool MemoryFiles::remove_file(const std::string& path) {
    note("remove " + path);
    if (failing_removals > 0) {
        --failing_removals;
        return false;
    }
    return files_.erase(path) == 1;
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
