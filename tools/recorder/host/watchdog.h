#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace recorder {

/// Ends the program with one line and status 1 if a guarded call does not return. The thread inside a module
/// that hangs cannot be stopped, so the process must exit.
class Watchdog {
  public:
    explicit Watchdog(std::chrono::seconds patience);
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
    ~Watchdog();

    /// Runs the body, which must return within `patience`.
    template <typename Body>
    auto guard(const std::string& what, Body body) {
        const Armed armed(*this, what);
        return body();
    }

  private:
    struct Armed {
        Armed(Watchdog& dog, const std::string& what) : owner(dog) { owner.arm(what); }
        Armed(const Armed&) = delete;
        Armed& operator=(const Armed&) = delete;
        ~Armed() { owner.arm({}); }
        Watchdog& owner;
    };

    void arm(const std::string& what);
    void watch();

    std::chrono::seconds patience_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::string guarded_;  // empty while no call is guarded
    std::chrono::steady_clock::time_point deadline_;
    bool ended_ = false;
    std::thread thread_;
};

}  // namespace recorder
