#pragma once

// Runs jobs in parallel and delivers their results in order.

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace cli {

/// The number of threads that the machine runs at once.
[[nodiscard]] inline unsigned default_jobs() {
    return std::max(1U, std::thread::hardware_concurrency());
}

/// Calls work(0) to work(count - 1) on `jobs` threads, and deliver(i, result) on the calling thread in the
/// order of i. Rethrows an exception of work(i) when it is i's turn; jobs that have not begun by then are
/// dropped.
template <typename Result>
class OrderedJobs {
  public:
    using Work = std::function<Result(std::size_t)>;
    using Deliver = std::function<void(std::size_t, Result)>;

    static void run(std::size_t count, unsigned jobs, const Work& work, const Deliver& deliver) {
        OrderedJobs state(count, work);
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < std::min<std::size_t>(jobs, count); ++i) {
            threads.emplace_back([&state] { state.run_jobs(); });
        }
        const Stop stop(state);  // is destroyed before `threads`, which join
        for (std::size_t i = 0; i < count; ++i) deliver(i, state.wait_for(i));
    }

  private:
    struct Slot {
        std::optional<Result> result;
        std::exception_ptr error;
    };
    class Stop {
      public:
        explicit Stop(OrderedJobs& state) : state_(state) {}
        Stop(const Stop&) = delete;
        Stop& operator=(const Stop&) = delete;
        ~Stop() {
            const std::lock_guard lock(state_.mutex_);
            state_.next_ = state_.slots_.size();
        }

      private:
        OrderedJobs& state_;
    };

    OrderedJobs(std::size_t count, const Work& work) : work_(work), slots_(count) {}

    void run_jobs() {
        std::unique_lock lock(mutex_);
        while (next_ < slots_.size()) {
            const std::size_t index = next_++;
            lock.unlock();
            Slot slot;
            try {
                slot.result = work_(index);
            } catch (...) {
                slot.error = std::current_exception();
            }
            lock.lock();
            slots_[index] = std::move(slot);
            done_.notify_one();
        }
    }

    Result wait_for(std::size_t index) {
        std::unique_lock lock(mutex_);
        done_.wait(lock, [&] { return slots_[index].result || slots_[index].error; });
        Slot slot = std::exchange(slots_[index], Slot{});
        lock.unlock();
        if (slot.error) std::rethrow_exception(slot.error);
        return std::move(*slot.result);
    }

    const Work& work_;
    std::mutex mutex_;
    std::condition_variable done_;
    std::size_t next_ = 0;
    std::vector<Slot> slots_;
};

}  // namespace cli
