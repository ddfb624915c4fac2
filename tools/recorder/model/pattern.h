#pragma once

// Patterns of expected texts: GUIDs and present instants are known only when the text arrives.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace recorder {

/// What the pattern of a GUID begins with. It is a GUID too, but one that is not random.
inline constexpr std::string_view kGuidBegin = "00000000-0000-0000-0000-";

/// Matches the GUID of the operation with this number: any random GUID the first time, the same one from then
/// on.
[[nodiscard]] std::string guid_of_operation(std::size_t operation);

/// Seconds since 1970, now.
[[nodiscard]] std::int64_t present();

// XML documents cannot contain the next two characters.

/// Matches the seconds of an instant between the start of the conversation and now.
inline constexpr std::string_view kPresentInstant = "\x03";

/// Matches any characters up to the next part of the pattern.
inline constexpr std::string_view kAnyText = "\x04";

/// The values that matched so far.
class Bindings {
  public:
    explicit Bindings(std::int64_t earliest_instant) : earliest_instant_(earliest_instant) {}

    /// Empty until a text contained it.
    [[nodiscard]] std::string guid(std::size_t operation) const;
    /// False when the operation has another GUID or another operation has this one.
    bool bind(std::size_t operation, const std::string& guid);
    /// Limits memory use in a long conversation. A forgotten GUID may be used again.
    void forget_all_but(const std::function<bool(std::size_t operation)>& kept);

    /// In the order in which they were received.
    [[nodiscard]] std::vector<std::int64_t>& instants() { return instants_; }
    [[nodiscard]] std::int64_t earliest_instant() const { return earliest_instant_; }

  private:
    std::map<std::size_t, std::string> guids_;
    std::set<std::string> taken_;
    std::vector<std::int64_t> instants_;
    std::int64_t earliest_instant_;
};

/// Adds the values that it finds to the bindings. If the text does not match, values from its matching
/// beginning remain there.
[[nodiscard]] bool matches(std::string_view pattern, std::string_view text, Bindings& bindings);

/// Where the text differs from the pattern, with a few characters around the place; empty if it matches.
[[nodiscard]] std::string difference(std::string_view pattern, std::string_view text, Bindings bindings);

/// The text, or its beginning and its end if it is long.
[[nodiscard]] std::string shortened(std::string_view text);

/// The pattern for people: known values are filled in, unknown ones are described.
[[nodiscard]] std::string described(std::string_view pattern, const Bindings& bindings);

}  // namespace recorder
