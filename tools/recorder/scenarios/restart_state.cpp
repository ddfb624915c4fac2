#include "tools/recorder/scenarios/scenarios.h"

#include <nlohmann/json.hpp>

#include "tools/cli/exit_status.h"

template <>
struct nlohmann::adl_serializer<norvane::Guid> {
    static void to_json(json& json, const norvane::Guid& guid) { json = recorder::number_of(guid); }
    static void from_json(const json& json, norvane::Guid& guid) {
        guid = recorder::guid_of(json.get<std::size_t>());
    }
};

// The JSON library requires these names in the namespaces of the types.
namespace norvane {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(DeviceKey, devices_id, number)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ChannelKey, channel, device_number, devices_id)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(DisconnectRecord, time, channel)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Failure, reason, error_code, since)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(OperationState, device, guid, start_time, end_time, attempts, stage,
                                   failure)

}  // namespace norvane

namespace recorder {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ExpectedRecording, path, start, frames, exact_start)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(MessageCounts, sent, received, returned)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Clip, file, bytes, seconds, frames, fragment_frames, other_coding, mp4)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(StoredClip, clip, start)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Camera, device, name, address, storage)

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
