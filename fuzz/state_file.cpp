// Loads and saves the state file. An input is either a text, whose loaded state must survive a save and a
// load, or a state, which must load as it was saved, except for what the file cannot store.

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

using namespace norvane;

/// The input of a save and the result of a load.
struct State {
    std::vector<DisconnectRecord> records;
    std::vector<Operation> operations;
    std::string fault = {};

    bool operator==(const State&) const = default;
};

struct StateFile {
    MemoryFiles files;
    FakeClock clock;
    CXmlStore store{files, clock};

    [[nodiscard]] const std::string& text() const { return files.at(state::kFileName); }
    void save(State state) { store.SaveState(state.records, state.operations); }
    State load() {
        State state;
        try {
            store.LoadState(state.records, state.operations);
        } catch (const std::invalid_argument& fault) {
            state.fault = fault.what();
        }
        return state;
    }
};

/// The error that loading the record causes; empty for a valid record.
std::string fault_of(const DisconnectRecord& record) {
    const auto positive = [](std::uint32_t word) { return word >= 1 && word <= 0x7FFFFFFF; };
    if (!positive(record.channel.devices_id)) return state::kBadPlugInId;
    if (!positive(record.channel.device_number)) return state::kBadDeviceNumber;
    return platform::seconds_of(record.time) < 1 ? state::kBadDisconnectTime : "";
}

Ticks whole_seconds(Ticks instant) {
    return platform::ticks_of(platform::seconds_of(instant));
}

/// The part that the file stores: whole seconds, no channels, and only what precedes the first bad record.
State storable(State given) {
    State stored;
    std::ranges::stable_sort(given.records, {}, [](const DisconnectRecord& one) {
        return std::tuple(one.channel.devices_id, one.channel.device_number);
    });
    for (const auto& [time, channel] : given.records) {
        stored.fault = fault_of({time, channel});
        if (!stored.fault.empty()) return stored;
        stored.records.push_back({whole_seconds(time), {0, 0, channel.device_number, channel.devices_id}});
    }
    stored.operations = given.operations;
    for (Operation& operation : stored.operations) {
        operation.start_time = whole_seconds(operation.start_time);
        operation.end_time = whole_seconds(operation.end_time);
    }
    return stored;
}

void load_text(const std::string& text) {
    StateFile file;
    file.files.put(state::kFileName, text);
    State first = file.load();
    first.fault.clear();
    file.save(first);
    const std::string saved = file.text();
    const State second = file.load();
    require(second == storable(first) && second.fault.empty(), "a saved state loads unchanged");
    file.save(second);
    require(file.text() == saved, "the same state is saved as the same text");
}

/// A valid word, one at a limit, or any.
std::uint32_t word(ByteSource& in) {
    const std::uint8_t choice = in.byte();
    if (choice >= 32) return choice % 8U + 1;
    return choice < 16 ? static_cast<std::uint32_t>(in.number(4)) : 0x80000000U - choice % 2U;
}

Ticks instant(ByteSource& in) {
    return in.byte() < 32 ? static_cast<Ticks>(in.number(8)) : static_cast<Ticks>(in.number(4)) * 3'333'333;
}

State any_state(ByteSource& in) {
    State state;
    while (!in.empty()) {
        if (in.chance(128)) {
            state.records.push_back(
                {.time = instant(in), .channel = {word(in), word(in), word(in), word(in)}});
        } else {
            Operation operation{.device = {word(in), word(in)}};
            std::ranges::generate(operation.guid, [&] { return in.byte(); });
            operation.start_time = instant(in);
            operation.end_time = instant(in);
            operation.attempts = static_cast<std::int32_t>(word(in));
            state.operations.push_back(operation);
        }
    }
    return state;
}

}  // namespace

/// An input that begins with a zero byte is a state; any other is a text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ByteSource in({data, size});
    if (size == 0 || in.byte() != 0) {
        load_text({data, data + size});
        return 0;
    }
    const State given = any_state(in);
    StateFile file;
    file.save(given);
    require(file.load() == storable(given), "a load returns the saved state");
    return 0;
}
