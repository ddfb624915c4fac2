#include "tools/recorder/scenarios.h"
#include "tools/recorder/serving.h"

namespace recorder {

void play_gap(Stage& stage, const std::vector<Clip>& clips) {
    constexpr Seconds kAgo = 60;
    Camera camera = make_camera(0, "Front gate");
    Seconds length = 0;
    for (const Clip& clip : clips) length += clip.seconds;
    const Seconds lost = present() - length - kAgo;
    const Seconds found = camera.record(clips, lost);

    stage.open();
    introduce(stage, camera, lost - kAgo);
    stage.report(camera, false, lost);
    stage.report(camera, true, found);
    serve_all(stage, {camera});
    require_all_done(stage);
    stage.close();
}

}  // namespace recorder
