#include <algorithm>
#include <limits>

#include <fmt/format.h>

#include "tools/recorder/host/module_fault.h"
#include "tools/recorder/host/process_figures.h"
#include "tools/recorder/model/random.h"
#include "tools/recorder/scenarios/scenarios.h"
#include "tools/recorder/scenarios/steps.h"

namespace recorder {
namespace {

/// 2035-01-01. The date is fixed so that the same seed gives the same messages. It is in the future so that
/// the present time, which the module saves at a restart, is before all later gaps.
constexpr Seconds kStart = 2'051'222'400;

/// Of the memory of recorder and module together, in kilobytes. A soak run is measured from the step on at
/// which the recorder's own lists have reached their size.
constexpr std::int64_t kMaxGrowth = 32L * 1024;
constexpr std::int64_t kPerRecording = 2;  // the recorder's own notes on it and its messages
constexpr std::uint64_t kWarmUpSteps = 5000;

/// Per camera, in a soak run.
constexpr std::size_t kClipsKept = 6;

struct CameraState {
    Camera camera;
    bool connected = true;
    std::uint32_t gaps_left = 0;
    Seconds clock = kStart;  // after every event of this camera so far
};

class ManyCameras {
  public:
    ManyCameras(HostSimulator& simulator, const std::vector<Clip>& clips, const ManySettings& settings,
                Soak* soak)
        : simulator_(simulator),
          clips_(clips),
          random_(settings.seed),
          max_gaps_(soak == nullptr ? settings.gaps : std::numeric_limits<std::uint32_t>::max()),
          soak_(soak) {
        for (std::uint32_t i = 0; i < settings.cameras; ++i) {
            // Names with characters that XML and quoted paths must escape.
            cameras_.push_back({.camera = make_camera(i, fmt::format("Yard & \"Gate\" <{}>", i + 1)),
                                .gaps_left = max_gaps_});
        }
    }

    std::uint32_t play() {
        simulator_.open();
        for (CameraState& state : cameras_) announce_connected(simulator_, state.camera, state.clock++);
        const std::uint64_t max_steps =
            1000 + 500 * static_cast<std::uint64_t>(cameras_.size()) * (std::uint64_t{1} + max_gaps_);
        simulator_.settle();
        ProcessFigures before = process_figures();
        for (std::uint64_t steps = 0; !finished(); ++steps) {
            if (soak_ != nullptr && steps == kWarmUpSteps) before = process_figures();
            if (steps == max_steps) throw ModuleFault("the scenario does not end");
            step();
            if (soak_ != nullptr) watch();
        }
        simulator_.settle();
        const auto recordings = static_cast<std::int64_t>(simulator_.recordings().size());
        require_no_growth(before, process_figures(), kMaxGrowth + kPerRecording * recordings);
        simulator_.close();
        return restarts_;
    }

  private:
    void watch() {
        soak_->watch();
        if (!soak_->enough()) return;
        for (CameraState& state : cameras_) state.gaps_left = 0;
    }

    bool wants_restart() {
        constexpr std::size_t kStepsPerRestart = 500;  // steps; an operation takes about six
        if (soak_ != nullptr) return !soak_->enough() && random_.below(kStepsPerRestart) == 0;
        return restarts_ <= max_gaps_ / 2 && random_.percent(2);
    }

    bool finished() {
        return simulator_.model().all_done() && simulator_.requests().empty() &&
               cameras_that_are(true, true).empty() && cameras_that_are(false, false).empty();
    }

    /// Connected or lost cameras; optionally only those with gaps left.
    std::vector<CameraState*> cameras_that_are(bool connected, bool with_gaps_left) {
        std::vector<CameraState*> found;
        for (CameraState& state : cameras_) {
            if (state.connected == connected && (!with_gaps_left || state.gaps_left > 0))
                found.push_back(&state);
        }
        return found;
    }

    void step() {
        auto can_be_lost = cameras_that_are(true, true);
        auto lost = cameras_that_are(false, false);
        if (wants_restart()) return restart();
        if (random_.percent(4)) return send_unexpected();
        if (!simulator_.requests().empty() && random_.percent(60))
            return answer_one(random_.pick(simulator_.requests()));
        if (!lost.empty() && random_.percent(50)) return regain(*random_.pick(lost));
        if (!can_be_lost.empty()) return lose(*random_.pick(can_be_lost));
        if (!lost.empty()) return regain(*random_.pick(lost));
        if (!simulator_.requests().empty()) return answer_one(simulator_.requests().front());
        // The module starts a pending operation only when a camera returns, so another gap is needed.
        auto all = cameras_that_are(true, false);
        lose(*random_.pick(all));
    }

    void lose(CameraState& state) {
        state.clock += 20 + static_cast<Seconds>(random_.below(60));
        simulator_.report(state.camera, false, state.clock);
        state.connected = false;
        if (state.gaps_left > 0) --state.gaps_left;
    }

    void regain(CameraState& state) {
        std::vector<Clip> held;
        if (soak_ != nullptr) state.camera.keep_latest(kClipsKept);
        for (std::size_t count = random_.below(3); count > 0; --count) held.push_back(random_.pick(clips_));
        state.clock = state.camera.record(held, state.clock) + static_cast<Seconds>(random_.below(5));
        simulator_.report(state.camera, true, state.clock);
        state.connected = true;
    }

    /// Messages that a host should not send, or not twice.
    void send_unexpected() {
        CameraState& state = random_.pick(cameras_);
        switch (random_.below(soak_ == nullptr ? 4 : 3)) {
            case 0:
                return simulator_.send_text("no XML", "<Pavo><Devices ID=\"1\"");
            case 1:
                return simulator_.send_text("nonsense", "<Pavo><Weather Sunny=\"1\"/></Pavo>");
            case 2:
                return simulator_.report_done_for_unknown(state.camera);
            default:
                return simulator_.report(state.camera, state.connected, ++state.clock);
        }
    }

    void restart() {
        ++restarts_;
        simulator_.close();
        if (soak_ != nullptr) soak_->add_restart();
        simulator_.open();
        for (CameraState& state : cameras_) {
            simulator_.announce(state.camera);
            if (state.connected) simulator_.report(state.camera, true, ++state.clock);
        }
    }

    CameraState& camera_of(const Request& request) {
        const auto state = std::ranges::find(cameras_, request.device,
                                             [](const CameraState& each) { return each.camera.device; });
        if (state == cameras_.end()) throw ModuleFault("the module sent a request for an unknown camera");
        return *state;
    }

    void answer_one(const Request& picked) {
        const Request request = picked;  // the answer removes it from the list
        CameraState& state = camera_of(request);
        if (request.kind == Request::Kind::kRecordings) return answer_recordings(state, request);
        if (random_.percent(10)) return fail(state, request);
        if (request.kind == Request::Kind::kStorageInfo && random_.percent(10))
            return simulator_.offer(state.camera, request, {});
        answer(simulator_, state.camera, request);
    }

    void answer_recordings(CameraState& state, const Request& request) {
        constexpr std::size_t kMaxClips = 3;
        std::vector<StoredClip> clips = simulator_.clips_for(state.camera, request);
        if (clips.size() > kMaxClips) clips.erase(clips.begin(), clips.end() - kMaxClips);
        if (random_.percent(5)) simulator_.deliver_no_mp4(state.camera, request, state.clock);
        for (const StoredClip& stored : clips) {
            if (random_.percent(15)) return simulator_.fail(state.camera, request, 5, stored.start);
            simulator_.deliver(state.camera, request, stored, random_.percent(70) ? 1 : 3);
        }
        simulator_.finish(state.camera, request);
        if (random_.percent(5)) simulator_.finish(state.camera, request);  // sent twice
    }

    void fail(CameraState& state, const Request& request) {
        const auto operation = simulator_.operation(request);
        const Seconds start = operation ? seconds(operation->start_time) : state.clock;
        simulator_.fail(state.camera, request, static_cast<std::int32_t>(random_.below(100)), start);
    }

    HostSimulator& simulator_;
    std::vector<Clip> clips_;
    Random random_;
    std::vector<CameraState> cameras_;
    std::uint32_t max_gaps_;
    std::uint32_t restarts_ = 0;
    Soak* soak_;  // null for a run of fixed length
};

}  // namespace

std::uint32_t play_many(HostSimulator& simulator, const std::vector<Clip>& clips,
                        const ManySettings& settings, Soak* soak) {
    return ManyCameras(simulator, clips, settings, soak).play();
}

}  // namespace recorder
