#include "tools/recorder/scenarios/scenarios.h"
#include "tools/recorder/scenarios/steps.h"

namespace recorder {
namespace {

constexpr std::int32_t kConnectionBroken = 104;
constexpr std::int32_t kCardUnreadable = 5;

}  // namespace

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
    finish_scenario(simulator);
}

}  // namespace recorder
