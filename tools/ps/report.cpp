// norvanepi-ps report: one page over many recordings.

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>

#include "tools/cli/command_line.h"
#include "tools/cli/counted.h"
#include "tools/cli/exit_status.h"
#include "tools/ps/command.h"
#include "tools/ps/each_recording.h"
#include "tools/ps/recording_json.h"
#include "tools/ps/report/page.h"
#include "tools/ps/report/page_data.h"

namespace ps_tool {
namespace {

using cli::Json;

struct ReportOptions : CommonOptions {
    std::vector<std::string> from;
    std::string transcript;
    std::string out;
};

std::ifstream opened(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in || std::filesystem::is_directory(path)) throw cli::CannotRun("cannot open " + path);
    return in;
}

void add_recordings(const ReportOptions& options, PageData& data) {
    if (options.paths.empty()) return;
    each_recording<Json>(
        options,
        [](reader::Recording& recording) {
            reader::Curve curve;
            const reader::Report report =
                reader::verify(recording, reader::VerifyDepth::kHeaders,
                               [&](const reader::Packet& packet) { curve.add(packet); });
            return json_of(report, curve);
        },
        [&data](const std::string&, const Json& recording) { data.add(recording); });
}

/// Takes one recording after the other out of the document, so that a fleet's need not fit into memory as a
/// whole.
void add_document(const std::string& path, PageData& data) {
    constexpr int kElement = 2;  // depth of an element of "recordings"
    std::ifstream in = opened(path);
    bool recordings = false;
    const auto take = [&](int depth, Json::parse_event_t event, Json& parsed) {
        if (event == Json::parse_event_t::key && depth == 1) recordings = parsed == "recordings";
        if (event != Json::parse_event_t::object_end || depth != kElement || !recordings) return true;
        data.add(parsed);
        return false;
    };
    try {
        const Json document = Json::parse(in, take);
        if (document.value("schema", 0) != cli::kJsonSchema || !document.contains("recordings"))
            throw cli::CannotRun(path + " is not what verify --json writes");
    } catch (const Json::exception& error) {
        throw cli::CannotRun(fmt::format("{} is not what verify --json writes: {}", path, error.what()));
    }
}

void add_transcript(const std::string& path, PageData& data) {
    std::ifstream in = opened(path);
    try {
        data.account_for(read_transcript(in));
    } catch (const std::runtime_error& error) {
        throw cli::CannotRun(path + ": " + error.what());
    }
}

void write_page(const std::string& page, const std::string& out) {
    if (out == "-") {
        fmt::print("{}", page);
        return;
    }
    std::ofstream file(out, std::ios::binary);
    file << page;
    file.close();
    if (!file) throw cli::CannotRun("cannot write " + out);
    fmt::print("{}\n", out);
}

int run_report(const ReportOptions& options) {
    if (options.paths.empty() && options.from.empty())
        throw cli::CannotRun("neither a PATH nor --from was given");
    PageData data;
    add_recordings(options, data);
    for (const std::string& path : options.from) add_document(path, data);
    if (!options.transcript.empty()) add_transcript(options.transcript, data);
    write_page(report_page(data.document()), options.out);
    fmt::print(stderr, "{}, {} with faults\n", cli::counted(data.files(), "recording"), data.faulty_files());
    return data.faulty_files() == 0 ? cli::kSuccess : cli::kFailure;
}

}  // namespace

Command add_report(CLI::App& program) {
    const auto options = std::make_shared<ReportOptions>();
    CLI::App& command = cli::add_command(program, "report",
                                         "Writes a page over recordings that opens in any browser: a time "
                                         "line of each camera, coverage, gaps, curves, "
                                         "and what verify says of each file",
                                         "norvanepi-ps report recordings --out report.html");
    command.add_option("PATH", options->paths, "recordings, and directories of them")->type_name("PATH");
    command
        .add_option("--from", options->from,
                    "what verify --json wrote, on this recorder or others; shown together")
        ->type_name("FILE");
    command
        .add_option("--transcript", options->transcript,
                    "a transcript of the recorder: tells where every lost second went")
        ->type_name("FILE");
    command.add_option("-o,--out", options->out, "the page; - is standard output")
        ->required()
        ->type_name("FILE");
    add_jobs(command, *options);
    return {&command, [options] { return run_report(*options); }};
}

}  // namespace ps_tool
