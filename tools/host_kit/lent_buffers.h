#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace recorder {

/// The message texts that the plug-in holds. A text stays where it is, unchanged, until the plug-in gives it
/// back; each has to come back exactly once. Called from any thread.
class LentBuffers {
  public:
    /// Numbers go on behind the given one.
    explicit LentBuffers(std::uint64_t last_number) : last_number_(last_number) {}

    /// OWNERSHIP: ours; the plug-in may read `length` bytes at `address` until it gives them back.
    struct Loan {
        std::uint64_t number = 0;
        std::uint64_t address = 0;
        std::uint32_t length = 0;
    };
    [[nodiscard]] Loan lend(const std::string& text);

    enum class Outcome { kFirstTime, kAgain, kUnknown };
    struct Return {
        Outcome outcome = Outcome::kUnknown;
        std::uint64_t number = 0;
    };
    [[nodiscard]] Return give_back(std::uint64_t address);

    [[nodiscard]] std::size_t outstanding() const;

  private:
    struct Text {
        std::uint64_t number = 0;
        std::uint64_t address = 0;
        std::unique_ptr<char[]> bytes;
        std::size_t length = 0;
    };

    mutable std::mutex mutex_;
    std::uint64_t last_number_;
    std::map<std::uint64_t, Text> lent_;  // by address
    std::deque<Text> returned_;           // the latest ones, kept to notice a second return
};

}  // namespace recorder
