#pragma once

#include <boost/intrusive/set.hpp>
#include <boost/iterator/transform_iterator.hpp>
#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>

namespace norvane {

/// A growable sequence that finds its entries by key: appended at the end, removed without a change to the
/// order of the others, equal keys allowed, and every lookup takes the first match, as a scan from the front
/// would. Each step costs the logarithm of the length, whatever the keys, so a site with twenty thousand
/// channels is served like one with ten.
///
/// Each By is a stateless functor from an entry to an ordered key. The key of an entry must not change while
/// it stands here; what is no part of a key may. Comparing keys and moving entries must not throw.
///
/// Only append needs memory. Where there is none it throws and has changed nothing: an entry stands here with
/// all its indexes or not at all, because the indexes' links are parts of the entry's own block.
template <typename Entry, typename... By>
class Sequence {
  public:
    /// Where an entry stands: grows from front to back and stays valid until the entry is removed.
    using Position = std::uint64_t;

    Sequence() = default;
    Sequence(const Sequence&) = delete;
    Sequence& operator=(const Sequence&) = delete;
    ~Sequence() = default;

    [[nodiscard]] bool empty() const noexcept { return entries_.empty(); }

    /// The entries from the front to the back.
    [[nodiscard]] auto begin() const { return boost::make_transform_iterator(entries_.begin(), EntryOf{}); }
    [[nodiscard]] auto end() const { return boost::make_transform_iterator(entries_.end(), EntryOf{}); }

    [[nodiscard]] Entry& at(Position position) { return entries_.at(position).entry; }
    [[nodiscard]] const Entry& front() const { return *begin(); }

    /// The position that the next appended entry will have.
    [[nodiscard]] Position next_position() const noexcept { return next_; }

    Position append(Entry entry) {
        Linked& linked = entries_.try_emplace(entries_.end(), next_, next_, std::move(entry))->second;
        (index<By>().insert(linked), ...);  // behind its equals
        return next_++;
    }

    void remove(Position position) {
        const auto found = entries_.find(position);
        if (found == entries_.end()) return;
        (index<By>().erase(index<By>().iterator_to(found->second)), ...);
        entries_.erase(found);
    }

    /// The position of the first entry with the key.
    template <typename ThisBy>
    [[nodiscard]] std::optional<Position> first(const std::invoke_result_t<ThisBy, const Entry&>& key) const {
        const auto& index = std::get<Index<ThisBy>>(indexes_);
        const auto found = index.find(key);
        return found == index.end() ? std::nullopt : std::optional(found->position);
    }

  private:
    // An index's hold on an entry. Nothing has to be undone when both go.
    template <typename ThisBy>
    using Link = boost::intrusive::set_base_hook<boost::intrusive::tag<ThisBy>,
                                                 boost::intrusive::link_mode<boost::intrusive::normal_link>,
                                                 boost::intrusive::optimize_size<true>>;

    struct Linked : Link<By>... {
        Linked(Position at, Entry&& with) : position(at), entry(std::move(with)) {}
        Position position;
        Entry entry;
    };

    struct EntryOf {
        const Entry& operator()(const auto& standing) const noexcept { return standing.second.entry; }
    };

    template <typename ThisBy>
    struct KeyOf {
        using type = std::invoke_result_t<ThisBy, const Entry&>;
        type operator()(const Linked& linked) const { return ThisBy{}(linked.entry); }
    };

    template <typename ThisBy>
    using Index = boost::intrusive::multiset<Linked, boost::intrusive::base_hook<Link<ThisBy>>,
                                             boost::intrusive::key_of_value<KeyOf<ThisBy>>,
                                             boost::intrusive::constant_time_size<false>>;
    template <typename ThisBy>
    Index<ThisBy>& index() {
        return std::get<Index<ThisBy>>(indexes_);
    }

    std::map<Position, Linked> entries_;
    std::tuple<Index<By>...> indexes_;
    Position next_ = 0;
};

}  // namespace norvane
