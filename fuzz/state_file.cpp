// Loads and saves the state file, without and with the safe profile. An input is either a text, whose loaded
// state must survive a save and a load, or a state, which must load as it was saved, except for what the file
// cannot store.

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <tuple>

#include "fuzz/byte_source.h"
#include "fuzz/require.h"
#include "store/journaled_store.h"
#include "store/state_names.h"
#include "tests/support/fake_time.h"
#include "tests/support/memory_files.h"

namespace {

using namespace norvane;

/// The result of a load.
struct State {
    EngineState content;
    std::string fault = {};

    bool operator==(const State&) const = default;
};

/// The state file of a module with these options.
class StateFile {
  public:
    explicit StateFile(const Options& options) : options_(options) {}

    MemoryFiles files;
    std::size_t lines = 0;  // logged

    [[nodiscard]] const std::string& text() const { return files.at(state::kFileName); }
    void save(EngineState state) { store()->SaveEngineState(state); }
    State load() {
        State state;
        try {
            store()->LoadEngineState(state.content);
        } catch (const std::invalid_argument& fault) {
            state.fault = fault.what();
        }
        return state;
    }

  private:
    /// As at a start of the module.
    std::unique_ptr<IPersistentStore> store() {
        if (!options_.journal) return std::make_unique<CXmlStore>(files, clock_, options_);
        return std::make_unique<JournaledStore>(files, clock_, options_,
                                                [this](std::int32_t, const std::string&) { ++lines; });
    }

    Options options_;
    FakeClock clock_;
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

/// The file has whole seconds, and an error code only if the host gave it.
OperationState storable(OperationState operation, const Options& options) {
    operation.start_time = whole_seconds(operation.start_time);
    operation.end_time = whole_seconds(operation.end_time);
    Failure& failure = operation.failure;
    if (options.retries == 0 || failure.since == 0) failure = {};
    if (failure.reason != FailureReason::kReported) failure.error_code = 0;
    failure.since = whole_seconds(failure.since);
    return operation;
}

/// The part that the file stores. By default it has no channels, and only what precedes the first bad record
/// is loaded.
State storable(EngineState given, const Options& options) {
    State stored;
    std::ranges::stable_sort(given.gaps, {}, [](const DisconnectRecord& one) {
        return std::tuple(one.channel.devices_id, one.channel.device_number);
    });
    for (const auto& [time, channel] : given.gaps) {
        if (!options.journal) stored.fault = fault_of({time, channel});
        if (!stored.fault.empty()) return stored;
        stored.content.gaps.push_back(
            {whole_seconds(time),
             {options.channels ? channel.channel : 0, 0, channel.device_number, channel.devices_id}});
    }
    for (const OperationState& operation : given.operations)
        stored.content.operations.push_back(storable(operation, options));
    return stored;
}

void load_text(const std::string& text, const Options& options) {
    StateFile file(options);
    file.files.put(state::kFileName, text);
    const EngineState first = file.load().content;
    file.lines = 0;
    file.save(first);
    const std::string saved = file.text();
    const State second = file.load();
    require(second == storable(first, options) && second.fault.empty(), "a saved state loads unchanged");
    file.save(second.content);
    require(file.text() == saved, "the same state is saved as the same text");
    require(file.lines == 0, "a saved state is read without a complaint");
}

void save_state(const EngineState& given, const Options& options) {
    StateFile file(options);
    file.save(given);
    require(file.load() == storable(given, options), "a load returns the saved state");
    require(file.lines == 0, "a saved state is read without a complaint");
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

/// A state, without and with failures. These are derived from other values, because the committed inputs have
/// no bytes for them.
EngineState any_state(ByteSource in, bool with_failures) {
    EngineState state;
    while (!in.empty()) {
        if (in.chance(128)) {
            state.gaps.push_back({.time = instant(in), .channel = {word(in), word(in), word(in), word(in)}});
        } else {
            OperationState operation{{.device = {word(in), word(in)}}};
            std::ranges::generate(operation.guid, [&] { return in.byte(); });
            operation.start_time = instant(in);
            operation.end_time = instant(in);
            operation.attempts = static_cast<std::int32_t>(word(in));
            if (with_failures)
                operation.failure = {.reason = static_cast<FailureReason>(operation.guid.data[0] % 4),
                                     .error_code = operation.attempts,
                                     .since = operation.guid.data[1] % 2 == 0 ? 0 : operation.start_time};
            state.operations.push_back(operation);
        }
    }
    return state;
}

}  // namespace

/// An input that begins with a zero byte is a state; any other is a text. Both are used without and with the
/// safe profile.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ByteSource in({data, size});
    const bool is_text = size == 0 || in.byte() != 0;
    for (const Options& options : {Options{}, safe_options()}) {
        if (is_text)
            load_text({data, data + size}, options);
        else
            save_state(any_state(in, options.retries > 0), options);
    }
    return 0;
}
