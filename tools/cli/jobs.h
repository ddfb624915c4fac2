#pragma once

// Runs jobs in parallel and delivers their results in order.

#include <algorithm>
#include <atomic>
#include <functional>
#include <future>
#include <thread>
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
void run_in_order(std::size_t count, unsigned jobs, const std::function<Result(std::size_t)>& work,
                  const std::function<void(std::size_t, Result)>& deliver) {
    std::vector<std::promise<Result>> promises(count);
    std::vector<std::future<Result>> results;
    results.reserve(count);
    for (auto& promise : promises) results.push_back(promise.get_future());
    std::atomic<std::size_t> next = 0;
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < std::min<std::size_t>(jobs, count); ++i) {
        threads.emplace_back([&] {
            for (std::size_t job = next++; job < count; job = next++) {
                auto promise = std::move(promises[job]);
                try {
                    promise.set_value(work(job));
                } catch (...) {
                    promise.set_exception(std::current_exception());
                }
            }
        });
    }
    try {
        for (std::size_t i = 0; i < count; ++i) deliver(i, results[i].get());
    } catch (...) {
        next = count;
        throw;
    }
}

}  // namespace cli
