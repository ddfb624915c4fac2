#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <type_traits>
#include <utility>

namespace norvane {

/// A growable sequence that finds its entries by key: appended at the end, removed without a change to the
/// order of the others, equal keys allowed, and every lookup takes the first match, as a scan from the front
/// would. Each step costs the logarithm of the length, so a site with twenty thousand channels is served like
/// one with ten.
///
/// Each By is a stateless functor from an entry to an ordered key. The key of an entry must not change while
/// it stands here; what is no part of a key may. Comparing keys and moving entries must not throw.
///
/// Only append needs memory. Where there is none it throws and has changed nothing: an entry stands here with
/// all its indexes or not at all.
template <typename Entry, typename... By>
class Sequence {
  public:
    /// Where an entry stands: grows from front to back and stays valid until the entry is removed.
    using Place = std::uint64_t;

    [[nodiscard]] bool empty() const noexcept { return entries_.empty(); }

    /// From the front to the back, as pairs of place and entry.
    [[nodiscard]] auto begin() const noexcept { return entries_.begin(); }
    [[nodiscard]] auto end() const noexcept { return entries_.end(); }

    [[nodiscard]] Entry& at(Place place) { return entries_.at(place); }
    [[nodiscard]] const Entry& front() const { return entries_.begin()->second; }

    /// The place that the next appended entry will have.
    [[nodiscard]] Place next_place() const noexcept { return next_; }

    Place append(Entry entry) {
        std::tuple<Index<By>...> made;  // all that needs memory is made before anything is changed
        (std::get<Index<By>>(made).places.emplace(By{}(entry), next_), ...);
        entries_.emplace_hint(entries_.end(), next_, std::move(entry));
        (index<By>().merge(std::get<Index<By>>(made).places), ...);
        return next_++;
    }

    void remove(Place place) {
        const auto found = entries_.find(place);
        if (found == entries_.end()) return;
        (index<By>().erase({By{}(found->second), place}), ...);
        entries_.erase(found);
    }

    /// The place of the first entry with the key.
    template <typename ThisBy>
    [[nodiscard]] std::optional<Place> first(const std::invoke_result_t<ThisBy, const Entry&>& key) const {
        const auto& places = std::get<Index<ThisBy>>(indexes_).places;
        const auto found = places.lower_bound({key, Place{0}});
        if (found == places.end() || found->first != key) return std::nullopt;
        return found->second;
    }

  private:
    template <typename ThisBy>
    struct Index {
        std::set<std::pair<std::invoke_result_t<ThisBy, const Entry&>, Place>> places;
    };

    template <typename ThisBy>
    auto& index() {
        return std::get<Index<ThisBy>>(indexes_).places;
    }

    std::map<Place, Entry> entries_;
    std::tuple<Index<By>...> indexes_;
    Place next_ = 0;
};

}  // namespace norvane
