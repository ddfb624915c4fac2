#include "tools/recorder/scenarios/scenarios.h"
#include "tools/recorder/scenarios/serving.h"

namespace recorder {

void play_gap(HostSimulator& simulator, const std::vector<Clip>& clips) {
    simulator.open();
    serve_all(simulator, {lost_and_found(simulator, "Front gate", clips)});
    end_story(simulator);
}

}  // namespace recorder
