#include "tools/recorder/scenarios/handover.h"

#include <nlohmann/json.hpp>

#include "tools/cli/exit_status.h"

namespace recorder {

// The names of the library's conversion functions are fixed; it finds them beside the types.
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Device, identifier, number)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Operation, number, device, start, end, attempts)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ExpectedRecording, path, start, frames)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(MessageCounts, sent, received, returned)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Clip, file, bytes, seconds, frames)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(StoredClip, clip, start)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Camera, device, name, address, storage)

/// All times are known when a handover is written: the state file told the open ones.
static void to_json(nlohmann::json& json, const Loss& loss) {
    json = {{"device", loss.device}, {"time", loss.time.value_or(0)}};
}
static void from_json(const nlohmann::json& json, Loss& loss) {
    json.at("device").get_to(loss.device);
    loss.time = json.at("time").get<Seconds>();
}

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(SavedModel, losses, operations, operations_made, operations_done,
                                   operations_dropped, state_file_exists)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(SimulatorState, model, guids, recordings, counts)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Handover, simulator, cameras, time)

std::string handover_text(const Handover& handover) {
    // Not as text: paths need not be UTF-8.
    const auto bytes = nlohmann::json::to_cbor(nlohmann::json(handover));
    return {bytes.begin(), bytes.end()};
}

Handover handover_of(const std::string& text) {
    try {
        return nlohmann::json::from_cbor(text).get<Handover>();
    } catch (const nlohmann::json::exception&) {
        throw cli::CannotRun("what the first process left cannot be read");
    }
}

}  // namespace recorder
