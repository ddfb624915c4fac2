#include "tools/recorder/scenarios.h"
#include "tools/recorder/serving.h"

namespace recorder {
namespace {

constexpr std::int32_t kConnectionBroken = 104;
constexpr std::int32_t kCardUnreadable = 5;

}  // namespace

void play_retry(Stage& stage, const std::vector<Clip>& clips) {
    constexpr Seconds kAgo = 60;
    // Three clips in the gap, whatever number is given: one before the first failure, one before the second.
    const std::vector<Clip> three = {clips[0], clips[1 % clips.size()], clips[2 % clips.size()]};
    Camera camera = make_camera(0, "Loading dock");
    const Seconds length = three[0].seconds + three[1].seconds + three[2].seconds;
    const Seconds lost = present() - length - kAgo;
    const Seconds found = camera.record(three, lost);

    stage.open();
    introduce(stage, camera, lost - kAgo);
    stage.report(camera, false, lost);
    stage.report(camera, true, found);

    const Request first = until_clips_are_asked(stage, camera);
    stage.deliver(camera, first, camera.storage[0], 1);
    stage.fail(camera, first, kConnectionBroken, camera.storage[1].start);

    const Request again = until_clips_are_asked(stage, camera);
    stage.deliver(camera, again, camera.storage[1], 1);
    stage.fail(camera, again, kCardUnreadable, camera.storage[2].start);
    stage.settle();
    require_all_done(stage);
    stage.close();
}

}  // namespace recorder
