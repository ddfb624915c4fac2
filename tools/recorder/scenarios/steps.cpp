#include "tools/recorder/scenarios/steps.h"

#include <algorithm>

#include <fmt/format.h>

#include "tools/recorder/host/module_fault.h"

namespace recorder {

Camera make_camera(std::uint32_t number, const std::string& name) {
    // The clip id in a file name contains only twelve bits of the identifier and one byte of the number.
    constexpr std::uint32_t kPerIdentifier = 200;
    constexpr std::uint32_t kFirstIdentifier = 0x00A10000;
    return {.device = {kFirstIdentifier + (number / kPerIdentifier << 16U), number % kPerIdentifier + 1},
            .name = name,
            .address = fmt::format("10.20.{}.{}", number / kPerIdentifier, number % kPerIdentifier + 1),
            .storage = {}};
}

void announce_connected(HostSimulator& simulator, const Camera& camera, Seconds time) {
    simulator.announce(camera);
    simulator.report(camera, true, time);
}

Seconds loss_time_for(const std::vector<Clip>& clips) {
    Seconds lost = present() - kStep;
    for (const Clip& clip : clips) lost -= clip.seconds;
    return lost;
}

Camera regained_camera(HostSimulator& simulator, const std::string& name, const std::vector<Clip>& clips) {
    Camera camera = make_camera(0, name);
    const Seconds lost = loss_time_for(clips);
    const Seconds found = camera.record(clips, lost);
    announce_connected(simulator, camera, lost - kStep);
    simulator.report(camera, false, lost);
    simulator.report(camera, true, found);
    return camera;
}

void answer(HostSimulator& simulator, const Camera& camera, Request request) {
    const std::vector<StoredClip> clips = simulator.clips_for(camera, request);
    switch (request.kind) {
        case Request::Kind::kStorageInfo:
            simulator.offer(camera, request, clips);
            break;
        case Request::Kind::kReservation:
            simulator.grant(camera, request);
            break;
        case Request::Kind::kRecordings:
            for (const StoredClip& stored : clips) simulator.deliver(camera, request, stored, 1);
            simulator.finish(camera, request);
            break;
    }
}

void answer_all(HostSimulator& simulator, const std::vector<Camera>& cameras) {
    while (!simulator.requests().empty()) {
        const Request request = simulator.requests().front();
        answer(simulator, *std::ranges::find(cameras, request.device, &Camera::device), request);
    }
    simulator.settle();
}

Request answer_until_clips_requested(HostSimulator& simulator, const Camera& camera) {
    while (simulator.requests().front().kind != Request::Kind::kRecordings) {
        answer(simulator, camera, simulator.requests().front());
    }
    return simulator.requests().front();
}

void finish_scenario(HostSimulator& simulator) {
    simulator.settle();
    if (!simulator.model().all_done()) throw ModuleFault("the scenario ended with pending operations");
    simulator.close();
}

}  // namespace recorder
