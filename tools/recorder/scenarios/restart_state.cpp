#include "tools/recorder/scenarios/restart_state.h"

#include <nlohmann/json.hpp>

#include "tools/cli/exit_status.h"

namespace recorder {

// The JSON library requires these names in the namespace of the types.
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Device, identifier, number)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Operation, number, device, start, end, attempts)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ExpectedRecording, path, start, frames)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(MessageCounts, sent, received, returned)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Clip, file, bytes, seconds, frames)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(StoredClip, clip, start)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Camera, device, name, address, storage)

/// Every loss has a time by now: the state file contained those that were missing.
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
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(RestartState, simulator, cameras)

std::string restart_state_text(const RestartState& state) {
    // CBOR, because paths need not be valid UTF-8.
    const auto bytes = nlohmann::json::to_cbor(nlohmann::json(state));
    return {bytes.begin(), bytes.end()};
}

RestartState restart_state_of(const std::string& text) {
    try {
        return nlohmann::json::from_cbor(text).get<RestartState>();
    } catch (const nlohmann::json::exception&) {
        throw cli::CannotRun("cannot read the state of the first process");
    }
}

}  // namespace recorder
