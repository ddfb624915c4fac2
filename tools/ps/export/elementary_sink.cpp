#include "tools/ps/export/export_sink.h"

namespace ps_tool {
namespace {

class ElementarySink final : public ExportSink {
  public:
    ElementarySink(cli::OutputFile& file, const Selection& selection) : file_(file) {
        if (!selection.parameter_sets_in_stream) file_.write(std::span<const platform::Byte>(selection.head));
    }

    void write(const ExportFrame& /*frame*/, std::span<platform::Byte> bytes) override { file_.write(bytes); }
    void finish() override {}

  private:
    cli::OutputFile& file_;
};

}  // namespace

std::unique_ptr<ExportSink> make_elementary_sink(cli::OutputFile& file, const Selection& selection) {
    return std::make_unique<ElementarySink>(file, selection);
}

}  // namespace ps_tool
