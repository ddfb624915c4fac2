#include "tools/recorder/scenarios/scenarios.h"
#include "tools/recorder/scenarios/serving.h"

namespace recorder {

Handover play_until_restart(HostSimulator& simulator, const std::vector<Clip>& clips) {
    std::vector<Camera> cameras = {make_camera(0, "Front gate"), make_camera(1, "Loading dock"),
                                   make_camera(2, "Car park")};
    const Seconds lost = loss_for(clips);
    Seconds found = lost;
    for (Camera& camera : cameras) found = camera.record(clips, lost);

    simulator.open();
    for (const Camera& camera : cameras) introduce(simulator, camera, lost - kAgo);
    for (const Camera& camera : cameras) simulator.report(camera, false, lost);
    // The first camera's operation gets under way, the second's sleeper, the third camera stays lost.
    simulator.report(cameras[0], true, found);
    simulator.report(cameras[1], true, found);
    const Request request = until_clips_are_asked(simulator, cameras[0]);
    simulator.deliver(cameras[0], request, cameras[0].storage.front(), 1);
    simulator.close();
    return {simulator.memory(), cameras, found};
}

void play_after_restart(HostSimulator& simulator, const Handover& handover) {
    simulator.remember(handover.simulator);
    simulator.open();
    // Every camera comes back, those that were connected at the end as well: the plug-in fetches what it had
    // left, the open gap, and the time of the restart, for which the cameras hold nothing.
    const Seconds back = present() + kAgo;
    for (const Camera& camera : handover.cameras) simulator.announce(camera);
    for (const Camera& camera : handover.cameras) simulator.report(camera, true, back);
    serve_all(simulator, handover.cameras);
    end_story(simulator);
}

}  // namespace recorder
