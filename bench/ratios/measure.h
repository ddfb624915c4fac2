#pragma once

// Processor time, memory, and the figures that each subject returns.

#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

/// A result that was checked is wrong. It ends the program, so its time is never reported.
class WrongResult : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};
void require(bool holds, const std::string& failure);

/// Processor seconds, user and system, of the calling thread so far.
[[nodiscard]] double thread_seconds();
/// Processor seconds of the calling thread for one call.
[[nodiscard]] double time_of(const std::function<void()>& body);
/// Processor seconds of a shell command and all processes that it starts.
[[nodiscard]] double time_of_command(const std::string& command);
/// The bytes by which one call raises the peak of this process's resident memory.
[[nodiscard]] double peak_memory_of(const std::function<void()>& body);
/// The number after the name in a file of /proc/self.
[[nodiscard]] double proc_number(const std::string& file, const std::string& name);
/// Read and write calls of this process so far.
[[nodiscard]] double io_calls();

/// One measurement per round.
using Rounds = std::vector<double>;

/// One line of the table. Lower is better.
struct Figure {
    std::string name;
    std::string unit;  // "x" for a ratio
    double value = 0;
    double low = 0;  // the middle half of the rounds is between low and high
    double high = 0;
    std::optional<double> limit;  // none: for information
};
using Figures = std::vector<Figure>;

/// The slowest of the fastest fifth of the rounds, because the fastest one may be an outlier.
[[nodiscard]] Figure cost(const std::string& name, const std::string& unit, const Rounds& rounds,
                          std::optional<double> limit = {});
/// The quotient of these rounds. low and high refer to the quotients of each round.
[[nodiscard]] Figure ratio(const std::string& name, const Rounds& ours, const Rounds& theirs,
                           std::optional<double> limit = {});

/// What to measure, and how much. A sanity run only shows that everything works.
struct Effort {
    std::filesystem::path module;
    std::filesystem::path clips;
    bool sanity = false;

    [[nodiscard]] int rounds() const { return sanity ? 2 : 9; }
    /// For ratios whose limit is so close to 1 that the noise of a few rounds would exceed it.
    [[nodiscard]] int many_rounds() const { return sanity ? 2 : 31; }
    template <typename T>
    [[nodiscard]] T scaled(T count) const {
        return sanity ? count / 20 : count;
    }
};

// The subjects. docs/performance.md explains their figures.
[[nodiscard]] Figures conversion_figures(const Effort& effort);
[[nodiscard]] Figures growth_figures(const Effort& effort);
[[nodiscard]] Figures message_figures(const Effort& effort);
[[nodiscard]] Figures queue_figures(const Effort& effort);
[[nodiscard]] Figures state_figures(const Effort& effort);

}  // namespace bench
