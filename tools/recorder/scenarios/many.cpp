#include <algorithm>
#include <limits>
#include <random>

#include <fmt/format.h>

#include "tools/recorder/host/module_fault.h"
#include "tools/recorder/scenarios/scenarios.h"
#include "tools/recorder/scenarios/serving.h"

namespace recorder {
namespace {

/// 2035-01-01. The story has a fixed date, so that the same seed tells it twice in the same words, and one
/// ahead, so that what the plug-in saves at a restart, with the present instant, lies before the gaps to
/// come.
constexpr Seconds kStoryBegins = 2'051'222'400;

/// Of each camera, in a story that goes on for long.
constexpr std::size_t kClipsKept = 6;

/// Numbers from a seed that are the same everywhere: the standard's distributions are each library's own.
class Dice {
  public:
    explicit Dice(std::uint64_t seed) : engine_(seed) {}
    std::size_t below(std::size_t limit) { return static_cast<std::size_t>(engine_() % limit); }
    bool percent(std::size_t chance) { return below(100) < chance; }
    template <typename T>
    T& pick(std::vector<T>& from) {
        return from[below(from.size())];
    }

  private:
    std::mt19937_64 engine_;
};

struct Member {
    Camera camera;
    bool connected = true;
    std::uint32_t gaps_left = 0;
    Seconds clock = kStoryBegins;  // behind everything that was told about this camera
};

class Crowd {
  public:
    Crowd(HostSimulator& simulator, const std::vector<Clip>& clips, const CrowdSettings& settings,
          Soak* soak);
    std::uint32_t play();

  private:
    void step();
    void watch();
    bool finished();
    bool may_restart();
    void lose(Member& member);
    void find(Member& member);
    void disturb();
    void restart();
    void answer(const Request& request);
    void answer_recordings(Member& member, const Request& request);
    void fail(Member& member, const Request& request);
    std::vector<Member*> members_that(bool connected, bool with_gaps_left);
    Member& member_of(const Request& request);

    HostSimulator& simulator_;
    std::vector<Clip> clips_;
    Dice dice_;
    std::vector<Member> members_;
    std::uint32_t most_gaps_;
    std::uint32_t restarts_ = 0;
    Soak* endurance_;  // null for a story of its own length
};

Crowd::Crowd(HostSimulator& simulator, const std::vector<Clip>& clips, const CrowdSettings& settings,
             Soak* soak)
    : simulator_(simulator),
      clips_(clips),
      dice_(settings.seed),
      most_gaps_(soak == nullptr ? settings.gaps : std::numeric_limits<std::uint32_t>::max()),
      endurance_(soak) {
    for (std::uint32_t i = 0; i < settings.cameras; ++i) {
        // Names that the quoted form and XML have to carry safely.
        members_.push_back(
            {.camera = make_camera(i, fmt::format("Yard & \"Gate\" <{}>", i + 1)), .gaps_left = most_gaps_});
    }
}

std::uint32_t Crowd::play() {
    simulator_.open();
    for (Member& member : members_) introduce(simulator_, member.camera, member.clock++);
    const std::uint64_t most_steps =
        1000 + 500 * static_cast<std::uint64_t>(members_.size()) * (std::uint64_t{1} + most_gaps_);
    for (std::uint64_t steps = 0; !finished(); ++steps) {
        if (steps == most_steps) throw ModuleFault("the conversation comes to no end");
        step();
        if (endurance_ != nullptr) watch();
    }
    simulator_.settle();
    simulator_.close();
    return restarts_;
}

void Crowd::watch() {
    endurance_->watch();
    if (!endurance_->enough()) return;
    for (Member& member : members_) member.gaps_left = 0;
}

bool Crowd::may_restart() {
    constexpr std::size_t kSeldom = 500;  // steps, of which an operation takes about six
    if (endurance_ != nullptr) return !endurance_->enough() && dice_.below(kSeldom) == 0;
    return restarts_ <= most_gaps_ / 2 && dice_.percent(2);
}

bool Crowd::finished() {
    return simulator_.model().all_done() && simulator_.requests().empty() &&
           members_that(true, true).empty() && members_that(false, false).empty();
}

/// Connected members, those with gaps left only where asked; or lost members.
std::vector<Member*> Crowd::members_that(bool connected, bool with_gaps_left) {
    std::vector<Member*> found;
    for (Member& member : members_) {
        if (member.connected == connected && (!with_gaps_left || member.gaps_left > 0))
            found.push_back(&member);
    }
    return found;
}

void Crowd::step() {
    auto may_be_lost = members_that(true, true);
    auto lost = members_that(false, false);
    if (may_restart()) return restart();
    if (dice_.percent(4)) return disturb();
    if (!simulator_.requests().empty() && dice_.percent(60)) return answer(dice_.pick(simulator_.requests()));
    if (!lost.empty() && dice_.percent(50)) return find(*dice_.pick(lost));
    if (!may_be_lost.empty()) return lose(*dice_.pick(may_be_lost));
    if (!lost.empty()) return find(*dice_.pick(lost));
    if (!simulator_.requests().empty()) return answer(simulator_.requests().front());
    // Operations are left, but the plug-in only starts one when a camera returns: another gap is needed.
    auto all = members_that(true, false);
    lose(*dice_.pick(all));
}

void Crowd::lose(Member& member) {
    member.clock += 20 + static_cast<Seconds>(dice_.below(60));
    simulator_.report(member.camera, false, member.clock);
    member.connected = false;
    if (member.gaps_left > 0) --member.gaps_left;
}

void Crowd::find(Member& member) {
    std::vector<Clip> held;
    if (endurance_ != nullptr) member.camera.forget_but(kClipsKept);
    for (std::size_t count = dice_.below(3); count > 0; --count) held.push_back(dice_.pick(clips_));
    member.clock = member.camera.record(held, member.clock) + static_cast<Seconds>(dice_.below(5));
    simulator_.report(member.camera, true, member.clock);
    member.connected = true;
}

/// Things that a host should not say, or not twice.
void Crowd::disturb() {
    Member& member = dice_.pick(members_);
    switch (dice_.below(endurance_ == nullptr ? 4 : 3)) {
        case 0:
            return simulator_.send_text("no XML", "<Pavo><Devices ID=\"1\"");
        case 1:
            return simulator_.send_text("nonsense", "<Pavo><Weather Sunny=\"1\"/></Pavo>");
        case 2:
            return simulator_.report_done_for_nobody(member.camera);
        default:
            return simulator_.report(member.camera, member.connected, ++member.clock);
    }
}

void Crowd::restart() {
    ++restarts_;
    simulator_.close();
    if (endurance_ != nullptr) endurance_->note_restart();
    simulator_.open();
    for (Member& member : members_) {
        simulator_.announce(member.camera);
        if (member.connected) simulator_.report(member.camera, true, ++member.clock);
    }
}

Member& Crowd::member_of(const Request& request) {
    const auto member = std::find_if(members_.begin(), members_.end(), [&](const Member& candidate) {
        return candidate.camera.device == request.device;
    });
    if (member == members_.end()) throw ModuleFault("the plug-in asks for an operation of no camera");
    return *member;
}

void Crowd::answer(const Request& picked) {
    const Request request = picked;  // the answer takes it out of the list
    Member& member = member_of(request);
    if (request.kind == Request::Kind::kRecordings) return answer_recordings(member, request);
    if (dice_.percent(10)) return fail(member, request);
    if (request.kind == Request::Kind::kStorageInfo && dice_.percent(10))
        return simulator_.offer(member.camera, request, {});
    serve(simulator_, member.camera, request);
}

void Crowd::answer_recordings(Member& member, const Request& request) {
    constexpr std::size_t kMaxClips = 3;
    const Operation* operation = simulator_.operation(request);
    auto clips = operation == nullptr ? std::vector<StoredClip>()
                                      : member.camera.holdings(operation->start, operation->end);
    if (clips.size() > kMaxClips) clips.erase(clips.begin(), clips.end() - kMaxClips);
    if (dice_.percent(5)) simulator_.deliver_no_mp4(member.camera, request, member.clock);
    for (const StoredClip& stored : clips) {
        if (dice_.percent(15)) return simulator_.fail(member.camera, request, 5, stored.start);
        simulator_.deliver(member.camera, request, stored, dice_.percent(70) ? 1 : 3);
    }
    simulator_.finish(member.camera, request);
    if (dice_.percent(5)) simulator_.finish(member.camera, request);  // said twice
}

void Crowd::fail(Member& member, const Request& request) {
    const Operation* operation = simulator_.operation(request);
    const Seconds start = operation == nullptr ? member.clock : operation->start;
    simulator_.fail(member.camera, request, static_cast<std::int32_t>(dice_.below(100)), start);
}

}  // namespace

std::uint32_t play_many(HostSimulator& simulator, const std::vector<Clip>& clips,
                        const CrowdSettings& settings, Soak* soak) {
    return Crowd(simulator, clips, settings, soak).play();
}

}  // namespace recorder
