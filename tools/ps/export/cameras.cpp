#include "tools/ps/export/cameras.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <limits>
#include <map>
#include <utility>

#include "tools/cli/exit_status.h"
#include "tools/cli/json_list.h"
#include "tools/reader/packet.h"
#include "tools/reader/recording_info.h"

namespace ps_tool {
namespace {

constexpr std::int64_t kNoFrames = std::numeric_limits<std::int64_t>::max();

using CameraMap = std::map<std::pair<std::string, std::string>, Camera>;

/// Replaces bytes that are not UTF-8, which players and JSON require.
std::string utf8_of(const std::string& name) {
    return cli::Json::parse(cli::Json(name).dump(-1, ' ', false, cli::Json::error_handler_t::replace))
        .get<std::string>();
}

Camera& first_of_id(CameraMap& cameras, const std::string& id) {
    const auto first = cameras.lower_bound({id, ""});
    if (first != cameras.end() && first->first.first == id) return first->second;
    return cameras.try_emplace({id, ""}, Camera{id, "", {}}).first->second;
}

}  // namespace

std::string Camera::label() const {
    return fmt::format("{} \"{}\"", id.empty() ? "no id" : id, name);
}

std::vector<Camera> cameras_of(const std::vector<std::string>& paths, cli::UnusableInputs& unusable) {
    CameraMap by_key;
    std::vector<std::pair<std::string, CameraRecording>> nameless;  // with their ids
    for (const std::string& path : paths) {
        try {
            reader::Recording recording(path);
            const std::string id = reader::clip_id_in(path);
            const auto map = recording.stream_map();
            const auto header = recording.packet_header(kPacketsAt);
            if (!map || !header || recording.pack_header() != kPackHeader) {
                nameless.push_back({id, {kNoFrames, path}});
                continue;
            }
            const reader::StreamMapInfo streams = reader::parse_stream_map(*map);
            const reader::Packet packet = reader::parse_packet(*header, 0, kPacketsAt);
            const bool sound = reader::begins_packet(*header, streams) && packet.time.plausible();
            const std::string name = utf8_of(streams.streams.at(sound ? packet.slot % kSlots : 0).name);
            Camera& camera = by_key.try_emplace({id, name}, Camera{id, name, {}}).first->second;
            camera.recordings.push_back({sound ? reader::instant_of(packet.time) : kNoFrames, path});
        } catch (const reader::CannotOpen& error) {
            unusable.add(error.path(), error.reason());
        }
    }
    for (auto& [id, recording] : nameless) first_of_id(by_key, id).recordings.push_back(std::move(recording));
    std::vector<Camera> cameras;
    for (auto& [key, camera] : by_key) {
        std::ranges::sort(camera.recordings);
        cameras.push_back(std::move(camera));
    }
    return cameras;
}

Camera choose_camera(const std::vector<Camera>& cameras, const std::string& id_or_name) {
    Camera chosen;
    std::vector<Camera> with_name;
    for (const Camera& camera : cameras) {
        if (camera.name == id_or_name) with_name.push_back(camera);
        if (camera.id.empty() || !boost::algorithm::iequals(camera.id, id_or_name)) continue;
        if (chosen.id.empty()) chosen = Camera{camera.id, camera.name, {}};
        chosen.recordings.insert(chosen.recordings.end(), camera.recordings.begin(), camera.recordings.end());
    }
    if (!chosen.id.empty()) {
        std::ranges::sort(chosen.recordings);
        return chosen;
    }
    if (with_name.size() == 1) return with_name.front();
    if (with_name.empty())
        throw cli::CannotRun(fmt::format("--camera {}: no such camera; the recordings are of {}", id_or_name,
                                         list_of(cameras)));
    throw cli::CannotRun(
        fmt::format("--camera {}: {} have this name; use an id", id_or_name, list_of(with_name)));
}

std::string list_of(const std::vector<Camera>& cameras) {
    std::string list;
    for (const Camera& camera : cameras) list += (list.empty() ? "" : ", ") + camera.label();
    return list;
}

}  // namespace ps_tool
