#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace recorder {

/// The same seed gives the same numbers on every system. The distributions of the standard library do not
/// guarantee that.
class Random {
  public:
    explicit Random(std::uint64_t seed) : engine_(seed) {}
    /// From 0 to limit - 1.
    std::size_t below(std::size_t limit) { return static_cast<std::size_t>(engine_() % limit); }
    bool percent(std::size_t chance) { return below(100) < chance; }
    template <typename T>
    T& pick(std::vector<T>& from) {
        return from[below(from.size())];
    }

  private:
    std::mt19937_64 engine_;
};

}  // namespace recorder
