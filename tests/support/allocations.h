#pragma once

// Replaces operator new in the whole program, including its libraries, so that allocations can fail and be
// counted.

#include <atomic>
#include <cstdint>

namespace allocations {

/// While it exists, the nth allocation of this thread fails, counted from 1 and only while counts() is true.
/// With `from_then_on`, all later ones fail too. One object at a time.
class Fault {
  public:
    Fault(std::uint64_t at, bool from_then_on, bool (*counts)());
    Fault(const Fault&) = delete;
    Fault& operator=(const Fault&) = delete;
    ~Fault();

    [[nodiscard]] bool has_failed_one() const { return failed_one_; }
    /// True if later allocations succeed again.
    [[nodiscard]] bool is_over() const { return failed_one_ && !from_then_on_; }

    /// For operator new: counts this allocation; true if it must fail.
    [[nodiscard]] bool fails_next();

  private:
    std::uint64_t at_;
    bool from_then_on_;
    bool (*counts_)();
    std::uint64_t made_ = 0;
    bool failed_one_ = false;
};

/// Totals of the process. The peak is the highest number of live bytes; a test may set it to the current one.
extern std::atomic<std::int64_t> live_blocks;
extern std::atomic<std::int64_t> live_bytes;
extern std::atomic<std::int64_t> peak_bytes;

}  // namespace allocations
