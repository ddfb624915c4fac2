#include "tools/recorder/scenarios/serving.h"

#include <algorithm>

#include <fmt/format.h>

#include "tools/host_kit/module_fault.h"

namespace recorder {

Camera make_camera(std::uint32_t number, const std::string& name) {
    // The clip id in a file's name has room for twelve bits of the identifier and one byte of the number.
    constexpr std::uint32_t kPerIdentifier = 200;
    constexpr std::uint32_t kFirstIdentifier = 0x00A10000;
    return {.device = {kFirstIdentifier + (number / kPerIdentifier << 16U), number % kPerIdentifier + 1},
            .name = name,
            .address = fmt::format("10.20.{}.{}", number / kPerIdentifier, number % kPerIdentifier + 1),
            .storage = {}};
}

void introduce(Stage& stage, const Camera& camera, Seconds time) {
    stage.announce(camera);
    stage.report(camera, true, time);
}

Seconds loss_for(const std::vector<Clip>& clips) {
    Seconds lost = present() - kAgo;
    for (const Clip& clip : clips) lost -= clip.seconds;
    return lost;
}

Camera lost_and_found(Stage& stage, const std::string& name, const std::vector<Clip>& clips) {
    Camera camera = make_camera(0, name);
    const Seconds lost = loss_for(clips);
    const Seconds found = camera.record(clips, lost);
    introduce(stage, camera, lost - kAgo);
    stage.report(camera, false, lost);
    stage.report(camera, true, found);
    return camera;
}

void serve(Stage& stage, const Camera& camera, Request request) {
    const Operation* operation = stage.operation(request);
    const auto clips =
        operation == nullptr ? std::vector<StoredClip>() : camera.holdings(operation->start, operation->end);
    switch (request.kind) {
        case Request::Kind::kStorageInfo:
            stage.offer(camera, request, clips);
            break;
        case Request::Kind::kReservation:
            stage.grant(camera, request);
            break;
        case Request::Kind::kRecordings:
            for (const StoredClip& stored : clips) stage.deliver(camera, request, stored, 1);
            stage.finish(camera, request);
            break;
    }
}

void serve_all(Stage& stage, const std::vector<Camera>& cameras) {
    while (!stage.requests().empty()) {
        const Request request = stage.requests().front();
        const auto asked = std::find_if(cameras.begin(), cameras.end(), [&](const Camera& camera) {
            return camera.device == request.device;
        });
        serve(stage, *asked, request);
    }
    stage.settle();
}

Request until_clips_are_asked(Stage& stage, const Camera& camera) {
    while (stage.requests().front().kind != Request::Kind::kRecordings) {
        serve(stage, camera, stage.requests().front());
    }
    return stage.requests().front();
}

void end_story(Stage& stage) {
    stage.settle();
    if (!stage.model().all_done()) throw PlugInFault("the story ended with operations left to do");
    stage.close();
}

}  // namespace recorder
