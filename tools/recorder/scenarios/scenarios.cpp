#include "tools/recorder/scenarios/scenarios.h"
#include "tools/recorder/scenarios/steps.h"

namespace recorder {
namespace {

constexpr std::int32_t kConnectionBroken = 104;
constexpr std::int32_t kCardUnreadable = 5;

}  // namespace

void play_gap(HostSimulator& simulator, const std::vector<Clip>& clips) {
    simulator.open();
    answer_all(simulator, {regained_camera(simulator, "Front gate", clips)});
    finish_scenario(simulator);
}

void play_retry(HostSimulator& simulator, const std::vector<Clip>& clips) {
    // The gap always has three clips: the first failure follows the first clip, the second failure the second
    // one.
    const std::vector<Clip> three = {clips[0], clips[1 % clips.size()], clips[2 % clips.size()]};
    simulator.open();
    const Camera camera = regained_camera(simulator, "Loading dock", three);
    const Request first = answer_until_clips_requested(simulator, camera);
    simulator.deliver(camera, first, camera.storage[0], 1);
    simulator.fail(camera, first, kConnectionBroken, camera.storage[1].start);

    const Request again = answer_until_clips_requested(simulator, camera);
    simulator.deliver(camera, again, camera.storage[1], 1);
    simulator.fail(camera, again, kCardUnreadable, camera.storage[2].start);
    answer_all(simulator, {camera});  // with the safe profile, there are more retries
    finish_scenario(simulator);
}

RestartState play_until_restart(HostSimulator& simulator, const std::vector<Clip>& clips) {
    std::vector<Camera> cameras = {make_camera(0, "Front gate"), make_camera(1, "Loading dock"),
                                   make_camera(2, "Car park")};
    const Seconds lost = loss_time_for(clips);
    Seconds found = lost;
    for (Camera& camera : cameras) found = camera.record(clips, lost);

    simulator.open();
    for (const Camera& camera : cameras) announce_connected(simulator, camera, lost - kStep);
    for (const Camera& camera : cameras) simulator.report(camera, false, lost);
    // The first camera's operation starts, the second one's is pending, and the third camera stays lost.
    simulator.report(cameras[0], true, found);
    simulator.report(cameras[1], true, found);
    const Request request = answer_until_clips_requested(simulator, cameras[0]);
    simulator.deliver(cameras[0], request, cameras[0].storage.front(), 1);
    simulator.close();
    return {simulator.state(), cameras};
}

void play_after_restart(HostSimulator& simulator, const RestartState& state) {
    simulator.restore(state.simulator);
    simulator.open();
    // All cameras connect, including those that were connected at shutdown. The module retrieves the pending
    // operations, the open gap, and the time of the restart, for which the cameras have no clips.
    const Seconds back = present() + kStep;
    for (const Camera& camera : state.cameras) simulator.announce(camera);
    for (const Camera& camera : state.cameras) simulator.report(camera, true, back);
    answer_all(simulator, state.cameras);
    finish_scenario(simulator);
}

}  // namespace recorder
