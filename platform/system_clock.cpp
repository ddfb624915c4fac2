#include <thread>

#include "platform/clock.h"

namespace platform {
namespace {

class SystemClock final : public Clock {
  public:
    [[nodiscard]] Ticks now() const override { return ticks_since_epoch<std::chrono::system_clock>(); }
    [[nodiscard]] Ticks steady() const override { return ticks_since_epoch<std::chrono::steady_clock>(); }

  private:
    template <typename Source>
    static Ticks ticks_since_epoch() {
        using TickDuration = std::chrono::duration<Ticks, std::ratio<1, kTicksPerSecond>>;
        return std::chrono::duration_cast<TickDuration>(Source::now().time_since_epoch()).count();
    }
};

class SystemSleeper final : public Sleeper {
  public:
    void sleep(std::chrono::milliseconds duration) override { std::this_thread::sleep_for(duration); }

    bool wait_for(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                  std::chrono::milliseconds duration, const std::function<bool()>& ready) override {
        return condition.wait_for(lock, duration, ready);
    }
};

}  // namespace

const Clock& system_clock() {
    static const SystemClock clock;
    return clock;
}

Sleeper& system_sleeper() {
    static SystemSleeper sleeper;
    return sleeper;
}

}  // namespace platform
