#pragma once

// Expected texts in which some words are only known when they arrive.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace recorder {

/// Stands for the GUID of an operation, named by the operation's number. The first text that holds it tells
/// what it is; from then on it has to be the same.
[[nodiscard]] std::string guid_of_operation(std::size_t operation);

/// Seconds since 1970, now.
[[nodiscard]] std::int64_t present();

/// Stands for a present between the start of the conversation and the moment of reading.
inline constexpr std::string_view kPresentInstant = "\x03";

/// Stands for any run of characters up to the text that follows.
inline constexpr std::string_view kAnyText = "\x04";

/// What the words turned out to be.
class Bindings {
  public:
    explicit Bindings(std::int64_t earliest_instant) : earliest_instant_(earliest_instant) {}

    /// Empty until a text told it.
    [[nodiscard]] std::string guid(std::size_t operation) const;
    /// False when the operation has another GUID or another operation has this one.
    bool bind(std::size_t operation, const std::string& guid);
    /// Of a long conversation: another operation may then have a forgotten one's GUID.
    void forget_all_but(const std::function<bool(std::size_t operation)>& kept);

    /// In the order of their arrival.
    [[nodiscard]] std::vector<std::int64_t>& instants() { return instants_; }
    [[nodiscard]] std::int64_t earliest_instant() const { return earliest_instant_; }

  private:
    std::map<std::size_t, std::string> guids_;
    std::set<std::string> taken_;
    std::vector<std::int64_t> instants_;
    std::int64_t earliest_instant_;
};

/// True when the text is what the pattern says. The bindings grow with every word that was recognised; after
/// a text that does not match there is no use for them, except where patterns are tried that hold no such
/// words.
[[nodiscard]] bool matches(std::string_view pattern, std::string_view text, Bindings& bindings);

/// The pattern for a person: known words filled in, the others described.
[[nodiscard]] std::string described(std::string_view pattern, const Bindings& bindings);

}  // namespace recorder
