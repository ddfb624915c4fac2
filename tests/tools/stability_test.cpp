// Compares the interface that a host sees with the files in tests/golden: the fields of the records, the
// constants in the header, the exports, all documents and log lines that the module sends during the
// conformance suite, and the engine's log lines. A difference affects every host. If each changed line is
// intended, rewrite the files and explain the change in the commit:
//     NORVANEPI_REWRITE_GOLDEN=1 build/dev/tests/tools/test_stability

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "engine/log_lines.h"
#include "plugin/interfaces/host_records.h"
#include "tests/support/temp_directory.h"

namespace {

namespace hr = host_records;

void require_golden(const std::string& name, const std::string& text) {
    const std::string file = std::string(GOLDEN) + "/" + name;
    if (std::getenv("NORVANEPI_REWRITE_GOLDEN") != nullptr) std::ofstream(file) << text;
    EXPECT_EQ(text, read_file(file)) << file;
}

template <typename Layout, typename... Fields>
std::string record(const std::string& name) {
    std::ostringstream out;
    out << name << ", " << Layout::size << " bytes:";
    ((out << " " << Fields::offset << "+" << Fields::width), ...);
    out << "\n";
    return out.str();
}

TEST(StabilityTest, RecordFieldsAreUnchanged) {
    using I = hr::ModuleInfo;
    using R = hr::HostRequest;
    using W = hr::WriteRequest;
    using C = hr::IoctlRequest;
    require_golden(
        "records.txt",
        record<hr::HostInfo, hr::HostInfo::Callback>("HostInfo") +
            record<I, I::Identifier, I::Word12, I::Word16, I::Word20, I::Word24, I::Word28, I::Word32,
                   I::Word36, I::Word40, I::Word52, I::Half56, I::Word60>("ModuleInfo") +
            record<R, R::RecordSize, R::Word4, R::Length, R::Word12, R::Data, R::Identifier, R::Word28,
                   R::MessageClass, R::Word36>("HostRequest") +
            record<hr::HostReply, hr::HostReply::RecordSize, hr::HostReply::Word4, hr::HostReply::Result>(
                "HostReply") +
            record<W, W::Refused, W::Length, W::Text, W::Identifier, W::CarriedB, W::CarriedA>(
                "WriteRequest") +
            record<hr::WriteResult, hr::WriteResult::Status, hr::WriteResult::Count>("WriteResult") +
            record<C, C::Code, C::Length, C::Text>("IoctlRequest") +
            record<hr::IoctlResult, hr::IoctlResult::Status, hr::IoctlResult::Count>("IoctlResult") +
            record<hr::OpenResult, hr::OpenResult::Status>("OpenResult") +
            record<hr::CloseResult, hr::CloseResult::Status>("CloseResult") +
            record<hr::SeekResult, hr::SeekResult::Status>("SeekResult") +
            record<hr::ReadResult, hr::ReadResult::Count>("ReadResult"));
}

TEST(StabilityTest, HeaderConstantsAreUnchanged) {
    std::istringstream header(read_file(HEADER));
    std::string words;
    const std::regex constant(R"re(#define (NORVANEPI_\w+) ("[^"]*"|\S+).*)re");
    std::smatch found;
    for (std::string line; std::getline(header, line);) {
        if (std::regex_match(line, found, constant)) words += found.str(1) + " " + found.str(2) + "\n";
    }
    require_golden("words.txt", words);
}

TEST(StabilityTest, ExportsAreUnchanged) {
    const TempDirectory directory;
    const std::string output = directory / "exports";
    ASSERT_EQ(
        std::system(("nm -D --defined-only --format=posix " MODULE " | cut -d' ' -f1,2 >" + output).c_str()),
        0);
    require_golden("exports.txt", read_file(output));
}

TEST(StabilityTest, EngineLogLinesAreUnchanged) {
    namespace lines = norvane::log_lines;
    const norvane::Operation operation{.device = {7, 3}, .start_time = 10'000'000, .end_time = 20'000'000};
    const std::array texts = {lines::load_failed("REASON"),
                              lines::save_failed("REASON"),
                              lines::creating(operation),
                              lines::disconnect_during(operation, true),
                              lines::disconnect_during(operation, false),
                              lines::requesting_storage_info(operation),
                              lines::requesting_reservation(operation, 2),
                              lines::requesting_recordings(operation),
                              lines::completed(operation),
                              lines::failed(operation, -5),
                              lines::retry_limit(operation),
                              lines::not_found(operation.guid),
                              lines::not_found_for_reservation(operation.guid)};
    std::string all;
    for (const std::string& text : texts) all += text + "\n";
    require_golden("engine-lines.txt", all);
}

/// Replaces what differs from run to run, and the numbers of clips, which are many. Times in the cases of the
/// suite are in 2034 and 2035.
std::string masked(std::string text, const std::string& directory) {
    for (std::size_t at = 0; (at = text.find(directory, at)) != std::string::npos;)
        text.replace(at, directory.size(), "DIR");
    text = std::regex_replace(
        text, std::regex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[0-9a-f]{4}-[0-9a-f]{12}"), "GUID");
    text = std::regex_replace(text, std::regex("202[0-9]-[-0-9T:]*Z"), "PRESENT");
    text = std::regex_replace(text, std::regex("\"1[0-9]{9}\""), "\"PRESENT\"");
    text = std::regex_replace(text, std::regex("/[0-9]+ (camera|clip|odd)\\.mp4"), "/N $1.mp4");
    return std::regex_replace(text, std::regex("\n"), "\\n");
}

TEST(StabilityTest, MessagesAreUnchanged) {
    const TempDirectory directory;
    const std::string work = directory / "work";
    const std::string suite =
        "TZ=UTC " NORVANEPI_RECORDER " validate " MODULE " --out " + work + " >" + work + ".out";
    EXPECT_EQ(std::system(suite.c_str()), 0) << read_file(work + ".out");
    std::set<std::string> sent;
    for (const auto& each : std::filesystem::directory_iterator(work)) {
        std::istringstream transcript(read_file(each.path().string() + "/transcript.jsonl"));
        for (std::string line; std::getline(transcript, line);) {
            const auto message = nlohmann::json::parse(line);
            if (message.at("direction") == "from module" && message.contains("text"))
                sent.insert(message.at("class").dump() + " " +
                            masked(message.at("text"), each.path().string()));
        }
    }
    std::string all;
    for (const std::string& text : sent) all += text + "\n";
    require_golden("messages.txt", all);
}

}  // namespace
