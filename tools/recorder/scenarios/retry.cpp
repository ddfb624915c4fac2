#include "tools/recorder/scenarios/scenarios.h"
#include "tools/recorder/scenarios/serving.h"

namespace recorder {
namespace {

constexpr std::int32_t kConnectionBroken = 104;
constexpr std::int32_t kCardUnreadable = 5;

}  // namespace

void play_retry(HostSimulator& simulator, const std::vector<Clip>& clips) {
    // Three clips in the gap, whatever number is given: one before the first failure, one before the second.
    const std::vector<Clip> three = {clips[0], clips[1 % clips.size()], clips[2 % clips.size()]};
    simulator.open();
    const Camera camera = lost_and_found(simulator, "Loading dock", three);
    const Request first = until_clips_are_asked(simulator, camera);
    simulator.deliver(camera, first, camera.storage[0], 1);
    simulator.fail(camera, first, kConnectionBroken, camera.storage[1].start);

    const Request again = until_clips_are_asked(simulator, camera);
    simulator.deliver(camera, again, camera.storage[1], 1);
    simulator.fail(camera, again, kCardUnreadable, camera.storage[2].start);
    end_story(simulator);
}

}  // namespace recorder
