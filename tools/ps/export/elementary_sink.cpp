#include <cstdio>
#include <memory>
#include <stdexcept>

#include "tools/ps/export/export_sink.h"

namespace ps_tool {
namespace {

class ElementarySink final : public ExportSink {
  public:
    explicit ElementarySink(const std::string& path)
        : path_(path == "-" ? "standard output" : path),
          end_(path == "-" ? &std::fflush : &std::fclose),
          file_(path == "-" ? stdout : std::fopen(path.c_str(), "wb"), end_) {
        if (file_ == nullptr) throw std::runtime_error(path_ + ": cannot be written");
    }

    void write(const ExportFrame& /*frame*/, std::span<platform::Byte> bytes) override { put(bytes); }
    void put(std::span<const platform::Byte> bytes) {
        check(std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size());
    }
    void finish() override { check(end_(file_.release()) == 0); }

  private:
    using End = int(std::FILE*);

    void check(bool done) const {
        if (!done) throw std::runtime_error(path_ + ": cannot be written completely");
    }

    std::string path_;
    End* end_;
    std::unique_ptr<std::FILE, End*> file_;
};

}  // namespace

std::unique_ptr<ExportSink> make_elementary_sink(const std::string& path, const Selection& selection) {
    auto sink = std::make_unique<ElementarySink>(path);
    if (!selection.parameter_sets_in_stream) sink->put(selection.head);
    return sink;
}

}  // namespace ps_tool
