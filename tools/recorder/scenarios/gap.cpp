#include "tools/recorder/scenarios/scenarios.h"
#include "tools/recorder/scenarios/serving.h"

namespace recorder {

void play_gap(Stage& stage, const std::vector<Clip>& clips) {
    stage.open();
    serve_all(stage, {lost_and_found(stage, "Front gate", clips)});
    end_story(stage);
}

}  // namespace recorder
