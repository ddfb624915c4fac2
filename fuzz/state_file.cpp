// The state file both ways. Text: what a load makes of it has to survive a save and a load unchanged. Records
// out of bytes: what a load yields is what the save was given, as far as the file can hold it.

#include <algorithm>
#include <stdexcept>
#include <tuple>

#include "fuzz/byte_source.h"
#include "fuzz/require.h"
#include "store/state_names.h"
#include "store/xml_store.h"
#include "tests/support/fake_time.h"
#include "tests/support/memory_files.h"

namespace {

namespace state = norvane::state;
using norvane::DisconnectRecord;
using norvane::Operation;

/// What one load yields.
struct State {
    std::vector<DisconnectRecord> records;
    std::vector<Operation> operations;
    std::string fault = {};

    bool operator==(const State&) const = default;
};

class StateFile {
  public:
    void put(const std::string& text) { files_.put(state::kFileName, text); }
    [[nodiscard]] std::string text() { return files_.read_whole(state::kFileName).value_or(""); }

    State load() {
        State state;
        try {
            store_.LoadState(state.records, state.operations);
        } catch (const std::invalid_argument& fault) {
            state.fault = fault.what();
        }
        return state;
    }

    void save(std::vector<DisconnectRecord> records, const std::vector<Operation>& operations) {
        store_.SaveState(records, operations);
    }

  private:
    MemoryFiles files_;
    FakeClock clock_;
    norvane::CXmlStore store_{files_, clock_};
};

void sort_by_device(std::vector<DisconnectRecord>& records) {
    std::ranges::stable_sort(records, {}, [](const auto& one) {
        return std::tuple(one.channel.devices_id, one.channel.device_number);
    });
}

bool is_positive(std::uint32_t word) {
    return word >= 1 && word <= 0x7FFFFFFF;
}

/// The fault that a record causes, empty for none.
std::string fault_of(const DisconnectRecord& record) {
    if (!is_positive(record.channel.devices_id)) return state::kBadPlugInId;
    if (!is_positive(record.channel.device_number)) return state::kBadDeviceNumber;
    return platform::seconds_of(record.time) < 1 ? state::kBadDisconnectTime : "";
}

platform::Ticks whole_seconds(platform::Ticks instant) {
    return platform::ticks_of(platform::seconds_of(instant));
}

/// What a file can hold of it: whole seconds, no channels, nothing from the first bad record on.
State storable(State given) {
    State held;
    sort_by_device(given.records);
    for (const DisconnectRecord& record : given.records) {
        held.fault = fault_of(record);
        if (!held.fault.empty()) return held;
        held.records.push_back(
            {whole_seconds(record.time), {0, 0, record.channel.device_number, record.channel.devices_id}});
    }
    for (Operation& operation : given.operations) {
        operation.start_time = whole_seconds(operation.start_time);
        operation.end_time = whole_seconds(operation.end_time);
    }
    held.operations = given.operations;
    return held;
}

void load_text(const std::string& text) {
    StateFile file;
    file.put(text);
    const State first = file.load();
    for (const DisconnectRecord& record : first.records)
        require(fault_of(record).empty(), "a bad record was loaded");
    file.save(first.records, first.operations);
    const std::string saved = file.text();
    const State second = file.load();
    require(second == storable(first) && second.fault.empty(), "a saved state loads as what was saved");
    file.save(second.records, second.operations);
    require(file.text() == saved, "the same state is saved as the same text");
}

/// Words that are good, at the edges, or anything.
std::uint32_t word(ByteSource& in) {
    const std::uint8_t choice = in.byte();
    if (choice >= 32) return choice % 8U + 1;
    return choice < 16 ? static_cast<std::uint32_t>(in.number(4))
                       : std::array{0U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}.at(choice % 4);
}

platform::Ticks instant(ByteSource& in) {
    return in.byte() >= 32 ? static_cast<platform::Ticks>(in.number(4)) * platform::kTicksPerSecond / 3
                           : static_cast<platform::Ticks>(in.number(8));
}

void save_records(ByteSource& in) {
    State given;
    while (!in.empty()) {
        if (in.chance(128)) {
            const platform::Ticks time = instant(in);
            given.records.push_back({time, {word(in), word(in), word(in), word(in)}});
        } else {
            Operation operation{.device = {word(in), word(in)}};
            std::ranges::generate(operation.guid, [&] { return in.byte(); });
            operation.start_time = instant(in);
            operation.end_time = instant(in);
            operation.attempts = static_cast<std::int32_t>(word(in));
            given.operations.push_back(operation);
        }
    }
    StateFile file;
    file.save(given.records, given.operations);
    require(file.load() == storable(given), "a load yields what was saved");
}

}  // namespace

/// Inputs that begin with a zero are records, all others are texts.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ByteSource in({data, size});
    if (size == 0 || data[0] != 0) {
        load_text({data, data + size});
    } else {
        save_records(in);
    }
    return 0;
}
