#include "store/journal.h"

#include <tinyxml2.h>

#include <algorithm>
#include <array>
#include <boost/crc.hpp>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <string_view>

#include "store/state_elements.h"
#include "store/state_names.h"
#include "store/unreadable_file.h"
#include "xml/parse.h"

namespace norvane {
namespace {

using tinyxml2::XMLElement;
using tinyxml2::XMLPrinter;

// The root elements of the lines.
constexpr const char* kAdded = "Added";      // gaps, operations and connected channels, new or changed
constexpr const char* kRemoved = "Removed";  // the same, which no longer exist
constexpr const char* kAlive = "Alive";      // ends a group

// Their child elements besides Operations, which is that of the state file.
constexpr const char* kGap = "Gap";
constexpr const char* kConnected = "Connected";

constexpr const char* kTime = "Time";  // of Alive and Gap: seconds since 1970

constexpr std::size_t kChecksumLength = 8;  // hexadecimal digits
constexpr std::size_t kMaxEntries = 100;    // of a kind in one line, so that a damaged one costs little
constexpr std::size_t kMinLimit = 65'536;   // bytes; smaller files only grow

// Writing.

std::string checksum_of(std::string_view text) {
    boost::crc_32_type crc;
    crc.process_bytes(text.data(), text.size());
    std::array<char, kChecksumLength + 1> digits{};
    (void)std::snprintf(digits.data(), digits.size(), "%08x", static_cast<unsigned>(crc.checksum()));
    return digits.data();
}

/// The printer puts each child element on a line of its own.
std::string line_of(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    return checksum_of(text) + " " + text + "\n";
}

std::int64_t whole_seconds(Ticks instant) {
    return instant / platform::kTicksPerSecond;
}

void open_channel(XMLPrinter& out, const char* name, const ChannelKey& channel) {
    out.OpenElement(name);
    out.PushAttribute(state::kDevices, channel.devices_id);
    out.PushAttribute(state::kDevice, channel.device_number);
    out.PushAttribute(state::kChannel, channel.channel);
}

void print_gaps(XMLPrinter& out, const std::vector<DisconnectRecord>& gaps) {
    for (const DisconnectRecord& gap : gaps) {
        open_channel(out, kGap, gap.channel);
        out.PushAttribute(kTime, whole_seconds(gap.time));
        out.CloseElement();
    }
}

void print_connected(XMLPrinter& out, const std::vector<ChannelKey>& channels) {
    for (const ChannelKey& channel : channels) {
        open_channel(out, kConnected, channel);
        out.CloseElement();
    }
}

template <typename T>
std::vector<T> part_of(const std::vector<T>& all, std::size_t from) {
    const auto at = [&](std::size_t index) {
        return all.begin() + static_cast<std::ptrdiff_t>(std::min(index, all.size()));
    };
    return {at(from), at(from + kMaxEntries)};
}

std::string lines_of(const char* root, const EngineState& entries) {
    std::string lines;
    const std::size_t longest =
        std::max({entries.gaps.size(), entries.operations.size(), entries.connected.size()});
    for (std::size_t from = 0; from < longest; from += kMaxEntries) {
        XMLPrinter out(nullptr, true);
        out.OpenElement(root, true);
        print_gaps(out, part_of(entries.gaps, from));
        state::print_operations(out, part_of(entries.operations, from), true);
        print_connected(out, part_of(entries.connected, from));
        out.CloseElement(true);
        lines += line_of(out.CStr());
    }
    return lines;
}

std::string alive_line(Ticks now) {
    XMLPrinter out(nullptr, true);
    out.OpenElement(kAlive, true);
    out.PushAttribute(kTime, whole_seconds(now));
    out.CloseElement(true);
    return line_of(out.CStr());
}

/// The order of the gaps, so that they can be compared and printed.
bool by_channel(const DisconnectRecord& one, const DisconnectRecord& other) {
    return std::tie(one.channel, one.time) < std::tie(other.channel, other.time);
}

/// The entries of `all` that `others` does not contain. Both are sorted.
template <typename T, typename Less = std::less<>>
std::vector<T> without(const std::vector<T>& all, const std::vector<T>& others, Less less = {}) {
    std::vector<T> rest;
    std::ranges::set_difference(all, others, std::back_inserter(rest), less);
    return rest;
}

/// The operations of `all` that `others` does not contain in the same form.
std::vector<OperationState> without(const std::vector<OperationState>& all,
                                    const std::map<Guid, const OperationState*>& others) {
    std::vector<OperationState> rest;
    std::ranges::copy_if(all, std::back_inserter(rest), [&](const OperationState& operation) {
        const auto other = others.find(operation.guid);
        return other == others.end() || *other->second != operation;
    });
    return rest;
}

std::map<Guid, const OperationState*> by_guid(const std::vector<OperationState>& operations) {
    std::map<Guid, const OperationState*> found;
    for (const OperationState& operation : operations) found.emplace(operation.guid, &operation);
    return found;
}

std::string changes(const EngineState& before, const EngineState& after) {
    const auto old_operations = by_guid(before.operations);
    const auto operations = by_guid(after.operations);
    EngineState added{.gaps = without(after.gaps, before.gaps, by_channel),
                      .operations = without(after.operations, old_operations),
                      .connected = without(after.connected, before.connected)};
    EngineState removed{.gaps = without(before.gaps, after.gaps, by_channel),
                        .operations = {},
                        .connected = without(before.connected, after.connected)};
    for (const OperationState& operation : before.operations) {
        if (!operations.contains(operation.guid)) removed.operations.push_back(operation);
    }
    return lines_of(kRemoved, removed) + lines_of(kAdded, added);
}

// Reading.

/// Calls take(channel, element) for each child element with this name.
template <typename Take>
void for_each_channel(const XMLElement& parent, const char* name, Take take) {
    for (const XMLElement* element = parent.FirstChildElement(name); element != nullptr;
         element = element->NextSiblingElement(name)) {
        ChannelKey channel;
        if (element->QueryUnsignedAttribute(state::kDevices, &channel.devices_id) != tinyxml2::XML_SUCCESS ||
            element->QueryUnsignedAttribute(state::kDevice, &channel.device_number) !=
                tinyxml2::XML_SUCCESS ||
            element->QueryUnsignedAttribute(state::kChannel, &channel.channel) != tinyxml2::XML_SUCCESS) {
            throw std::invalid_argument("incomplete channel");
        }
        take(channel, *element);
    }
}

Ticks time_attribute(const XMLElement& element) {
    std::int64_t seconds = 0;
    if (element.QueryInt64Attribute(kTime, &seconds) != tinyxml2::XML_SUCCESS)
        throw std::invalid_argument("no time");
    return seconds * platform::kTicksPerSecond;
}

EngineState entries_of(const XMLElement& root) {
    EngineState entries;
    for_each_channel(root, kGap, [&](const ChannelKey& channel, const XMLElement& element) {
        entries.gaps.push_back({time_attribute(element), channel});
    });
    (void)state::load_operations(root, true, entries.operations);
    for_each_channel(root, kConnected, [&](const ChannelKey& channel, const XMLElement& /*element*/) {
        entries.connected.push_back(channel);
    });
    return entries;
}

/// Rebuilds the state from the lines.
class Replay {
  public:
    /// Returns false if the line is damaged.
    [[nodiscard]] bool take(std::string_view line) {
        if (line.size() <= kChecksumLength || line[kChecksumLength] != ' ') return false;
        const std::string_view text = line.substr(kChecksumLength + 1);
        if (line.substr(0, kChecksumLength) != checksum_of(text)) return false;
        tinyxml2::XMLDocument document;
        if (!xml::parse(document, text) || document.RootElement() == nullptr) return false;
        try {
            return take(*document.RootElement());
        } catch (const std::invalid_argument&) {
            return false;
        }
    }

    /// The state after the last complete group; nothing without one.
    [[nodiscard]] std::optional<Journal::Recovered> result() {
        if (!alive_) return std::nullopt;
        Journal::Recovered recovered{.state = {}, .alive = *alive_};
        recovered.state.gaps.assign(gaps_.begin(), gaps_.end());
        recovered.state.connected.assign(connected_.begin(), connected_.end());
        std::map<std::uint64_t, const OperationState*> in_order;
        for (const auto& [guid, entry] : operations_) in_order.emplace(entry.first, &entry.second);
        for (const auto& [number, operation] : in_order) recovered.state.operations.push_back(*operation);
        return recovered;
    }

  private:
    bool take(const XMLElement& root) {
        const std::string_view name = root.Name();
        if (name == kAlive) {
            const Ticks time = time_attribute(root);
            for (const auto& [removes, entries] : group_) apply(removes, entries);
            group_.clear();
            alive_ = time;
            return true;
        }
        if (name != kAdded && name != kRemoved) return false;
        group_.emplace_back(name == kRemoved, entries_of(root));
        return true;
    }

    void apply(bool removes, const EngineState& entries) {
        for (const DisconnectRecord& gap : entries.gaps) {
            gaps_.erase(gap);
            if (!removes) gaps_.insert(gap);
        }
        for (const ChannelKey& channel : entries.connected) {
            connected_.erase(channel);
            if (!removes) connected_.insert(channel);
        }
        for (const OperationState& operation : entries.operations) {
            if (removes) {
                operations_.erase(operation.guid);
            } else {  // a changed operation keeps its place
                operations_.try_emplace(operation.guid, next_number_++, operation).first->second.second =
                    operation;
            }
        }
    }

    std::vector<std::pair<bool, EngineState>> group_;  // true: removed
    std::set<DisconnectRecord, decltype(&by_channel)> gaps_{&by_channel};
    std::set<ChannelKey> connected_;
    std::map<Guid, std::pair<std::uint64_t, OperationState>>
        operations_;  // with the number of their creation
    std::uint64_t next_number_ = 0;
    std::optional<Ticks> alive_;
};

}  // namespace

Journal::Content Journal::parse(std::string_view text) {
    Replay replay;
    Content content;
    // A last line without its end was being written when the process ended.
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        if (!replay.take(text.substr(0, end))) content.damaged = true;
        text.remove_prefix(end + 1);
    }
    content.recovered = replay.result();
    return content;
}

std::optional<Journal::Recovered> Journal::read() {
    const auto text = files_.read_whole(kFileName);
    if (!text) {
        keep_unreadable(files_, kFileName, log_);
        return std::nullopt;
    }
    Content content = parse(*text);
    if (content.damaged) {
        const std::string copy = std::string(kFileName) + ".damaged";
        const bool copied = files_.replace_whole(copy, *text);
        log_(kLogError, std::string("NorVane - '") + kFileName + "' is damaged; its intact lines are used" +
                            (copied ? ", and it is kept as '" + copy + "'." : "."));
    }
    return std::move(content.recovered);
}

bool Journal::update(EngineState state, Ticks now) {
    std::ranges::sort(state.gaps, by_channel);
    std::ranges::sort(state.connected);
    state.connected.erase(std::unique(state.connected.begin(), state.connected.end()), state.connected.end());
    const bool written = write(state, alive_line(now));
    if (written) {
        written_ = std::move(state);
    } else if (!failed_) {
        log_(kLogError, std::string("NorVane - '") + kFileName + "' cannot be written.");
    }
    failed_ = !written;
    return written;
}

bool Journal::write(const EngineState& state, const std::string& alive) {
    if (file_ == nullptr) return rewrite(state, alive);
    const std::string text = changes(written_, state) + alive;
    if (size_ + text.size() > max_size_) return rewrite(state, alive);
    size_ += text.size();
    if (file_->append(text)) return true;
    file_ = nullptr;
    return false;
}

bool Journal::rewrite(const EngineState& state, const std::string& alive) {
    file_ = nullptr;  // some systems replace no open file
    const std::string text = lines_of(kAdded, state) + alive;
    if (!files_.replace_whole(kFileName, text)) return false;
    size_ = text.size();
    max_size_ = std::max(kMinLimit, 3 * size_);
    file_ = files_.open_log(kFileName);
    return file_ != nullptr;
}

void Journal::remove() {
    file_ = nullptr;
    (void)files_.remove_file(kFileName);
}

}  // namespace norvane
