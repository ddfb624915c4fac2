#pragma once

#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index/sequenced_index.hpp>
#include <boost/multi_index_container.hpp>
#include <cstddef>
#include <optional>

namespace norvane {

/// A list in the order of insertion, with an ordered index for each key. Insertion, removal and lookup take
/// logarithmic time whatever the keys are, so a host cannot slow them down by its choice of device numbers.
/// Equal keys are allowed. Only insertion allocates: it throws std::bad_alloc and changes nothing, or
/// succeeds.
template <typename Entry, typename... Keys>
using IndexedList = boost::multi_index_container<
    Entry, boost::multi_index::indexed_by<boost::multi_index::sequenced<>,
                                          boost::multi_index::ordered_non_unique<Keys>...>>;

/// The first entry of the list with the key, or nothing. Index counts the keys from 1.
template <std::size_t Index, typename List, typename Key>
[[nodiscard]] std::optional<typename List::iterator> find_first(const List& list, const Key& key) {
    const auto& index = list.template get<Index>();
    // An index keeps equal keys in the order of insertion.
    const auto [found, end] = index.equal_range(key);
    if (found == end) return std::nullopt;
    return list.template project<0>(found);
}

}  // namespace norvane
