// The state file of a large site after a bad night: the recorder's start and end wait for it.

#include <fmt/format.h>
#include <tinyxml2.h>

#include <fstream>
#include <iterator>

#include "bench/ratios/child.h"
#include "bench/ratios/host.h"
#include "bench/ratios/subjects.h"
#include "platform/clock.h"
#include "store/state_names.h"
#include "store/xml_store.h"

namespace bench {
namespace {

namespace state = norvane::state;

constexpr int kOperations = 100'000;

/// In no order, as real ones are.
std::string guid(int number) {
    const std::uint64_t spread = static_cast<std::uint64_t>(number) * 0x9E3779B97F4B % 0x1000000000000;
    return fmt::format("{:08x}-0e9d-4608-9bd0-{:012x}", spread >> 16, spread);
}

/// The same file by the library alone: the document as a whole, then saved.
void save_bare(const char* path, int operations) {
    tinyxml2::XMLDocument document;
    document.InsertEndChild(document.NewDeclaration(state::kDeclaration));
    tinyxml2::XMLElement* pavo = document.NewElement(state::kPavo);
    document.InsertEndChild(pavo);
    tinyxml2::XMLElement* list = pavo->InsertNewChildElement(state::kOperations);
    for (int i = 0; i < operations; ++i) {
        tinyxml2::XMLElement* operation = list->InsertNewChildElement(state::kOperation);
        operation->SetAttribute(state::kDevices, 7 + i % 5);
        operation->SetAttribute(state::kDevice, 1 + i % 20'000);
        operation->SetAttribute(state::kGuid, guid(i).c_str());
        operation->SetAttribute(state::kStartTime, 1'700'000'000 + i);
        operation->SetAttribute(state::kEndTime, 1'700'000'600 + i);
        operation->SetAttribute(state::kAttempts, i % 3);
    }
    require(document.SaveFile(path) == tinyxml2::XML_SUCCESS, "the state cannot be saved");
}

void load_bare(const char* path) {
    tinyxml2::XMLDocument document;
    require(document.LoadFile(path) == tinyxml2::XML_SUCCESS, "the state cannot be read");
}

void read_by_store(int expected) {
    norvane::CXmlStore store(platform::system_files(), platform::system_clock());
    std::vector<norvane::DisconnectRecord> records;
    std::vector<norvane::Operation> operations;
    store.LoadState(records, operations);
    require(operations.size() == static_cast<std::size_t>(expected), "an operation is missing");
}

std::string content(const char* path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

Figures state_figures(const Effort& effort) {
    const int operations = effort.scaled(kOperations);
    Rounds read;
    Rounds load;
    Rounds save;
    Rounds bare_load;
    Rounds bare_save;
    for (int round = 0; round < effort.rounds(); ++round) {
        bare_save.push_back(time_of([&] { save_bare(state::kFileName, operations); }));
        const std::string before = content(state::kFileName);
        bare_load.push_back(time_of([] { load_bare(state::kFileName); }));
        read.push_back(time_of([&] { read_by_store(operations); }));
        Host host(effort.module);
        load.push_back(host.open_seconds());
        require(content(state::kFileName).size() < 100, "the state was not taken over");
        save.push_back(host.close());
        require(content(state::kFileName) == before, "the saved state is not the one that was read");
    }
    const double bytes = run_self({"--module", effort.module.string(), "--state"});
    std::filesystem::remove(state::kFileName);
    return {ratio("state of 100,000 operations: read, of bare tinyxml2", read, bare_load, 1.5),
            ratio("state of 100,000 operations: start, of bare tinyxml2", load, bare_load, 1.5),
            ratio("state of 100,000 operations: end, of bare tinyxml2", save, bare_save, 1.2),
            cost("state of 100,000 operations: memory", "bytes each", {bytes / operations}, 1'536)};
}

double state_memory(const std::filesystem::path& module) {
    reset_peak();
    const double before = resident_bytes();
    Host host(module);
    host.close();
    return peak_resident_bytes() - before;
}

}  // namespace bench
