#include "tools/recorder/scenarios/scenarios.h"
#include "tools/recorder/scenarios/steps.h"

namespace recorder {

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
