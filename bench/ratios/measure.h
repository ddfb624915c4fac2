#pragma once

// Processor time, rounds, and the figures made of them.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

/// A result that is not what it has to be: no figure counts then.
class WrongResult : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};
void require(bool holds, const std::string& what);

/// Processor seconds, user and system, of the calling thread so far.
[[nodiscard]] double thread_seconds();

/// Processor seconds of the calling thread for one call.
[[nodiscard]] double time_of(const std::function<void()>& body);

/// What one thing took in each round.
using Rounds = std::vector<double>;

/// The round that counts: the fastest one may have been lucky.
[[nodiscard]] double second_fastest(Rounds rounds);

/// One line of the table. Lower is better.
struct Figure {
    std::string name;
    std::string unit;  // "x": ours in theirs
    double value = 0;
    double median = 0;  // of the rounds
    double low = 0;     // the middle half of the rounds lies between
    double high = 0;
    double limit = 0;
};
using Figures = std::vector<Figure>;

/// Ours in theirs, measured in turns: the second fastest round of each is compared, median and spread are
/// those of the rounds' own ratios.
[[nodiscard]] Figure ratio(const std::string& name, const Rounds& ours, const Rounds& theirs, double limit);

/// A cost that is not compared with another one.
[[nodiscard]] Figure cost(const std::string& name, const std::string& unit, const Rounds& rounds,
                          double limit);

/// How much is measured. A sanity run only shows that everything works.
struct Effort {
    std::filesystem::path module;
    std::filesystem::path clips;
    std::filesystem::path work;  // an existing directory, the process's working directory
    bool sanity = false;

    [[nodiscard]] int rounds() const { return sanity ? 2 : 9; }
    template <typename T>
    [[nodiscard]] T scaled(T count) const {
        return sanity ? count / 20 : count;
    }
};

}  // namespace bench
