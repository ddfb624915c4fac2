#include "tools/recorder/scenarios/scenarios.h"
#include "tools/recorder/scenarios/steps.h"

namespace recorder {

void play_gap(HostSimulator& simulator, const std::vector<Clip>& clips) {
    simulator.open();
    answer_all(simulator, {regained_camera(simulator, "Front gate", clips)});
    finish_scenario(simulator);
}

}  // namespace recorder
