#include "tools/recorder/scenarios/scenarios.h"
#include "tools/recorder/scenarios/serving.h"

namespace recorder {

Handover play_until_restart(Stage& stage, const std::vector<Clip>& clips) {
    std::vector<Camera> cameras = {make_camera(0, "Front gate"), make_camera(1, "Loading dock"),
                                   make_camera(2, "Car park")};
    const Seconds lost = loss_for(clips);
    Seconds found = lost;
    for (Camera& camera : cameras) found = camera.record(clips, lost);

    stage.open();
    for (const Camera& camera : cameras) introduce(stage, camera, lost - kAgo);
    for (const Camera& camera : cameras) stage.report(camera, false, lost);
    // The first camera's operation gets under way, the second's waits, the third camera stays lost.
    stage.report(cameras[0], true, found);
    stage.report(cameras[1], true, found);
    const Request request = until_clips_are_asked(stage, cameras[0]);
    stage.deliver(cameras[0], request, cameras[0].storage.front(), 1);
    stage.close();
    return {stage.memory(), cameras, found};
}

void play_after_restart(Stage& stage, const Handover& handover) {
    stage.remember(handover.stage);
    stage.open();
    // Every camera comes back, those that were connected at the end as well: the plug-in fetches what it had
    // left, the open gap, and the time of the restart, for which the cameras hold nothing.
    const Seconds back = present() + kAgo;
    for (const Camera& camera : handover.cameras) stage.announce(camera);
    for (const Camera& camera : handover.cameras) stage.report(camera, true, back);
    serve_all(stage, handover.cameras);
    end_story(stage);
}

}  // namespace recorder
